// The Access reader against databases written by others:
// - every Jet 3, Jet 4 and ACE file lists exactly its user tables (no saved queries, system
//   tables, MSys tables or links), empty databases list none;
// - values read as the user expects them: dates (also before 1900), currency and decimals without
//   padding, yes/no, code-page text of Jet 3 files, astral-plane text, GUIDs and binary;
// - the record limit holds for tables, a SELECT runs without it, and bad statements or names fail
//   with a reason;
// - encrypted, truncated, empty and foreign files fail with a clear reason instead of a crash.
#include "testsupport.h"
#include "wizard/access/accesscatalogue.h"
#include "wizard/access/accessdatabase.h"
#include "wizard/access/accessvalue.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

QString accessFile(const QString &name)
{
    return corpusDir() % u"/access/"_s % name;
}

// Collects what a read yields, rows of QStrings.
class RowsSink : public AccessRowSink
{
public:
    void addRow() override { rows.append(QStringList()); }
    void addCell(QByteArrayView utf8) override { rows.last().append(QString::fromUtf8(utf8)); }
    QList<QStringList> rows;
};

std::unique_ptr<AccessDatabase> openOk(const QString &name)
{
    Result<std::unique_ptr<AccessDatabase>> database = AccessDatabase::open(accessFile(name));
    EXPECT_TRUE(database.ok()) << qPrintable(name) << ": "
                               << qPrintable(database.ok() ? QString() : database.error());
    return database.ok() ? database.take() : nullptr;
}

QList<QStringList> read(const QString &file, const QString &tableOrQuery, qsizetype limit = 5000)
{
    const std::unique_ptr<AccessDatabase> database = openOk(file);
    RowsSink sink;
    if (!database)
        return {};
    const Result<qsizetype> result = tableOrQuery.startsWith(u"SELECT"_s, Qt::CaseInsensitive)
                                         ? database->runQuery(tableOrQuery, sink)
                                         : database->readTable(tableOrQuery, limit, sink);
    EXPECT_TRUE(result.ok()) << qPrintable(result.ok() ? QString() : result.error());
    return sink.rows;
}

// The value in the named column of the given record (1 = first record).
QString cell(const QList<QStringList> &rows, int record, const QString &column)
{
    if (rows.size() <= record)
        return u"<no record %1>"_s.arg(record);
    const qsizetype index = rows.first().indexOf(column);
    return index < 0 ? u"<no column>"_s : rows.at(record).value(index);
}

} // namespace

TEST(AccessTables, listUserTablesOnly)
{
    MGIMPORT8_REQUIRE_CORPUS();
    const struct
    {
        const char *file;
        const char *version;
        const char16_t *tables; // separated by ';'
    } cases[] = {
        {"mdbtestdata/nwind.mdb", "Jet 3",
         u"Order "
         u"Details;Orders;Products;Shippers;Categories;Customers;Employees;Suppliers;Umsätze"},
        {"jackcess/V1997/queryTestV1997.mdb", "Jet 3", u"Table1;Table2;Table3"},
        {"jackcess/V2007/linkerTestV2007.accdb", "ACE 12", u"Table1"},
        {"jackcess/V2007/odbcLinkerTestV2007.accdb", "ACE 12", u"Lokal"},
        {"jackcess/V2010/testV2010.accdb", "ACE 14", u"Table1;Table2;Table3;Table4"},
        {"jackcess/V2019/extDateTestV2019.accdb", "ACE 17", u"Table1"},
        {"mdb-reader/password/data/V2003_with-password.mdb", "Jet 4", u"Table1"},
        {"jackcess/adox_jet4.mdb", "Jet 4", u""},
        {"jackcess/empty/empty2016.accdb", "ACE 16", u""},
    };
    for (const auto &c : cases) {
        const std::unique_ptr<AccessDatabase> database = openOk(QString::fromUtf8(c.file));
        ASSERT_TRUE(database) << c.file;
        EXPECT_TRUE(database->format().name.startsWith(QString::fromUtf8(c.version)))
            << c.file << ": " << qPrintable(database->format().name);
        EXPECT_EQ(database->userTables().join(u';'), QString::fromUtf16(c.tables)) << c.file;
    }
}

TEST(AccessValues, showAsTheUserExpects)
{
    MGIMPORT8_REQUIRE_CORPUS();
    const struct
    {
        const char *file, *table;
        int record;
        const char *column, *expected;
    } cases[] = {
        {"mdbtestdata/nwind.mdb", "Orders", 1, "OrderDate", "1994-11-16"},
        {"mdbtestdata/nwind.mdb", "Orders", 1, "Freight", "12.75"},
        {"mdbtestdata/nwind.mdb", "Orders", 2, "ShipRegion", ""},
        {"jackcess/V1997/testV1997.mdb", "Table1", 1, "G", "1981-12-12"},
        {"jackcess/V1997/testV1997.mdb", "Table1", 2, "F", "444.555"},
        {"jackcess/V1997/testV1997.mdb", "Table1", 1, "I", "False"},
        {"mdb-reader/V2016/currency.accdb", "Table", 1, "Money", "42"},
        {"mdbtestdata/DateTestDatabase.mdb", "DateTest", 2, "DateTimeCol", "9999-01-01"},
        {"mdbtestdata/DateTestDatabase.mdb", "DateTest", 3, "DateTimeCol", "1898-01-01"},
        {"mdbtestdata/DateTestDatabase.mdb", "DateTest", 6, "LongTextCol", "New line\r\nin field"},
        {"mdb-reader/V2000/numeric.mdb", "test", 1, "col1", "some data"},
        {"mdbtestdata/nwind.mdb", "SELECT * FROM [Umsätze]", 1, "ShipAddress",
         "Carrera 52 con Ave. Bolívar #65-98 Llano Largo"},
    };
    for (const auto &c : cases) {
        const QList<QStringList> rows = read(QString::fromUtf8(c.file), QString::fromUtf8(c.table));
        EXPECT_EQ(cell(rows, c.record, QString::fromUtf8(c.column)), QString::fromUtf8(c.expected))
            << c.file << " " << c.table << " record " << c.record << " " << c.column;
    }
}

TEST(AccessValues, datesTimesAndNumbersAsText)
{
    const std::pair<double, const char *> dates[] = {
        {0.5, "12:00:00"},
        {-1.25, "1899-12-29 06:00:00"},
        {36526.999999, "2000-01-02"},
        {2958466.0, "2958466"},
        {1.0 / 0.0, "inf"},
    };
    for (const auto &[days, text] : dates)
        EXPECT_EQ(AccessValue::dateTime(days), QByteArray(text)) << days;
    EXPECT_EQ(AccessValue::hex(QByteArrayView("\x01\xab", 2)), QByteArray("01AB"));
}

TEST(AccessFiles, damagedOrForeignFilesFailWithAReason)
{
    MGIMPORT8_REQUIRE_CORPUS();
    TempFolder folder;
    QFile source(accessFile(u"mdbtestdata/nwind.mdb"_s));
    ASSERT_TRUE(source.open(QIODevice::ReadOnly));
    const QByteArray whole = source.readAll();
    QByteArray wrongVersion = whole.first(3 * 4096);
    wrongVersion[0x14] = char(0x42);
    const std::pair<QString, const char *> cases[] = {
        {folder.write(u"empty.mdb"_s, {}), "The file is empty."},
        {folder.write(u"head.mdb"_s, whole.first(100)), "incomplete or damaged"},
        {folder.write(u"cut.mdb"_s, whole.first(whole.size() / 2 + 7)), "incomplete or damaged"},
        {folder.write(u"version.mdb"_s, wrongVersion), "version byte 66"},
        {folder.path(), "is a folder"},
        {accessFile(u"mdb-reader/encryption/data/office-agile-4.2.accdb"_s), "encrypted"},
    };
    for (const auto &[path, reason] : cases) {
        const Result<std::unique_ptr<AccessDatabase>> database = AccessDatabase::open(path);
        ASSERT_FALSE(database.ok()) << qPrintable(path);
        EXPECT_TRUE(database.error().contains(QString::fromUtf8(reason)))
            << qPrintable(database.error());
    }
}

// Names that are no table are the reader's tests, with their messages.
TEST(AccessFiles, limitsHoldAndBadQueriesFail)
{
    MGIMPORT8_REQUIRE_CORPUS();
    EXPECT_EQ(read(u"mdbtestdata/nwind.mdb"_s, u"Order Details"_s, 10).size(), 11);
    const std::unique_ptr<AccessDatabase> database = openOk(u"mdbtestdata/nwind.mdb"_s);
    ASSERT_TRUE(database);
    RowsSink sink;
    EXPECT_FALSE(database->runQuery(u"SELECT FROM WHERE"_s, sink).ok());
}

// Property blocks that sent the library's parser into an endless loop or past the block's end
// (found by fuzzing) are refused; real blocks pass.
TEST(AccessCatalogueProperties, inconsistentBlocksAreRefused)
{
    auto block = [](std::initializer_list<int> bytes) {
        QByteArray b;
        for (int byte : bytes)
            b.append(char(byte));
        return b;
    };
    // A names record (0x80) with the one name "A", then a value block whose value is "x".
    const QByteArray names = block({'K', 'K', 'D', 0, 11, 0, 0, 0, 0x80, 0, 3, 0, 'A', 0, 0});
    const QByteArray sound = names + block({21, 0, 0, 0, 0,  0, 15, 0, 0, 0,  0,
                                            0,  9, 0, 0, 10, 0, 0,  1, 0, 'x'});
    const struct
    {
        const char *name;
        QByteArray bytes;
        bool consistent;
    } cases[] = {
        {"sound", sound, true},
        {"no magic", block({'X', 'Y', 'Z', 0}), false},
        {"too short for magic", block({'K', 'K'}), false},
        {"zero-length record", block({'K', 'K', 'D', 0, 0, 0, 0, 0, 0x80, 0}), false},
        {"record past the end", block({'M', 'R', '2', 0, 99, 0, 0, 0, 0x80, 0}), false},
        {"name past the end", block({'K', 'K', 'D', 0, 9, 0, 0, 0, 0x80, 0, 7, 0, 'A'}), false},
        {"zero-length value",
         names + block({20, 0, 0, 0, 0, 0, 14, 0, 0, 0, 0, 0, 0, 0, 0, 10, 0, 0, 0, 0}), false},
        {"double shorter than 8 bytes", names + block({27, 0, 0, 0, 0, 0, 21, 0, 0, 0, 0, 0, 15, 0,
                                                       0,  7, 0, 0, 7, 0, 1,  2, 3, 4, 5, 6, 7}),
         false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(AccessCatalogue::propertiesConsistent(c.bytes), c.consistent) << c.name;
}

} // namespace MGImport8::Test
