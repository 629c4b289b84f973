#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace MGImport8 {

struct WizardState;

/// The icon a message box shows.
enum class MessageIcon { None, Exclamation, Critical, Information, Question };

/// Everything the wizard's logic needs from a user interface. The Qt form implements it with
/// message boxes, the file dialog, the wait cursor and processEvents(); the headless view of the
/// command line prints messages and answers from a script; tests record.
class WizardView
{
public:
    virtual ~WizardView() = default;

    /// Shows a message with an OK button and waits until it is dismissed. An empty title means the
    /// application's own.
    virtual void showMessage(const QString &text, MessageIcon icon, const QString &title) = 0;
    /// The file-open dialog, with the method's title and its filter in the legacy form
    /// ("Text Files (*.txt;*.csv)|*.txt;*.csv"). Nothing when the user cancels.
    virtual std::optional<QString> chooseFile(const QString &title, const QString &pattern) = 0;
    /// The hourglass while a step runs.
    virtual void setBusy(bool busy) = 0;
    /// Lets the user interface process input (a Cancel click) during long steps.
    virtual void yield() = 0;
    /// The controls changed; the view shows `state`.
    virtual void stateChanged(const WizardState &state) = 0;
    /// The wizard is done (Cancel, or closing after the import): end the modal show.
    virtual void close() = 0;
};

} // namespace MGImport8
