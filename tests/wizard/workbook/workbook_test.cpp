// Cell values as a sheet shows them where the corpus comparison does not reach, and strings the
// corpus does not show, in a hand-made package.
// Damaged, hostile and locked workbooks: each gets its error number and a description, no crash,
// no hang, and no allocation of what a file merely declares.

#include "wizard/workbook/cellvalues.h"
#include "workbooktesting.h"

#include <QFile>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {
namespace {

using namespace CellValues;

// Numbers in the General format, the kinds of number formats, and serial dates of the 1900 system,
// where the corpus does not reach: exponents, infinities, quoted and escaped letters in formats,
// the 1900 system's fictitious leap day and dates outside the calendar.
TEST(CellValues, ShowAsTheSheetShowsThem)
{
    const std::pair<double, const char *> numbers[] = {
        {-0.0, "0"},      {123456789012345678.0, "1.23456789012346E+17"},     {1e20, "1E+20"},
        {1e-10, "1E-10"}, {std::numeric_limits<double>::infinity(), "#NUM!"},
    };
    for (const auto &[value, text] : numbers)
        EXPECT_EQ(generalNumber(value), text) << value;
    const std::pair<const char *, NumberKind> formats[] = {
        {"#,##0.00 \"days\"", NumberKind::General}, {"[Red]0.00;[Blue]-0.00", NumberKind::General},
        {"[$-409]d mmm yyyy;@", NumberKind::Date},  {"mm:ss", NumberKind::Time},
        {"\\d\\a\\y 0", NumberKind::General},
    };
    for (const auto &[code, kind] : formats)
        EXPECT_EQ(formatCodeKind(code), kind) << code;
    const std::tuple<double, NumberKind, const char *> serials[] = {
        {60, NumberKind::Date, "1900-02-29"},
        {0.999999, NumberKind::Time, "00:00:00"},
        {1.5, NumberKind::ElapsedTime, "36:00:00"},
        // Outside the calendar the number shows as it is.
        {-1, NumberKind::Date, "-1"},
        {3e6, NumberKind::Date, "3000000"},
    };
    for (const auto &[serial, kind, text] : serials)
        EXPECT_EQ(serialDateText(serial, kind, DateSystem::From1900), text) << serial;
    EXPECT_EQ(isoDateText("2024-03-01T13:45:00.4"), "2024-03-01 13:45:00");
    EXPECT_EQ(isoDurationText("PT36H05M00S"), "36:05:00");
}

// What the corpus does not show: inline and "_xHHHH_" strings, phonetic runs, cells without
// references, values under a merged area, the last of two equal cells.
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
    const QByteArray nested = QByteArray("<x>").repeated(200000)
                              + QByteArray("</x>").repeated(200000);
    const QByteArray book = minimalXlsx(
        sheetXml("<row><c t=\"str\"><v>kept</v>" + nested + "</c></row>"));
    EXPECT_EQ(loadedRows(loadZipWorkbookSheet(book, 0)), QStringList{u"kept"_s});
}

TEST(WorkbookRobustness, FilesThatAreNoWorkbookAreRefused)
{
    TempFolder folder;
    const struct
    {
        QString path;
        int number;
    } cases[] = {
        {folder.write(u"empty.xlsx"_s, {}), WorkbookErrorNumber::ReaderMissing},
        {folder.path(), WorkbookErrorNumber::InvalidFileFormat},
        // An Excel 4 worksheet cut short after its first record.
        {folder.write(u"biff4.xls"_s, QByteArray("\x09\x04\x06\x00\x00\x00\x10\x00", 8)),
         WorkbookErrorNumber::InvalidFileFormat},
    };
    for (const auto &c : cases)
        EXPECT_EQ(errorOf(loadWorkbookSheet(c.path, 0)), c.number) << c.path.toStdString();
}

TEST(WorkbookRobustness, LockedFilesAreInUse)
{
    TempFolder folder;
    const QString book = folder.write(u"devices.xlsx"_s, minimalXlsx(twoCells));
    ASSERT_EQ(errorOf(loadWorkbookSheet(book, 0)), 0);

    // Excel's owner file (the other office suite's is the spreadsheet panel's test).
    const QString owner = folder.write(u"~$devices.xlsx"_s, "owner");
    EXPECT_EQ(errorOf(loadWorkbookSheet(book, 0)), WorkbookErrorNumber::FileInUse);
    QFile::remove(owner);

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
