// The Access reader behind the wizard's table panel:
// - the exact messages: opening for a read, a table that cannot be read;
// - texts other than a query, trimmed, read the table of that name whatever it holds (a NUL alone
//   refused) with the 5000-record limit;
// - the whole wizard lists and reads a real database; a database that cannot be opened leaves the
//   table list as it was.
#include "testsupport.h"
#include "wizard/headlessview.h"
#include "wizard/importgrid.h"
#include "wizard/sources/accesssourcereader.h"
#include "wizard/wizardcontroller.h"
#include "wizard/wizardstate.h"

#include <MGImport8/engine.h>

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

// The wizard with real Access methods: the file panel lists the tables, and keeps them beside the
// message when another file cannot be opened; without a table panel it reads the method's table
// at once. An empty table's messages are the command line's and the server path's tests.
TEST(AccessWizard, filePanelListsOrReadsTheMethodsTable)
{
    MGIMPORT8_REQUIRE_CORPUS();
    TempFolder folder;
    folder.write(u"methods/access.ImportMethods"_s, R"(<ImportMethods>
  <ImportMethod NAME="Access" METHOD="IMPORTACCESS" DISABLED="NO"
    PANELS="MethodPanel,FilePanel,TablePanel,MapPanel,PreviewPanel,OptionsPanel,ImportPanel"/>
  <ImportMethod NAME="Shippers" METHOD="IMPORTACCESS" DISABLED="NO" TABLE="Shippers"
    PANELS="MethodPanel,FilePanel,MapPanel,PreviewPanel,OptionsPanel,ImportPanel"/>
</ImportMethods>)");
    const ScopedEnv methods("MGIMPORT8_METHODS_PATH", (folder.path() + u"/methods"_s).toUtf8());
    Engine engine;
    engine.setColumns(u"Name,IP"_s);
    HeadlessView view;
    auto open = [&](const QString &method, const QString &file) {
        auto wizard = std::make_unique<WizardController>(engine, view);
        wizard->start();
        const QList<MethodListRow> &rows = wizard->state().methods;
        for (int row = 0; row < rows.size(); ++row) {
            if (rows.at(row).name == method)
                wizard->selectMethodRow(row);
        }
        view.setFileAnswer(corpusDir() % u"/access/"_s % file);
        wizard->next();
        wizard->next();
        return wizard;
    };

    auto listing = open(u"Access"_s, u"jackcess/V2010/testV2010.accdb"_s);
    ASSERT_EQ(listing->state().currentPanel, Panel::TablePanel);
    const QStringList tables{u"Table1"_s, u"Table2"_s, u"Table3"_s, u"Table4"_s};
    EXPECT_EQ(listing->state().databaseTables, tables);
    EXPECT_EQ(listing->state().selectTableDescription,
              u"Which table in 'testV2010.accdb' should we use ?"_s);
    listing->back();
    ASSERT_EQ(listing->state().currentPanel, Panel::FilePanel);
    listing->setFilename(folder.write(u"broken.mdb"_s, "not a database"));
    view.clearMessages();
    listing->next();
    EXPECT_EQ(listing->state().currentPanel, Panel::FilePanel);
    EXPECT_EQ(listing->state().databaseTables, tables);
    ASSERT_EQ(view.messages().size(), 1);
    EXPECT_TRUE(view.messages().first().text.startsWith(u"Cannot open 'broken.mdb'' on '"_s));

    auto direct = open(u"Shippers"_s, u"mdbtestdata/nwind.mdb"_s);
    ASSERT_EQ(direct->state().currentPanel, Panel::MapPanel);
    EXPECT_EQ(direct->grid().rowTag(1), u"FieldHeader"_s);
    EXPECT_EQ(direct->grid().text(2, 1), u"Speedy Express"_s);
}

} // namespace MGImport8::Test
