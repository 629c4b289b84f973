#pragma once

#include "qtwarnings.h"
#include "testsupport.h"
#include "userdriver.h"

#include <MGImport8/engine.h>

#include <QAbstractItemModel>
#include <QMap>
#include <QTableView>
#include <QWidget>

#include <gtest/gtest.h>

namespace MGImport8::Test {

/// A host's side of the wizard: a shown main window, an engine configured as the demo host
/// configures it (columns Name,IP,Description,Location,Contact; IP required; the option
/// "Overwrite"), the rows `NewRow` delivered and the `ImportComplete` count, and a user at the
/// screen. Every test fails on an unexpected Qt warning.
class FormFixture : public ::testing::Test
{
protected:
    FormFixture();
    void SetUp() override;
    void TearDown() override;

    /// StartWizard over the host window, as a host calls it.
    bool startWizard();

    /// The bundled sample (18 lines, 14 with a valid address, and the empty line after the last line feed).
    static QString nodesFile();

    // Steps a user takes, added to the script.
    /// Chooses the text method and the file, and goes on to the delimiter panel.
    void walkToDelimiters(const QString &path);
    /// ... and on to the mapping panel.
    void walkToMapping(const QString &path);
    /// ... and on to the row selection panel.
    void walkToSelection(const QString &path);

    QWidget host;
    Engine engine;
    UserDriver user;
    /// Each delivered row as column -> value.
    QList<QMap<QString, QString>> rows;
    int completions = 0;
    /// Called for every NewRow after it is recorded (a test may act during the import).
    std::function<void(QString &status, bool &skip)> onNewRow;
};

// Acting on the wizard window, by object names only.
void chooseMethod(QWidget &form, const QString &name);
QTableView *importTable(QWidget &form);
QAbstractItemModel *gridModel(QWidget &form);
QString cell(QWidget &form, int row, int column);
/// Clicks a cell of the working grid.
void clickCell(QWidget &form, int row, int column, Qt::KeyboardModifiers modifiers = {});
/// The rows of the working grid whose check cell is ticked.
QList<int> checkedRows(QWidget &form);
/// Edits a mapping cell as the user does: double-click, then pick `choice` from the drop-down.
void pickMapping(QWidget &form, int column, const QString &choice);

} // namespace MGImport8::Test
