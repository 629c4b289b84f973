#pragma once

#include <QList>
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <optional>

class QWidget;

namespace MGImport8::Test {

/// Plays a user in front of the wizard while `StartWizard` runs it modally. A timer looks at the
/// screen every few milliseconds: a message box is read and closed with its OK button, the file
/// dialog gets the next prepared answer (or is cancelled), and otherwise, when the wizard window
/// waits for input, the next scripted step acts on it. A step runs to its end before the next one
/// starts, even when it opens a box of its own that the timer closes meanwhile.
class UserDriver : public QObject
{
    Q_OBJECT

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
    ~UserDriver() override;

    /// Adds a step; it runs once the wizard window is up and idle.
    void then(Step step);
    /// What the file dialog answers the next time it opens; nothing cancels it.
    void answerFileDialog(std::optional<QString> path);

    const QList<Message> &messages() const { return m_messages; }
    /// The texts of the messages shown since the last call.
    QStringList takeMessages();
    int fileDialogCount() const { return m_fileDialogs; }
    QString lastFileDialogTitle() const { return m_fileDialogTitle; }
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
    QString m_fileDialogTitle;
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

} // namespace MGImport8::Test
