// Damaged, hostile and locked workbooks: each gets its error number and a description, no crash,
// no hang, and no allocation of what a file merely declares.

#include "workbooktesting.h"

#include <QFile>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {
namespace {

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

TEST(WorkbookRobustness, ZipBombsAreRefusedBeforeTheyUnpack)
{
    // Highly compressible data far past the ratio limit.
    const QByteArray bomb = minimalXlsx(sheetXml(QByteArray(16 * 1024 * 1024, ' ')));
    ASSERT_LT(bomb.size(), 1024 * 1024);
    const SheetLoad load = loadZipWorkbookSheet(bomb, 0);
    EXPECT_EQ(errorOf(load), WorkbookErrorNumber::TooLarge);
}

TEST(WorkbookRobustness, DeclaredAndSparseAreasCostOnlyWhatIsThere)
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
