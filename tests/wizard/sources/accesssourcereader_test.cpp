// The Access reader behind the wizard's table panel:
// - the exact messages: opening for the table list (with its doubled quote and the folder as the
//   server), opening for a read, a table that cannot be read;
// - a table text starting with "SELECT " in any case runs as a query; other texts, trimmed, read
//   the table of that name whatever it holds (a NUL alone refused) with the 5000-record limit;
// - the whole wizard lists and reads a real database; an empty table keeps its field-name row,
//   says so, and cannot be left; a database that cannot be opened leaves the table list as it was.
#include "testsupport.h"
#include "wizard/headlessview.h"
#include "wizard/importgrid.h"
#include "wizard/sources/accesssourcereader.h"
#include "wizard/wizardcontroller.h"
#include "wizard/wizardstate.h"

#include <MGImport8/engine.h>

#include <MGImport8/importtype.h>

#include <QDir>

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

TEST_F(AccessReader, failuresSayWhatAndWhere)
{
    TempFolder folder;
    const QString notAccess = folder.write(u"nodes.mdb"_s, "name,ip\nsw1,10.0.0.1\n");
    const QString native = QDir::toNativeSeparators(folder.path());
    use(notAccess);
    QStringList tables{u"stale"_s};
    EXPECT_FALSE(reader.listTables(method, tables));
    EXPECT_TRUE(tables.isEmpty());
    EXPECT_EQ(only(), u"Cannot open 'nodes.mdb'' on '"_s % native
                          % u"\r\nThe file is not an Access database."_s);
    EXPECT_EQ(icon, MessageIcon::Exclamation);

    EXPECT_FALSE(reader.readTable(method, u"Nodes"_s, grid));
    EXPECT_EQ(only(), u"Cannot open 'nodes.mdb'\r\nThe file is not an Access database."_s);
    EXPECT_EQ(icon, MessageIcon::None);
}

TEST_F(AccessReader, readsTablesAndQueriesWithTheirHeader)
{
    MGIMPORT8_REQUIRE_CORPUS();
    use(corpusDir() % u"/access/mdbtestdata/nwind.mdb"_s);

    EXPECT_FALSE(reader.readTable(method, u"Kunden"_s, grid));
    EXPECT_EQ(only(), u"Cannot open 'Kunden' table within 'nwind.mdb'\r\n"
                      "The database has no table named 'Kunden'."_s);
    EXPECT_EQ(icon, MessageIcon::None);

    ASSERT_TRUE(reader.readTable(method, u"Shippers"_s, grid));
    EXPECT_TRUE(view.messages().isEmpty());
    EXPECT_EQ(grid.rowTag(0), u"FieldHeader"_s);
    EXPECT_EQ(grid.text(0, 1), u"CompanyName"_s);
    EXPECT_EQ(grid.rowCount(), 4);

    // A query in lower case, with blanks around it, runs as it stands: no limit, no brackets.
    ASSERT_TRUE(reader.readTable(method, u"  select * from [Order Details]  "_s, grid));
    EXPECT_EQ(grid.rowCount(), 2155 + 1);
    EXPECT_EQ(grid.rowTag(0), u"FieldHeader"_s);
    ASSERT_TRUE(reader.readTable(method, u"SELECT TOP 7 * FROM Products"_s, grid));
    EXPECT_EQ(grid.rowCount(), 8);

    EXPECT_FALSE(reader.readTable(method, u"SELECT * FROM Nowhere"_s, grid));
    EXPECT_TRUE(
        only().startsWith(u"Cannot open 'SELECT * FROM Nowhere' table within 'nwind.mdb'\r\n"_s));
    // "SELECTION" is a table name, not a query.
    EXPECT_FALSE(reader.readTable(method, u"SELECTION"_s, grid));
    EXPECT_TRUE(only().endsWith(u"The database has no table named 'SELECTION'."_s));

    // The table text is trimmed, as on a server; a name is read whole, whatever it holds, and
    // only a NUL, which ends every name in the file, is refused before anything is read.
    ASSERT_TRUE(reader.readTable(method, u"  Order Details "_s, grid));
    EXPECT_EQ(grid.rowCount(), 2155 + 1);
    EXPECT_FALSE(reader.readTable(method, u"Order]; DROP TABLE x; --"_s, grid));
    EXPECT_TRUE(only().endsWith(u"The database has no table named 'Order]; DROP TABLE x; --'."_s));
    EXPECT_FALSE(reader.readTable(method, u"Ship\0pers"_s, grid));
    EXPECT_EQ(only(), u"The table name 'Ship\\0pers' cannot be used: it holds a NUL character "
                      "(shown as \\0), which no statement or connection string can carry."_s);
    EXPECT_EQ(icon, MessageIcon::Exclamation);

    EXPECT_EQ(AccessSourceReader::statementFor(u" Order Details "_s),
              u"Select TOP 5000 * From [Order Details]"_s);
    EXPECT_EQ(AccessSourceReader::statementFor(u"a]b"_s), u"Select TOP 5000 * From [a]]b]"_s);
}

// The wizard with real Access methods: the file panel lists the tables (or, without a table
// panel, reads the method's table at once); the table panel's check wants a record.
TEST(AccessWizard, filePanelListsOrReadsAndTablePanelWantsRecords)
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
    EXPECT_EQ(listing->state().databaseTables,
              QStringList({u"Table1"_s, u"Table2"_s, u"Table3"_s, u"Table4"_s}));
    EXPECT_EQ(listing->state().selectTableDescription,
              u"Which table in 'testV2010.accdb' should we use ?"_s);
    view.clearMessages();
    listing->selectTable(u"Table2"_s);
    listing->next();
    EXPECT_EQ(listing->state().currentPanel, Panel::TablePanel);
    // An empty table keeps its field names, says so, and cannot be left.
    ASSERT_EQ(view.messages().size(), 2);
    EXPECT_EQ(view.messages().at(0).text,
              u"There are no records in the 'Table2' table within 'testV2010.accdb'"_s);
    EXPECT_EQ(view.messages().at(0).icon, MessageIcon::Exclamation);
    EXPECT_EQ(listing->grid().rowTag(0), u"FieldHeader"_s);
    EXPECT_EQ(view.messages().at(1).text, u"Please select a Database Table with data in it."_s);
    listing->selectTable(u"Table1"_s);
    listing->next();
    EXPECT_EQ(listing->state().currentPanel, Panel::MapPanel);

    // A database that cannot be opened leaves the table list as it was, beside the message.
    listing->back();
    listing->back();
    ASSERT_EQ(listing->state().currentPanel, Panel::FilePanel);
    listing->setFilename(folder.write(u"broken.mdb"_s, "not a database"));
    view.clearMessages();
    listing->next();
    EXPECT_EQ(listing->state().currentPanel, Panel::FilePanel);
    EXPECT_EQ(listing->state().databaseTables,
              QStringList({u"Table1"_s, u"Table2"_s, u"Table3"_s, u"Table4"_s}));
    ASSERT_EQ(view.messages().size(), 1);
    EXPECT_TRUE(view.messages().first().text.startsWith(u"Cannot open 'broken.mdb'' on '"_s));

    auto direct = open(u"Shippers"_s, u"mdbtestdata/nwind.mdb"_s);
    ASSERT_EQ(direct->state().currentPanel, Panel::MapPanel);
    EXPECT_EQ(direct->grid().rowTag(1), u"FieldHeader"_s);
    EXPECT_EQ(direct->grid().text(2, 1), u"Speedy Express"_s);
}

} // namespace MGImport8::Test
