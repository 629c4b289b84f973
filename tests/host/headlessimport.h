#pragma once

#include "nodeinventory/nodeimporter.h"
#include "wizard/headlessview.h"
#include "wizard/wizardcontroller.h"

#include <MGImport8/importoption.h>
#include <MGImport8/importoptions.h>

#include <gtest/gtest.h>

#include <functional>

namespace NodeInventory::Test {

/// Hears each row as the host took it: its number in the run, the status the host gave it, and
/// the wizard (to press Cancel on).
using RowWatch = std::function<void(int row, const QString &status, MGImport8::WizardController &)>;

/// Node Inventory's import as its window runs it, driven headless as the command line drives it:
/// the text method on `file`, every row ticked, Overwrite as given.
inline ImportSummary headlessImport(InventoryStore &store, const QString &file, bool overwrite,
                                    const RowWatch &watch = {})
{
    NodeImporter importer(store);
    importer.engine().ImportOptions()->Item(QStringLiteral("Overwrite"))->setValue(overwrite);
    MGImport8::HeadlessView view;
    view.setFileAnswer(file);
    MGImport8::WizardController wizard(importer.engine(), view);
    int rows = 0;
    if (watch)
        QObject::connect(&importer.engine(), &MGImport8::Engine::NewRow, &importer,
                         [&](MGImport8::ImportRow *, QString &status, bool &) {
                             watch(++rows, status, wizard);
                         });
    EXPECT_TRUE(importer.begin());
    wizard.start();
    for (int row = 0; row < wizard.state().methods.size(); ++row) {
        if (wizard.state().methods.at(row).name == u"Text File")
            wizard.selectMethodRow(row);
    }
    while (wizard.state().currentPanel != MGImport8::Panel::ImportPanel) {
        const MGImport8::Panel panel = wizard.state().currentPanel;
        if (panel == MGImport8::Panel::PreviewPanel)
            wizard.checkAll();
        wizard.next();
        if (wizard.state().currentPanel == panel) {
            ADD_FAILURE() << "the wizard stayed on its panel: "
                          << view.messages().value(0).text.toStdString();
            break;
        }
    }
    return importer.finish();
}

/// Presses Cancel once the host took `row` rows.
inline RowWatch cancelAfter(int row)
{
    return [row](int taken, const QString &, MGImport8::WizardController &wizard) {
        if (taken == row)
            wizard.cancel();
    };
}

} // namespace NodeInventory::Test
