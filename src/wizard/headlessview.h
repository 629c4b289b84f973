#pragma once

#include "common/coarsetimer.h"

#include "wizard/wizardview.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

class QTextStream;

namespace MGImport8 {

/// A view without a display, for the command line and the tests: messages are collected (and
/// printed when a stream is given, each CR LF as a line break), the file dialog answers from a
/// script, yielding processes pending events, and the rest is recorded.
class HeadlessView : public WizardView
{
public:
    struct Message
    {
        QString text;
        MessageIcon icon = MessageIcon::None;
        QString title;
    };

    /// `output`, when given, receives every message as it is shown.
    explicit HeadlessView(QTextStream *output = nullptr);
    ~HeadlessView() override;

    void showMessage(const QString &text, MessageIcon icon, const QString &title) override;
    std::optional<QString> chooseFile(const QString &title, const QString &pattern) override;
    void setBusy(bool busy) override;
    void yield() override;
    void stateChanged(const WizardState &state) override;
    void close() override;

    /// What the file dialog answers next (and after that); nothing means the user cancels it.
    void setFileAnswer(std::optional<QString> path) { m_fileAnswer = std::move(path); }
    /// Pending events are processed at most this often; 0 (the default) processes them on every
    /// yield, so a queued Cancel lands before the next row. A program with no input to take (the
    /// command line) sets an interval so a long import does not spend its time polling: one pass
    /// of the event loop costs about as much as handing over a row.
    void setYieldInterval(int milliseconds) { m_yieldInterval = milliseconds; }
    /// Called on every state change, after it is recorded (tests watch progress with it).
    void setStateObserver(std::function<void(const WizardState &)> observer)
    {
        m_stateObserver = std::move(observer);
    }
    /// Called after every message is recorded; a test may react (e.g. cancel the wizard).
    void setMessageObserver(std::function<void(const Message &)> observer)
    {
        m_messageObserver = std::move(observer);
    }

    const QList<Message> &messages() const { return m_messages; }
    void clearMessages() { m_messages.clear(); }
    /// How often the file dialog was opened, and the title and pattern it last had.
    int fileDialogCount() const { return m_fileDialogs; }
    QString lastFileDialogTitle() const { return m_fileDialogTitle; }
    QString lastFileDialogPattern() const { return m_fileDialogPattern; }
    bool busy() const { return m_busy; }
    int stateChangeCount() const { return m_stateChanges; }
    bool closed() const { return m_closed; }

private:
    QTextStream *m_output;
    std::optional<QString> m_fileAnswer;
    std::function<void(const WizardState &)> m_stateObserver;
    std::function<void(const Message &)> m_messageObserver;
    QList<Message> m_messages;
    int m_fileDialogs = 0;
    QString m_fileDialogTitle;
    QString m_fileDialogPattern;
    int m_yieldInterval = 0;
    CoarseTimer m_sinceYield;
    bool m_busy = false;
    int m_stateChanges = 0;
    bool m_closed = false;
};

} // namespace MGImport8
