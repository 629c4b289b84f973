// Node Inventory as a host: the handler behind the wizard adds, updates and skips nodes as its
// Overwrite option says, skips rows without an address, and keeps nothing of an import that did
// not run to its end. The wizard is driven headless, as the command line drives it.
#include "nodeinventory/mainwindow.h"
#include "nodeinventory/nodeimporter.h"
#include "nodeinventory/nodetablemodel.h"
#include "nodestore/addresstext.h"
#include "nodestore/nodestore.h"
#include "testsupport.h"
#include "wizard/headlessview.h"
#include "wizard/wizardcontroller.h"

#include <MGImport8/importoption.h>
#include <MGImport8/importoptions.h>
#include <MGImport8/importtypes.h>

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QLabel>
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

    /// Imports the sample with every row ticked, through the importer's own engine; `stopAfter`
    /// rows into the run the user presses Cancel.
    ImportSummary importSample(bool overwrite, int stopAfter = -1)
    {
        NodeImporter importer(store);
        importer.engine().ImportOptions()->Item(u"Overwrite"_s)->setValue(overwrite);
        HeadlessView view;
        view.setFileAnswer(sample);
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
        return importer.finish();
    }

    MGImport8::Test::TempFolder folder;
    NodeStore store;
    QStringList statuses;
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
        EXPECT_EQ(canonicalIPAddress(c.text), c.canonical) << c.text.toStdString();
}
