// The Access reader behind the wizard's table panel:
// - the exact messages: opening for a read, a table that cannot be read;
// - texts other than a query, trimmed, read the table of that name whatever it holds (a NUL alone
//   refused) with the 5000-record limit.
// The wizard lists and reads Access tables in the command line's goldens; the table list kept
// beside a database that cannot be opened is the server path's test.
#include "testsupport.h"
#include "wizard/headlessview.h"
#include "wizard/importgrid.h"
#include "wizard/sources/accesssourcereader.h"

#include <MGImport8/importtype.h>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

const QString jetPrefix = u"Provider=Microsoft.Jet.OLEDB.4.0;Data Source="_s;

class AccessReader : public ::testing::Test
{
protected:
    void use(const QString &path) { method.setConnectionString(jetPrefix % path); }
    QString only()
    {
        EXPECT_EQ(view.messages().size(), 1);
        const QString text = view.messages().isEmpty() ? QString() : view.messages().first().text;
        icon = view.messages().isEmpty() ? MessageIcon::None : view.messages().first().icon;
        view.clearMessages();
        return text;
    }

    HeadlessView view;
    AccessSourceReader reader{view};
    ImportType method;
    ImportGrid grid;
    MessageIcon icon = MessageIcon::None;
};

} // namespace

// The list's message for a file that is no database is the command line's test; a read says it
// without the folder, and leaves no stale table list behind.
TEST_F(AccessReader, failuresSayWhatAndWhere)
{
    TempFolder folder;
    use(folder.write(u"nodes.mdb"_s, "name,ip\nsw1,10.0.0.1\n"));
    QStringList tables{u"stale"_s};
    EXPECT_FALSE(reader.listTables(method, tables));
    EXPECT_TRUE(tables.isEmpty());
    view.clearMessages();
    EXPECT_FALSE(reader.readTable(method, u"Nodes"_s, grid));
    EXPECT_EQ(only(), u"Cannot open 'nodes.mdb'\r\nThe file is not an Access database."_s);
    EXPECT_EQ(icon, MessageIcon::None);
}

TEST_F(AccessReader, readsTablesByTheirWholeNameAndQueriesOnlyAfterSelect)
{
    MGIMPORT8_REQUIRE_CORPUS();
    use(corpusDir() % u"/access/mdbtestdata/nwind.mdb"_s);
    EXPECT_FALSE(reader.readTable(method, u"Kunden"_s, grid));
    EXPECT_EQ(only(), u"Cannot open 'Kunden' table within 'nwind.mdb'\r\n"
                      "The database has no table named 'Kunden'."_s);
    EXPECT_EQ(icon, MessageIcon::None);
    // "SELECTION" is a table name, not a query.
    EXPECT_FALSE(reader.readTable(method, u"SELECTION"_s, grid));
    EXPECT_TRUE(only().endsWith(u"The database has no table named 'SELECTION'."_s));

    // The table text is trimmed, as on a server; a name is read whole, whatever it holds, and
    // only a NUL, which ends every name in the file, is refused before anything is read.
    ASSERT_TRUE(reader.readTable(method, u"  Order Details "_s, grid));
    EXPECT_EQ(grid.rowTag(0), u"FieldHeader"_s);
    EXPECT_EQ(grid.rowCount(), 2155 + 1);
    EXPECT_FALSE(reader.readTable(method, u"Order]; DROP TABLE x; --"_s, grid));
    EXPECT_TRUE(only().endsWith(u"The database has no table named 'Order]; DROP TABLE x; --'."_s));
    EXPECT_FALSE(reader.readTable(method, u"Ship\0pers"_s, grid));
    EXPECT_EQ(only(), u"The table name 'Ship\\0pers' cannot be used: it holds a NUL character "
                      "(shown as \\0), which no statement or connection string can carry."_s);
    EXPECT_EQ(icon, MessageIcon::Exclamation);
    EXPECT_EQ(AccessSourceReader::statementFor(u"a]b"_s), u"Select TOP 5000 * From [a]]b]"_s);
}

} // namespace MGImport8::Test
