// Node Inventory's "Database..." dialog against the throwaway PostgreSQL cluster, driven by
// object names as a user drives it:
// - the server list holds the registered servers;
// - connecting, then Create Database builds the monitoring database from the shipped file, with
//   the progress bar and the step fed by SQLAdmin's signals and the trace shown afterwards;
// - Create Account makes an account that can write nodes, and Use Database hands the window a
//   location under that account, through which the window's imports then go;
// - Upgrade Structure brings a database of the previous structure version up to the current one;
// - Node Inventory's importer, under the wizard, fills the server inventory from the sample file,
//   a cancelled import leaves it exactly as it was, and one whose connection is cut stops with
//   the store's reason and keeps nothing.
#include "nodeinventory/databasedialog.h"
#include "nodeinventory/mainwindow.h"
#include "nodeinventory/nodeimporter.h"
#include "nodestore/nodestore.h"
#include "nodestore/servernodestore.h"

#include "engine/libraryaccess.h"
#include "pgcluster.h"
#include "testsupport.h"
#include "wizard/headlessview.h"
#include "wizard/wizardcontroller.h"

#include <MGImport8/importoption.h>
#include <MGImport8/importoptions.h>
#include <MGImport8/importrow.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

#include <gtest/gtest.h>

#include <functional>

using namespace Qt::StringLiterals;
using namespace NodeInventory;
using MGImport8::Test::PgCluster;

namespace {

const QString shippedFolder = QStringLiteral(MGIMPORT8_SHIPPED_FILES);

template<typename Widget>
Widget *child(const QWidget &parent, const QString &name)
{
    auto *widget = parent.findChild<Widget *>(name);
    EXPECT_NE(widget, nullptr) << name.toStdString();
    return widget;
}

void type(const QWidget &dialog, const QString &name, const QString &text)
{
    auto *edit = child<QLineEdit>(dialog, name);
    edit->clear();
    QTest::keyClicks(edit, text);
}

void click(const QWidget &dialog, const QString &name)
{
    auto *button = child<QPushButton>(dialog, name);
    ASSERT_TRUE(button->isEnabled()) << name.toStdString();
    QTest::mouseClick(button, Qt::LeftButton);
}

QString status(const QWidget &dialog)
{
    return child<QLabel>(dialog, u"DatabaseStatus"_s)->text();
}

// A dialog logged in to the cluster with the user's own identity.
void connectTo(DatabaseDialog &dialog, PgCluster *cluster)
{
    child<QComboBox>(dialog, u"ServerType"_s)->setCurrentText(u"PostgreSQL"_s);
    child<QComboBox>(dialog, u"ServerName"_s)->setEditText(cluster->socketServerName());
    child<QCheckBox>(dialog, u"chkIntegratedSecurity"_s)->setChecked(true);
    click(dialog, u"cmdConnect"_s);
    EXPECT_TRUE(status(dialog).startsWith(u"Connected to"_s)) << status(dialog).toStdString();
}

} // namespace

TEST(DatabaseDialog, OffersTheRegisteredServers)
{
    MGImport8::Test::TempFolder config;
    ASSERT_TRUE(QDir().mkpath(config.path() + u"/MGImport8"_s));
    const QString file = config.write(
        u"MGImport8/RegisteredServers.xml"_s,
        "<RegisteredServers><ServerGroup Name=\"Monitoring\"><Server Name=\"db-north:5432\"/>"
        "<Server Name=\"db-south\"/></ServerGroup></RegisteredServers>");
    MGImport8::Test::ScopedEnv xdg("XDG_CONFIG_HOME", config.path().toUtf8());
    DatabaseDialog dialog(shippedFolder);
    child<QComboBox>(dialog, u"ServerType"_s)->setCurrentText(u"PostgreSQL"_s);
    click(dialog, u"cmdFindServers"_s);
    auto *servers = child<QComboBox>(dialog, u"ServerName"_s);
    ASSERT_EQ(servers->count(), 2) << status(dialog).toStdString() << file.toStdString();
    EXPECT_EQ(servers->itemText(0), u"db-north:5432"_s);
    EXPECT_EQ(servers->itemText(1), u"db-south"_s);
    EXPECT_EQ(status(dialog), u"2 servers found."_s);
}

TEST(DatabaseDialog, CreatesTheDatabaseAndTheAccountThatTheWindowThenImportsThrough)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    DatabaseDialog dialog(shippedFolder);
    connectTo(dialog, cluster);
    type(dialog, u"DatabaseName"_s, u"dialog_inventory"_s);
    EXPECT_FALSE(child<QPushButton>(dialog, u"cmdShowTrace"_s)->isEnabled());

    auto *progress = child<QProgressBar>(dialog, u"StructureProgress"_s);
    QSignalSpy progressed(progress, &QProgressBar::valueChanged);
    click(dialog, u"cmdBuildDatabase"_s);
    EXPECT_TRUE(status(dialog).startsWith(u"Database dialog_inventory created from"_s))
        << status(dialog).toStdString();
    EXPECT_GT(progressed.count(), 5);
    EXPECT_EQ(progress->value(), 100);
    EXPECT_EQ(child<QLabel>(dialog, u"StructureStep"_s)->text(), u"Adding New View node_summary"_s);

    click(dialog, u"cmdShowTrace"_s);
    auto *trace = child<QPlainTextEdit>(dialog, u"StructureTrace"_s);
    EXPECT_FALSE(trace->isHidden());
    EXPECT_TRUE(trace->toPlainText().startsWith(
        u"Verifying Database structure : MonitoringDatabase.PostgreSQL\n"_s))
        << trace->toPlainText().toStdString();
    EXPECT_TRUE(trace->toPlainText().contains(u"Added Table (Nodes)\n"_s));

    type(dialog, u"AccountName"_s, u"inventory_host"_s);
    type(dialog, u"AccountPassword"_s, u"Inventory-pass-1"_s);
    click(dialog, u"cmdCreateAccount"_s);
    EXPECT_EQ(status(dialog), u"The account inventory_host can now use dialog_inventory."_s);
    click(dialog, u"cmdUseDatabase"_s);
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    const QString location = dialog.location();
    EXPECT_TRUE(location.contains(u"user=inventory_host"_s)) << location.toStdString();

    // The window takes the location; rows written under the account show in its table.
    MGImport8::Test::TempFolder folder;
    NodeStore local;
    ASSERT_TRUE(local.open(folder.path() + u"/nodes.sqlite"_s));
    MainWindow window(local);
    ASSERT_TRUE(window.useStore(location));
    ServerNodeStore writer;
    ASSERT_TRUE(writer.open(location)) << writer.lastError().toStdString();
    ASSERT_TRUE(writer.begin()) << writer.lastError().toStdString();
    MGImport8::ImportRow row;
    MGImport8::LibraryAccess::AddColumn(row, u"IP"_s, u"198.51.100.20"_s);
    MGImport8::LibraryAccess::AddColumn(row, u"Name"_s, u"through-the-account"_s);
    EXPECT_EQ(writer.apply(row, u"IP"_s, false).status, u"Added 198.51.100.20"_s);
    ASSERT_TRUE(writer.commit()) << writer.lastError().toStdString();
    window.refresh();
    auto *table = child<QTableView>(window, u"Nodes"_s);
    ASSERT_EQ(table->model()->rowCount(), 1);
    EXPECT_EQ(table->model()->index(0, 0).data().toString(), u"198.51.100.20"_s);
}

TEST(DatabaseDialog, UpgradesADatabaseOfThePreviousStructure)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    {
        MGImport8::SQLAdmin admin;
        admin.setServerType(MGImport8::SQLAdmin::PostgreSqlType);
        admin.setServerName(cluster->socketServerName());
        ASSERT_TRUE(admin.Connect(false)) << admin.LastError().toStdString();
        ASSERT_TRUE(admin.BuildDatabase(u"dialog_previous"_s, u"/tmp"_s,
                                        shippedFolder + u"/MonitoringDatabase.PostgreSQL.1.xml"_s));
    }
    DatabaseDialog dialog(shippedFolder);
    connectTo(dialog, cluster);
    type(dialog, u"DatabaseName"_s, u"dialog_previous"_s);
    click(dialog, u"cmdUpgradeDatabase"_s);
    EXPECT_TRUE(status(dialog).startsWith(u"Database dialog_previous is up to date"_s))
        << status(dialog).toStdString();
    click(dialog, u"cmdShowTrace"_s);
    EXPECT_TRUE(child<QPlainTextEdit>(dialog, u"StructureTrace"_s)
                    ->toPlainText()
                    .contains(u"Added Nodes.lastseen to Database\n"_s));

    // A database that is not there is reported, not crashed on.
    type(dialog, u"DatabaseName"_s, u"no_such_inventory"_s);
    click(dialog, u"cmdUpgradeDatabase"_s);
    EXPECT_FALSE(status(dialog).isEmpty());
    EXPECT_FALSE(status(dialog).contains(u"up to date"_s));
}

namespace {

// Imports the sample through Node Inventory's importer under the headless wizard, every row
// ticked; `stopAfter` rows into the run the user presses Cancel.
ImportSummary importSample(InventoryStore &store, bool overwrite, int stopAfter = -1,
                           const std::function<void(int)> &afterRow = {})
{
    NodeImporter importer(store);
    importer.engine().ImportOptions()->Item(u"Overwrite"_s)->setValue(overwrite);
    MGImport8::HeadlessView view;
    view.setFileAnswer(QStringLiteral(MGIMPORT8_EXAMPLES_DIR "/nodes.csv"));
    MGImport8::WizardController wizard(importer.engine(), view);
    int rows = 0;
    QObject::connect(&importer.engine(), &MGImport8::Engine::NewRow, &importer,
                     [&](MGImport8::ImportRow *, QString &, bool &) {
                         if (++rows == stopAfter)
                             wizard.cancel();
                         if (afterRow)
                             afterRow(rows);
                     });
    EXPECT_TRUE(importer.begin());
    wizard.start();
    const auto &methods = wizard.state().methods;
    for (int row = 0; row < methods.size(); ++row) {
        if (methods.at(row).name == u"Text File"_s)
            wizard.selectMethodRow(row);
    }
    while (wizard.state().currentPanel != MGImport8::Panel::ImportPanel) {
        const MGImport8::Panel before = wizard.state().currentPanel;
        if (before == MGImport8::Panel::PreviewPanel)
            wizard.checkAll();
        wizard.next();
        if (wizard.state().currentPanel == before) {
            ADD_FAILURE() << "the wizard stayed on its panel";
            break;
        }
    }
    return importer.finish();
}

} // namespace

TEST(DatabaseDialog, TheImporterFillsTheServerInventoryAndACancelKeepsNothing)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    DatabaseDialog dialog(shippedFolder);
    connectTo(dialog, cluster);
    type(dialog, u"DatabaseName"_s, u"dialog_import"_s);
    click(dialog, u"cmdBuildDatabase"_s);
    click(dialog, u"cmdUseDatabase"_s);
    QString error;
    const auto store = openInventoryStore(dialog.location(), &error);
    ASSERT_TRUE(store) << error.toStdString();

    const ImportSummary cancelled = importSample(*store, false, 5);
    EXPECT_FALSE(cancelled.completed);
    EXPECT_EQ(store->count(), 0);

    const ImportSummary first = importSample(*store, false);
    EXPECT_TRUE(first.completed) << first.error.toStdString();
    EXPECT_EQ(first.added, 14);
    const ImportSummary again = importSample(*store, true);
    EXPECT_EQ(again.updated, 14);
    EXPECT_EQ(store->count(), 14);
    const QList<Node> nodes = store->nodes();
    EXPECT_EQ(nodes.first().ip, u"10.20.0.1"_s);

    EXPECT_FALSE(importSample(*store, true, 3).completed);
    EXPECT_EQ(store->count(), 14);

    // The connection cut after the third row: the import stops with the store's reason and the
    // table keeps what it had.
    ASSERT_TRUE(cluster->psql(u"dialog_import"_s, u"DELETE FROM nodes WHERE ip LIKE '10.30.%'"_s));
    auto *server = dynamic_cast<ServerNodeStore *>(store.get());
    ASSERT_NE(server, nullptr);
    const QString session = server->sessionId();
    const ImportSummary cut = importSample(*store, true, -1, [&](int row) {
        if (row == 3) {
            EXPECT_TRUE(
                cluster->psql(u"postgres"_s, u"SELECT pg_terminate_backend(%1)"_s.arg(session)));
        }
    });
    EXPECT_FALSE(cut.completed);
    EXPECT_TRUE(cut.error.startsWith(u"The connection to the inventory on"_s))
        << cut.error.toStdString();
    ServerNodeStore after;
    ASSERT_TRUE(after.open(dialog.location())) << after.lastError().toStdString();
    EXPECT_EQ(after.count(), 12);
}

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
