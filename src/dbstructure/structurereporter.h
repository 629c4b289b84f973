#pragma once

#include <QString>

namespace MGImport8::DbStructure {

/// Where structure maintenance reports to. The public administration object implements it by
/// appending to its trace and raising its events; this layer knows nothing of that object.
class StructureReporter
{
public:
    virtual ~StructureReporter() = default;

    /// Appends `text` to the trace exactly as given; callers add the line ends.
    virtual void trace(const QString &text) = 0;
    /// The `AlteringDatabase` event.
    virtual void altering(const QString &text) = 0;
    /// The `UpdateDBStructureProgress` event.
    virtual void progress(int percent) = 0;
    /// Lets the host's event loop run during a long step.
    virtual void yield() = 0;
    virtual void setLastError(const QString &text) = 0;
    /// A critical message the user must see and acknowledge (the identity fault).
    virtual void criticalMessage(const QString &title, const QString &text) = 0;
    /// Every statement that changes the database, before it runs; for dry runs and audits.
    virtual void statement(const QString &text) { (void)text; }
};

/// Shows a critical message box with an OK button; installed by the library's Qt layer.
using CriticalMessagePresenter = void (*)(const QString &title, const QString &text);

void setCriticalMessagePresenter(CriticalMessagePresenter presenter);
/// The installed presenter, or nullptr when the library runs without widgets.
CriticalMessagePresenter criticalMessagePresenter();

} // namespace MGImport8::DbStructure
