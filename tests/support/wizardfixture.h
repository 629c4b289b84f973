#pragma once

#include "testsupport.h"
#include "wizard/headlessview.h"
#include "wizard/wizardcontroller.h"

#include <MGImport8/engine.h>
#include <MGImport8/importtype.h>

#include <QStringList>

#include <gtest/gtest.h>

#include <memory>

namespace MGImport8::Test {

/// A wizard over a method file in a temporary folder (the only methods the catalogue finds), a
/// real engine with the target columns "Name,IP,Location" (IP required), the headless view and
/// data files written beside the methods.
class WizardFixture : public ::testing::Test
{
protected:
    WizardFixture();

    void SetUp() override;
    /// A fresh wizard over the same engine, view and files (for table-driven cases).
    void restart();

    /// Writes a data file into the temporary folder and returns its path.
    QString writeFile(const QString &name, const QByteArray &content);
    /// Chooses the method of that name in the method list.
    void chooseMethod(const QString &name);
    /// Chooses the text method with `path` as the file dialog's answer and walks Next to the
    /// delimiter panel.
    void openText(const QString &path);
    /// The same, on to the mapping panel (the file must pass the delimiter panel).
    void openTextToMapping(const QByteArray &content);
    /// The same, on to the row selection panel.
    void openTextToSelection(const QByteArray &content);

    Panel panel() const { return wizard->state().currentPanel; }
    ImportGrid &grid() { return wizard->grid(); }
    /// The texts of a grid row, from `firstColumn` on.
    QStringList rowTexts(qsizetype row, int firstColumn = 0);
    /// The check cells of the data rows, as "1"/"2" characters.
    QString checks();
    QStringList messageTexts() const;
    /// The one message shown since the last call, which must have the exclamation icon and no
    /// title; empty when none was shown.
    QString takeExclamation();

    TempFolder folder;
    std::unique_ptr<ScopedEnv> methodsPath;
    Engine engine;
    HeadlessView view;
    std::unique_ptr<WizardController> wizard;
};

} // namespace MGImport8::Test
