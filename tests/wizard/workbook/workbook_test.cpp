// Cell values as a sheet shows them: numbers in the General format, dates and times by their
// number format in both date systems, booleans, strings of every kind, formula results and the
// used area, on workbooks written here (libxlsxwriter, and hand-made packages for what it cannot
// write).
// Damaged, hostile and locked workbooks: each gets its error number and a description, no crash,
// no hang, and no allocation of what a file merely declares.

#include "wizard/workbook/cellvalues.h"
#include "workbooktesting.h"

#include <xlsxwriter.h>

#include <QFile>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {
namespace {

using namespace CellValues;

TEST(GeneralNumber, ShowsTheShortestTextWithinFifteenDigits)
{
    const std::vector<std::pair<double, const char *>> cases = {
        {1.0, "1"},
        {0.1 + 0.2, "0.3"},
        {-2.5, "-2.5"},
        {-0.0, "0"},
        {1.0 / 3, "0.333333333333333"},
        {2.0 / 3, "0.666666666666667"},
        {100000000000000.0, "100000000000000"},
        {123456789012345678.0, "1.23456789012346E+17"},
        {9007199254740993.0, "9.00719925474099E+15"},
        {1e20, "1E+20"},
        {1.5e300, "1.5E+300"},
        {0.000123, "0.000123"},
        {1e-9, "0.000000001"},
        {1e-10, "1E-10"},
        {-1.25e-12, "-1.25E-12"},
        {4294967296.0, "4294967296"},
        {22.2222, "22.2222"},
        {std::numeric_limits<double>::infinity(), "#NUM!"},
        {std::numeric_limits<double>::quiet_NaN(), "#NUM!"},
    };
    for (const auto &[value, text] : cases)
        EXPECT_EQ(generalNumber(value), text) << value;
}

TEST(NumberFormats, TellDatesTimesAndElapsedTimeApart)
{
    const std::vector<std::pair<const char *, NumberKind>> cases = {
        {"General", NumberKind::General},
        {"0.00%", NumberKind::General},
        {"#,##0.00 \"days\"", NumberKind::General},
        {"[Red]0.00;[Blue]-0.00", NumberKind::General},
        {"yyyy-mm-dd", NumberKind::Date},
        {"[$-409]d mmm yyyy;@", NumberKind::Date},
        {"mmm", NumberKind::Date},
        {"hh:mm:ss", NumberKind::Time},
        {"mm:ss", NumberKind::Time},
        {"h:mm AM/PM", NumberKind::Time},
        {"yyyy-mm-dd hh:mm", NumberKind::DateTime},
        {"[h]:mm:ss", NumberKind::ElapsedTime},
        {"\\d\\a\\y 0", NumberKind::General},
    };
    for (const auto &[code, kind] : cases)
        EXPECT_EQ(formatCodeKind(code), kind) << code;
    EXPECT_EQ(builtinFormatKind(14), NumberKind::Date);
    EXPECT_EQ(builtinFormatKind(22), NumberKind::DateTime);
    EXPECT_EQ(builtinFormatKind(46), NumberKind::ElapsedTime);
    EXPECT_EQ(builtinFormatKind(2), NumberKind::General);
}

TEST(SerialDates, CountInBothSystems)
{
    EXPECT_EQ(serialDateText(45352, NumberKind::Date, DateSystem::From1900), "2024-03-01");
    EXPECT_EQ(serialDateText(45352 - 1462, NumberKind::Date, DateSystem::From1904), "2024-03-01");
    EXPECT_EQ(serialDateText(1, NumberKind::Date, DateSystem::From1900), "1900-01-01");
    EXPECT_EQ(serialDateText(59, NumberKind::Date, DateSystem::From1900), "1900-02-28");
    EXPECT_EQ(serialDateText(60, NumberKind::Date, DateSystem::From1900), "1900-02-29");
    EXPECT_EQ(serialDateText(61, NumberKind::Date, DateSystem::From1900), "1900-03-01");
    EXPECT_EQ(serialDateText(0, NumberKind::Date, DateSystem::From1904), "1904-01-01");
    EXPECT_EQ(serialDateText(45352.5729166667, NumberKind::DateTime, DateSystem::From1900),
              "2024-03-01 13:45:00");
    EXPECT_EQ(serialDateText(0.999999, NumberKind::Time, DateSystem::From1900), "00:00:00");
    EXPECT_EQ(serialDateText(1.5, NumberKind::ElapsedTime, DateSystem::From1900), "36:00:00");
    EXPECT_EQ(serialDateText(2958465, NumberKind::Date, DateSystem::From1900), "9999-12-31");
    // Outside the calendar the number shows as it is.
    EXPECT_EQ(serialDateText(-1, NumberKind::Date, DateSystem::From1900), "-1");
    EXPECT_EQ(serialDateText(3e6, NumberKind::Date, DateSystem::From1900), "3000000");
    EXPECT_EQ(isoDateText("2024-03-01T00:00:00"), "2024-03-01");
    EXPECT_EQ(isoDateText("2024-03-01T13:45:00.4"), "2024-03-01 13:45:00");
    EXPECT_EQ(isoDurationText("PT36H05M00S"), "36:05:00");
    EXPECT_EQ(isoDurationText("P1DT1H"), "25:00:00");
    EXPECT_EQ(isoDurationText("nonsense"), "nonsense");
}

// A workbook written by libxlsxwriter the way a user's spreadsheet program would write one.
class GeneratedWorkbook : public ::testing::Test
{
protected:
    QString path() const { return folder.path() + u"/book.xlsx"_s; }
    lxw_workbook *book = nullptr;
    lxw_worksheet *first = nullptr;

    void SetUp() override
    {
        book = workbook_new(QFile::encodeName(path()).constData());
        first = workbook_add_worksheet(book, "Devices");
    }
    lxw_format *numberFormat(const char *code)
    {
        lxw_format *format = workbook_add_format(book);
        format_set_num_format(format, code);
        return format;
    }
    QStringList close(int sheet = 0)
    {
        EXPECT_EQ(workbook_close(book), LXW_NO_ERROR);
        return loadedRows(loadWorkbookSheet(path(), sheet));
    }
    TempFolder folder;
};

TEST_F(GeneratedWorkbook, NumbersDatesAndBooleansShowAsTheSheetShowsThem)
{
    const double values[] = {1.0, 0.1 + 0.2, 1e20, 123456789012345678.0, 1e-10};
    for (int i = 0; i < 5; ++i)
        worksheet_write_number(first, 0, lxw_col_t(i), values[i], nullptr);
    worksheet_write_number(first, 1, 0, 45352, numberFormat("yyyy-mm-dd"));
    worksheet_write_number(first, 1, 1, 45352.5729166667, numberFormat("dd/mm/yyyy hh:mm"));
    worksheet_write_number(first, 1, 2, 0.5729166667, numberFormat("hh:mm:ss"));
    worksheet_write_number(first, 1, 3, 1.5, numberFormat("[h]:mm:ss"));
    worksheet_write_number(first, 1, 4, 0.25, numberFormat("0.00%"));
    lxw_format *builtinDate = workbook_add_format(book);
    format_set_num_format_index(builtinDate, 14);
    worksheet_write_number(first, 2, 0, 60, builtinDate);
    worksheet_write_boolean(first, 2, 1, 1, nullptr);
    worksheet_write_boolean(first, 2, 2, 0, nullptr);
    EXPECT_EQ(close(), (QStringList{u"1|0.3|1E+20|1.23456789012346E+17|1E-10"_s,
                                    u"2024-03-01|2024-03-01 13:45:00|13:45:00|36:00:00|0.25"_s,
                                    u"1900-02-29|TRUE|FALSE"_s}));
}

TEST_F(GeneratedWorkbook, StringsFormulasAndTheUsedArea)
{
    // Nothing in rows 0-1 or column A: the used area starts at B3.
    worksheet_write_string(first, 2, 1, "router", nullptr);
    worksheet_write_formula_num(first, 2, 3, "=1+1", nullptr, 2);
    worksheet_write_formula_str(first, 4, 2, "=\"a\"&\"b\"", nullptr, "ab");
    lxw_format *bold = workbook_add_format(book);
    format_set_bold(bold);
    lxw_rich_string_tuple runA = {bold, const_cast<char *>("core-")};
    lxw_rich_string_tuple runB = {nullptr, const_cast<char *>("switch")};
    lxw_rich_string_tuple *runs[] = {&runA, &runB, nullptr};
    worksheet_write_rich_string(first, 5, 1, runs, nullptr);
    worksheet_merge_range(first, 6, 1, 7, 2, "merged", nullptr);
    EXPECT_EQ(close(),
              (QStringList{u"router||2"_s, QString(), u"|ab"_s, u"core-switch"_s, u"merged"_s}));
}

TEST_F(GeneratedWorkbook, ChoosesSheetsInWorkbookOrderHiddenIncluded)
{
    worksheet_write_string(first, 0, 0, "first", nullptr);
    lxw_worksheet *hidden = workbook_add_worksheet(book, "Hidden");
    worksheet_write_string(hidden, 0, 0, "hidden", nullptr);
    worksheet_hide(hidden);
    lxw_worksheet *third = workbook_add_worksheet(book, "Third");
    worksheet_write_string(third, 0, 0, "third", nullptr);
    EXPECT_EQ(close(1), QStringList{u"hidden"_s});
    EXPECT_EQ(loadedRows(loadWorkbookSheet(path(), 2)), QStringList{u"third"_s});
    EXPECT_EQ(loadWorkbookSheet(path(), 3).error->number, WorkbookErrorNumber::SubscriptOutOfRange);
}

// What libxlsxwriter does not write: the 1904 system, inline and "_xHHHH_" strings, ISO date
// cells, cells without references, values under a merged area, the last of two equal cells.
TEST(HandMadeWorkbook, ReadsWhatOtherWritersProduce)
{
    const QByteArray styles
        = "<styleSheet><numFmts><numFmt numFmtId=\"164\" formatCode=\"yyyy-mm-dd\"/>"
          "</numFmts><cellXfs><xf numFmtId=\"0\"/><xf numFmtId=\"164\"/>"
          "</cellXfs></styleSheet>";
    const QByteArray strings = "<sst><si><t>shared</t></si><si><r><t>ri</t></r><r><t>ch</t></r>"
                               "<rPh><t>phonetic</t></rPh></si><si><t>a_x000D_b</t></si></sst>";
    const QByteArray rows
        = "<row r=\"1\"><c r=\"A1\" s=\"1\"><v>0</v></c><c t=\"s\"><v>0</v></c>"
          "<c t=\"inlineStr\"><is><t>inline</t></is></c><c t=\"d\"><v>2024-03-01T13:45:00</v></c>"
          "</row><row><c t=\"s\"><v>1</v></c><c r=\"B2\" t=\"s\"><v>2</v></c>"
          "<c r=\"C2\"><v>covered</v></c></row>"
          "<row r=\"3\"><c r=\"A3\" t=\"str\"><v>first</v></c><c r=\"A3\" t=\"str\"><v>last</v></c>"
          "<c r=\"B3\" t=\"e\"><v>#N/A</v></c></row>";
    const QByteArray book
        = minimalXlsx(sheetXml(rows,
                               "<mergeCells count=\"1\"><mergeCell ref=\"B2:C2\"/></mergeCells>"),
                      strings, styles, "date1904=\"1\"");
    EXPECT_EQ(loadedRows(loadZipWorkbookSheet(book, 0)),
              (QStringList{u"1904-01-01|shared|inline|2024-03-01 13:45:00"_s, u"rich|a\rb"_s,
                           u"last|#N/A"_s}));
}

int errorOf(const SheetLoad &load)
{
    return load.error ? load.error->number : 0;
}

const QByteArray twoCells = sheetXml("<row r=\"1\"><c r=\"A1\" t=\"str\"><v>a</v></c>"
                                     "<c r=\"B1\"><v>1</v></c></row>");

TEST(WorkbookRobustness, DamagedContainersAndPartsAreInvalidFormats)
{
    const QByteArray good = minimalXlsx(twoCells);
    ASSERT_EQ(loadedRows(loadZipWorkbookSheet(good, 0)), QStringList{u"a|1"_s});

    const std::vector<std::pair<const char *, QByteArray>> cases = {
        {"garbage after a zip signature", QByteArray("PK\x03\x04") + QByteArray(200, 'x')},
        {"truncated archive", good.left(good.size() / 2)},
        {"workbook part missing",
         zipParts({{u"_rels/.rels"_s, "<Relationships/>"}, {u"xl/other.xml"_s, "<x/>"}})},
        {"broken row XML", minimalXlsx(sheetXml("<row r=\"1\"><c r=\"A1\"><v>1</c></row>"))},
        {"unclosed cell data", minimalXlsx("<worksheet><sheetData><row><c><v>1</v></c></row>")},
        {"shared string out of range", minimalXlsx(sheetXml("<row><c t=\"s\"><v>7</v></c></row>"),
                                                   "<sst><si><t>x</t></si></sst>")},
        {"negative shared string", minimalXlsx(sheetXml("<row><c t=\"s\"><v>-1</v></c></row>"),
                                               "<sst><si><t>x</t></si></sst>")},
        {"reference past the last column",
         minimalXlsx(sheetXml("<row><c r=\"XFE1\"><v>1</v></c></row>"))},
        {"reference to row zero", minimalXlsx(sheetXml("<row><c r=\"A0\"><v>1</v></c></row>"))},
        {"broken OpenDocument content",
         zipParts({{u"mimetype"_s, "application/vnd.oasis.opendocument.spreadsheet"},
                   {u"content.xml"_s, "<office:document-content><office:body>"}})},
    };
    for (const auto &[what, bytes] : cases) {
        const SheetLoad load = loadZipWorkbookSheet(bytes, 0);
        EXPECT_EQ(errorOf(load), WorkbookErrorNumber::InvalidFileFormat) << what;
        if (load.error) {
            EXPECT_FALSE(load.error->description.isEmpty()) << what;
        }
    }
    // A zip that holds no workbook at all has no reader.
    EXPECT_EQ(errorOf(loadZipWorkbookSheet(zipParts({{u"notes.txt"_s, "hello"}}), 0)),
              WorkbookErrorNumber::ReaderMissing);
}

TEST(WorkbookRobustness, DeclaredSparseAndPackedAreasCostOnlyWhatIsThere)
{
    // A dimension claiming the whole sheet, with two cells: nothing of the claim is allocated.
    const QByteArray claimed = minimalXlsx(
        "<worksheet><dimension ref=\"A1:XFD1048576\"/><sheetData><row r=\"1\"><c r=\"A1\" "
        "t=\"str\"><v>a</v></c></row><row r=\"3\"><c r=\"B3\"><v>2</v></c></row></sheetData>"
        "</worksheet>");
    EXPECT_EQ(loadedRows(loadZipWorkbookSheet(claimed, 0)),
              (QStringList{u"a"_s, QString(), u"|2"_s}));

    // Far corners: a million empty rows between are rows without cells.
    const QByteArray corners = minimalXlsx(
        sheetXml("<row r=\"1\"><c r=\"A1\"><v>1</v></c></row><row r=\"1048576\"><c r=\"B1048576\">"
                 "<v>2</v></c></row>"));
    const SheetLoad far = loadZipWorkbookSheet(corners, 0);
    ASSERT_FALSE(far.error) << far.error->description.toStdString();
    EXPECT_EQ(far.table->rowCount(), 1048576);

    // Rows that span every column, enough of them to pass the grid's limit.
    QByteArray wide;
    for (int row = 1; row <= 4100; ++row)
        wide += "<row><c r=\"A" + QByteArray::number(row) + "\"><v>1</v></c><c r=\"XFD"
                + QByteArray::number(row) + "\"><v>2</v></c></row>";
    EXPECT_EQ(errorOf(loadZipWorkbookSheet(minimalXlsx(sheetXml(wide)), 0)),
              WorkbookErrorNumber::GridTooLarge);

    // Highly compressible data far past the ratio limit is refused before it unpacks.
    const QByteArray bomb = minimalXlsx(sheetXml(QByteArray(16 * 1024 * 1024, ' ')));
    ASSERT_LT(bomb.size(), 1024 * 1024);
    EXPECT_EQ(errorOf(loadZipWorkbookSheet(bomb, 0)), WorkbookErrorNumber::TooLarge);
}

TEST(WorkbookRobustness, DeepNestingInsideACellIsParsedWithoutRecursion)
{
    const int depth = 200000;
    QByteArray nested;
    nested.reserve(depth * 8);
    for (int i = 0; i < depth; ++i)
        nested += "<x>";
    for (int i = 0; i < depth; ++i)
        nested += "</x>";
    const QByteArray book = minimalXlsx(
        sheetXml("<row><c t=\"str\"><v>kept</v>" + nested + "</c></row>"));
    EXPECT_EQ(loadedRows(loadZipWorkbookSheet(book, 0)), QStringList{u"kept"_s});
}

TEST(WorkbookRobustness, FilesThatAreNoWorkbookHaveNoReader)
{
    TempFolder folder;
    const std::vector<std::pair<const char *, QByteArray>> cases = {
        {"empty.xlsx", {}},
        {"text.xls", "Name,IP\nrouter,10.0.0.1\n"},
    };
    for (const auto &[name, bytes] : cases)
        EXPECT_EQ(errorOf(loadWorkbookSheet(folder.write(QString::fromUtf8(name), bytes), 0)),
                  WorkbookErrorNumber::ReaderMissing)
            << name;
    EXPECT_EQ(errorOf(loadWorkbookSheet(folder.path() + u"/absent.xlsx"_s, 0)),
              WorkbookErrorNumber::ReaderMissing);
    EXPECT_EQ(errorOf(loadWorkbookSheet(folder.path(), 0)), WorkbookErrorNumber::InvalidFileFormat);
    // An Excel 4 worksheet cut short after its first record.
    EXPECT_EQ(errorOf(
                  loadWorkbookSheet(folder.write(u"biff4.xls"_s,
                                                 QByteArray("\x09\x04\x06\x00\x00\x00\x10\x00", 8)),
                                    0)),
              WorkbookErrorNumber::InvalidFileFormat);
    // An OLE2 container whose sectors are garbage.
    const QByteArray ole = QByteArray("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8)
                           + QByteArray(600, '\x7f');
    EXPECT_EQ(errorOf(loadWorkbookSheet(folder.write(u"broken.xls"_s, ole), 0)),
              WorkbookErrorNumber::InvalidFileFormat);
}

TEST(WorkbookRobustness, LockedFilesAreInUse)
{
    TempFolder folder;
    const QString book = folder.write(u"devices.xlsx"_s, minimalXlsx(twoCells));
    ASSERT_EQ(errorOf(loadWorkbookSheet(book, 0)), 0);

    for (const QString &lockName : {u"~$devices.xlsx"_s, u".~lock.devices.xlsx#"_s}) {
        const QString lock = folder.write(lockName, "owner");
        EXPECT_EQ(errorOf(loadWorkbookSheet(book, 0)), WorkbookErrorNumber::FileInUse)
            << lockName.toStdString();
        QFile::remove(lock);
    }

    // A record lock held through another open file description (as another program's would be).
    const int holder = ::open(QFile::encodeName(book).constData(), O_RDWR);
    ASSERT_GE(holder, 0);
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    ASSERT_EQ(::fcntl(holder, F_OFD_SETLK, &lock), 0);
    EXPECT_EQ(errorOf(loadWorkbookSheet(book, 0)), WorkbookErrorNumber::FileInUse);
    lock.l_type = F_UNLCK;
    ::fcntl(holder, F_OFD_SETLK, &lock);
    ASSERT_EQ(::flock(holder, LOCK_EX), 0);
    EXPECT_EQ(errorOf(loadWorkbookSheet(book, 0)), WorkbookErrorNumber::FileInUse);
    ::close(holder);
    EXPECT_EQ(errorOf(loadWorkbookSheet(book, 0)), 0);
}

} // namespace
} // namespace MGImport8::Test
