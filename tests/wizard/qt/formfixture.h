#pragma once

#include "testsupport.h"

#include <MGImport8/engine.h>

#include <QAbstractItemModel>
#include <QMap>
#include <QMessageBox>
#include <QPointer>
#include <QTableView>
#include <QTimer>
#include <QWidget>

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <optional>

namespace MGImport8::Test {

/// Plays a user in front of the wizard while `StartWizard` runs it modally. A timer looks at the
/// screen every few milliseconds: a message box is read and closed with its OK button, the file
/// dialog gets the next prepared answer (or is cancelled), and otherwise, when the wizard window
/// waits for input, the next scripted step acts on it. A step runs to its end before the next one
/// starts, even when it opens a box of its own that the timer closes meanwhile.
class UserDriver : public QObject
{
public:
    struct Message
    {
        QString text;
        QMessageBox::Icon icon = QMessageBox::NoIcon;
        QString title;
        /// Whether the box showed each of the text's lines on one line of its own.
        bool linesWhole = true;
    };
    using Step = std::function<void(QWidget &form)>;

    UserDriver();

    /// Adds a step; it runs once the wizard window is up and idle.
    void then(Step step) { m_steps.push_back(std::move(step)); }
    /// What the file dialog answers the next time it opens; nothing cancels it.
    void answerFileDialog(std::optional<QString> path) { m_fileAnswers.push_back(std::move(path)); }

    const QList<Message> &messages() const { return m_messages; }
    /// The texts of the messages shown since the last call.
    QStringList takeMessages();
    int fileDialogCount() const { return m_fileDialogs; }
    QStringList lastFileDialogFilters() const { return m_fileDialogFilters; }
    /// Steps not yet run when the wizard closed (a test fails if it expected them to run).
    int stepsLeft() const { return int(m_steps.size()); }
    /// Set when the script ran out while the wizard stayed open: the driver cancelled it.
    bool stalled() const { return m_stalled; }
    /// The wizard window while it is shown.
    QWidget *wizardWindow() const;

private:
    /// Closes whatever box or dialog is up; true when there was one.
    bool answerDialogs();
    void takeStep();

    // Qt never fires a timer again while its own slot runs, and a step that opens a box runs a
    // nested event loop inside its slot: boxes are closed by a timer of their own.
    QTimer m_dialogTimer;
    QTimer m_stepTimer;
    std::deque<Step> m_steps;
    std::deque<std::optional<QString>> m_fileAnswers;
    QList<Message> m_messages;
    qsizetype m_taken = 0;
    int m_fileDialogs = 0;
    QStringList m_fileDialogFilters;
    bool m_inStep = false;
    int m_idleLooks = 0;
    bool m_stalled = false;
};

/// A control of the wizard window by its object name; fails the test when it is missing.
template<typename T>
T *control(QWidget &form, const QString &name)
{
    T *found = form.findChild<T *>(name);
    EXPECT_NE(found, nullptr) << "no control " << name.toStdString();
    return found;
}

/// The panel page the wizard shows (the stack "Wizard" names its pages by their panel keys).
QString currentPanel(QWidget &form);
/// Clicks a button by its object name, as the user does with the mouse.
void click(QWidget &form, const QString &name);

/// A host's side of the wizard: a shown main window, an engine configured as the demo host
/// configures it (columns Name,IP,Description,Location,Contact; IP required; the option
/// "Overwrite"), the rows `NewRow` delivered and the `ImportComplete` count, and a user at the
/// screen. Every test fails on a Qt warning (less the offscreen platform's notes about what it
/// cannot do).
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
