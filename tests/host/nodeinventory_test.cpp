// Node Inventory as a host: the handler behind the wizard adds, updates and skips nodes as its
// Overwrite option says, skips rows without an address, and keeps nothing of an import that did
// not run to its end. The wizard is driven headless, as the command line drives it.
#include "nodeinventory/mainwindow.h"
#include "nodeinventory/nodeimporter.h"
#include "nodeinventory/nodetablemodel.h"
#include "nodestore/nodestore.h"
#include "testsupport.h"
#include "wizard/headlessview.h"
#include "wizard/wizardcontroller.h"

#include <MGImport8/ipaddress.h>

#include <MGImport8/importoption.h>
#include <MGImport8/importoptions.h>
#include <MGImport8/importtypes.h>

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTableView>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace NodeInventory;
using MGImport8::HeadlessView;
using MGImport8::Panel;
using MGImport8::WizardController;

namespace {

const QString sample = u"" MGIMPORT8_EXAMPLES_DIR "/nodes.csv"_s;

class NodeInventoryTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(store.open(folder.path() + u"/nodes.sqlite"_s)); }

    /// Imports the sample (or `file`) with every row ticked, through the importer's own engine;
    /// `stopAfter` rows into the run the user presses Cancel.
    ImportSummary importSample(bool overwrite, int stopAfter = -1, const QString &file = sample)
    {
        NodeImporter importer(store);
        importer.engine().ImportOptions()->Item(u"Overwrite"_s)->setValue(overwrite);
        QObject::connect(&importer, &NodeImporter::waiting, &importer,
                         [this](const QString &status) { waits.append(status); });
        HeadlessView view;
        view.setFileAnswer(file);
        WizardController wizard(importer.engine(), view);
        int rows = 0;
        QObject::connect(&importer.engine(), &MGImport8::Engine::NewRow, &importer,
                         [&](MGImport8::ImportRow *, QString &status, bool &) {
                             statuses.append(status);
                             if (++rows == stopAfter)
                                 wizard.cancel();
                         });
        EXPECT_TRUE(importer.begin());
        wizard.start();
        const auto &methods = wizard.state().methods;
        for (int row = 0; row < methods.size(); ++row) {
            if (methods.at(row).name == u"Text File"_s)
                wizard.selectMethodRow(row);
        }
        while (wizard.state().currentPanel != Panel::ImportPanel) {
            const Panel before = wizard.state().currentPanel;
            if (before == Panel::PreviewPanel)
                wizard.checkAll();
            wizard.next();
            if (wizard.state().currentPanel == before) {
                ADD_FAILURE() << "the wizard stayed on its panel: "
                              << view.messages().value(0).text.toStdString();
                break;
            }
        }
        messages = view.messages();
        return importer.finish();
    }

    MGImport8::Test::TempFolder folder;
    NodeStore store;
    QStringList statuses;
    QStringList waits;
    QList<MGImport8::HeadlessView::Message> messages;
};

TEST_F(NodeInventoryTest, AddsThenSkipsOrUpdatesKnownNodes)
{
    const ImportSummary first = importSample(false);
    EXPECT_TRUE(first.completed);
    EXPECT_EQ(first.added, 14);
    // With every row ticked, the header line, the mistyped address, the row without one, the blank
    // line and the empty last line reach the host, which skips them, saying why.
    EXPECT_EQ(first.skipped, 5);
    EXPECT_EQ(statuses.count(u"Skipped: no valid IP address"_s), 5);
    EXPECT_TRUE(statuses.contains(u"Added 10.20.0.60"_s)) << statuses.join(u'|').toStdString();
    EXPECT_EQ(store.count(), 14);

    statuses.clear();
    const ImportSummary again = importSample(false);
    EXPECT_TRUE(again.completed);
    EXPECT_EQ(again.added + again.updated, 0);
    EXPECT_TRUE(statuses.contains(u"Skipped: 10.20.0.1 is already in the inventory"_s));

    const ImportSummary overwrite = importSample(true);
    EXPECT_EQ(overwrite.updated, 14);
    EXPECT_EQ(store.count(), 14);
}

TEST_F(NodeInventoryTest, CancelledImportChangesNothing)
{
    // Cancel after four rows: the header line and three nodes, which were added inside the
    // import's transaction and must not stay.
    const ImportSummary cancelled = importSample(false, 4);
    EXPECT_FALSE(cancelled.completed);
    EXPECT_EQ(cancelled.added, 3);
    EXPECT_EQ(store.count(), 0);

    // Nor does a cancelled overwrite touch what an earlier import kept.
    ASSERT_TRUE(importSample(false).completed);
    EXPECT_FALSE(importSample(true, 4).completed);
    EXPECT_EQ(store.count(), 14);
}

// The store tells a new address from a known one by the row id its single upsert returns, also
// for an address that comes twice in one file.
TEST_F(NodeInventoryTest, RepeatedAddressesInOneImportAreAddedOnceThenUpdatedOrSkipped)
{
    ASSERT_TRUE(importSample(false).completed);
    const QString file = folder.write(u"repeats.csv"_s, "10.9.0.1,a\n10.20.0.1,b\n10.9.0.1,c\n"
                                                        "10.9.0.2,d\nno-address,e\n");
    const struct
    {
        bool overwrite;
        QStringList statuses;
    } cases[] = {
        // New addresses get row ids past every earlier one; the repeat updates its own add.
        {true,
         {u"Added 10.9.0.1"_s, u"Updated 10.20.0.1"_s, u"Updated 10.9.0.1"_s, u"Added 10.9.0.2"_s,
          u"Skipped: no valid IP address"_s}},
        {false,
         {u"Skipped: 10.9.0.1 is already in the inventory"_s,
          u"Skipped: 10.20.0.1 is already in the inventory"_s,
          u"Skipped: 10.9.0.1 is already in the inventory"_s,
          u"Skipped: 10.9.0.2 is already in the inventory"_s, u"Skipped: no valid IP address"_s}},
    };
    for (const auto &c : cases) {
        statuses.clear();
        const ImportSummary summary = importSample(c.overwrite, -1, file);
        EXPECT_TRUE(summary.completed);
        // The empty line after the last line feed is a row too.
        EXPECT_EQ(statuses.mid(0, 5), c.statuses) << statuses.join(u'|').toStdString();
    }
    EXPECT_EQ(store.count(), 16);
}

// Another program holding the store's write lock past the busy timeout is the store's failure,
// not the rows': the import stops at its first row with one critical message, waits were
// announced, and nothing is kept.
TEST_F(NodeInventoryTest, StoreHeldPastTheTimeoutStopsTheImport)
{
    ASSERT_TRUE(importSample(false).completed);
    QSqlDatabase other = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"holder"_s);
    other.setDatabaseName(folder.path() + u"/nodes.sqlite"_s);
    ASSERT_TRUE(other.open());
    ASSERT_TRUE(QSqlQuery(other).exec(u"BEGIN IMMEDIATE"_s));
    store.setBusyTimeout(200);
    statuses.clear();
    const ImportSummary summary = importSample(true);
    EXPECT_FALSE(summary.completed);
    EXPECT_EQ(summary.added + summary.updated + summary.skipped, 1); // the header line
    EXPECT_TRUE(summary.stopped.contains(u"held by another program"_s))
        << summary.stopped.toStdString();
    EXPECT_TRUE(summary.error.isEmpty());
    ASSERT_EQ(messages.size(), 1);
    EXPECT_EQ(messages[0].icon, MGImport8::MessageIcon::Critical);
    EXPECT_TRUE(messages[0].text.startsWith(u"The import stopped at row 2: the host could not "
                                            u"take the row.\r\n\r\nThe node store "_s))
        << messages[0].text.toStdString();
    EXPECT_EQ(waits, QStringList{u"Waiting for the node store: another import is writing to it."_s});
    QSqlQuery(other).exec(u"ROLLBACK"_s);
    other.close();
    other = {};
    QSqlDatabase::removeDatabase(u"holder"_s);

    // Released, the same import goes through.
    EXPECT_TRUE(importSample(true).completed);
    EXPECT_EQ(store.count(), 14);
}

TEST_F(NodeInventoryTest, WindowShowsTheInventory)
{
    ASSERT_TRUE(importSample(false).completed);
    MainWindow window(store);
    auto *table = window.findChild<QTableView *>(u"Nodes"_s);
    ASSERT_NE(table, nullptr);
    QAbstractItemModelTester tester(table->model(),
                                    QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_EQ(table->model()->rowCount(), 14);
    EXPECT_EQ(table->model()->index(0, 0).data().toString(), u"10.20.0.1"_s);
    EXPECT_EQ(window.findChild<QLabel *>(u"Status"_s)->text(), u"14 nodes"_s);
}

} // namespace

int main(int argc, char **argv)
{
    // Listing the tests happens without the test environment, and without a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

// What open finds in a file decides whether the file is used: anything that is not a node store
// of this layout is refused with what was found, and its bytes stay as they were.
TEST(NodeStoreOpen, RefusesFilesThatAreNoNodeStoreAndLeavesThemUntouched)
{
    const QString layout = u"CREATE TABLE nodes (ip TEXT PRIMARY KEY NOT NULL, name TEXT, "
                           u"description TEXT, location TEXT, contact TEXT, extra TEXT)"_s;
    const struct
    {
        const char *name;
        QByteArray bytes;       // written as a file when not empty
        QStringList statements; // run through SQLite otherwise
        QString refusal;        // empty: opened
    } cases[] = {
        {"no file yet", {}, {}, {}},
        {"empty file", QByteArray(""), {}, {}},
        {"text", "Name,IP\nsw,10.0.0.1\n", {}, u"is not an SQLite database"_s},
        {"empty SQLite database", {}, {u"PRAGMA user_version = 0"_s}, {}},
        {"store without the version stamp", {}, {layout}, {}},
        {"another program's tables",
         {},
         {u"CREATE TABLE hosts (ip TEXT)"_s},
         u"it holds the tables hosts, not the one table nodes"_s},
        {"nodes beside other tables",
         {},
         {layout, u"CREATE TABLE notes (t TEXT)"_s},
         u"it holds the tables nodes, notes"_s},
        {"nodes with other columns",
         {},
         {u"CREATE TABLE nodes (ip TEXT PRIMARY KEY, name TEXT, site TEXT)"_s},
         u"its nodes table has the columns ip, name, site;"_s},
        {"an older layout without extra",
         {},
         {u"CREATE TABLE nodes (ip TEXT PRIMARY KEY NOT NULL, name TEXT, description TEXT, "
          u"location TEXT, contact TEXT)"_s},
         u"is not a node store of this version"_s},
        {"nodes keyed by name",
         {},
         {u"CREATE TABLE nodes (ip TEXT, name TEXT PRIMARY KEY, description TEXT, location "
          u"TEXT, contact TEXT, extra TEXT)"_s},
         u"(not keyed by ip alone)"_s},
        {"a newer version",
         {},
         {layout, u"PRAGMA user_version = 2"_s},
         u"is a node store of a newer version (2; this program reads version 1)"_s},
        {"another application's file",
         {},
         {layout, u"PRAGMA application_id = 42"_s},
         u"it belongs to another program (application id 0x2a)"_s},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        MGImport8::Test::TempFolder folder;
        const QString path = folder.path() + u"/nodes.sqlite"_s;
        if (!c.bytes.isNull())
            folder.write(u"nodes.sqlite"_s, c.bytes);
        if (!c.statements.isEmpty()) {
            {
                QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"setup"_s);
                db.setDatabaseName(path);
                ASSERT_TRUE(db.open());
                for (const QString &statement : c.statements)
                    ASSERT_TRUE(QSqlQuery(db).exec(statement)) << statement.toStdString();
                db.close();
            }
            QSqlDatabase::removeDatabase(u"setup"_s);
        }
        QFile file(path);
        const QByteArray before = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        file.close();

        NodeStore store;
        const bool opened = store.open(path);
        if (c.refusal.isEmpty()) {
            EXPECT_TRUE(opened) << store.lastError().toStdString();
            EXPECT_EQ(store.count(), 0);
            continue;
        }
        EXPECT_FALSE(opened);
        EXPECT_TRUE(store.lastError().startsWith(path)) << store.lastError().toStdString();
        EXPECT_TRUE(store.lastError().contains(c.refusal)) << store.lastError().toStdString();
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), before);
    }
}

// The store keeps an address in plain decimal, read by the same lenient rules as the wizard's IP
// check, and refuses what that check refuses.
TEST(NodeStoreAddress, CanonicalFormFollowsTheImportsAddressCheck)
{
    const struct
    {
        QString text;
        QString canonical;
    } cases[] = {
        {u"10.0.0.1"_s, u"10.0.0.1"_s},
        {u" 10.+0.0.01"_s, u"10.0.0.1"_s},
        {u"&HA.&O10.2.5E1"_s, u"10.8.2.50"_s},
        {u"10.0.0.2.5"_s, QString()},
        {u"10.0.0.25E-1"_s, u"10.0.0.2"_s},
        {u"10.0.0.35e-1"_s, u"10.0.0.4"_s},
        {u"10.0.0.256"_s, QString()},
        {u"10.0.0"_s, QString()},
        {u"10..0.1"_s, QString()},
        {u"10.0.0.-1"_s, QString()},
        {QString(), QString()},
    };
    for (const auto &c : cases)
        EXPECT_EQ(MGImport8::IPAddress::Canonical(c.text), c.canonical) << c.text.toStdString();
}
