// Node Inventory's "Database..." dialog against the throwaway PostgreSQL cluster, driven by
// object names as a user drives it:
// - connecting, then Create Database builds the monitoring database from the shipped file, with
//   the progress bar and the step fed by SQLAdmin's signals and the trace shown afterwards;
// - Create Account makes an account that can write nodes, and Use Database hands over a location
//   under that account: Node Inventory's importer, under the wizard, fills the inventory through
//   it, a cancelled import leaves it as it was, and the window shows what is there;
// - Upgrade Structure brings a database of the previous structure version up to the current one.
#include "headlessimport.h"
#include "nodeinventory/databasedialog.h"
#include "nodeinventory/mainwindow.h"
#include "nodestore/nodestore.h"

#include "pgcluster.h"
#include "testsupport.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace NodeInventory;
using MGImport8::Test::PgCluster;

namespace {

const QString shippedFolder = QStringLiteral(MGIMPORT8_SHIPPED_FILES);
const QString sample = QStringLiteral(MGIMPORT8_EXAMPLES_DIR "/nodes.csv");

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

TEST(DatabaseDialog, CreatesTheDatabaseAndTheAccountThatTheWindowThenImportsThrough)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    DatabaseDialog dialog(shippedFolder);
    connectTo(dialog, cluster);
    type(dialog, u"DatabaseName"_s, u"dialog_inventory"_s);

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

    // Node Inventory's importer fills the inventory under the account; a cancelled import leaves
    // it as it was, and the window taking the location shows what is there.
    using NodeInventory::Test::cancelAfter;
    using NodeInventory::Test::headlessImport;
    QString error;
    const auto store = openInventoryStore(location, &error);
    ASSERT_TRUE(store) << error.toStdString();
    const ImportSummary first = headlessImport(*store, sample, false);
    EXPECT_TRUE(first.completed) << first.error.toStdString();
    EXPECT_EQ(first.added, 14);
    EXPECT_EQ(headlessImport(*store, sample, true).updated, 14);
    EXPECT_FALSE(headlessImport(*store, sample, true, cancelAfter(3)).completed);
    EXPECT_EQ(store->count(), 14);

    MGImport8::Test::TempFolder folder;
    NodeStore local;
    ASSERT_TRUE(local.open(folder.path() + u"/nodes.sqlite"_s));
    MainWindow window(local);
    ASSERT_TRUE(window.useStore(location));
    auto *table = child<QTableView>(window, u"Nodes"_s);
    ASSERT_EQ(table->model()->rowCount(), 14);
    EXPECT_EQ(table->model()->index(0, 0).data().toString(), u"10.20.0.1"_s);
    EXPECT_EQ(child<QLabel>(window, u"Status"_s)->text(), u"14 nodes"_s);
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

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
