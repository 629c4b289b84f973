#pragma once

#include "common/coarsetimer.h"

#include <QString>

#include <functional>

namespace MGImport8 {

class Engine;
class ImportGrid;
class WizardView;
struct WizardState;

/// One run of the import panel: every checked data row of the grid becomes an `ImportRow` handed
/// to the host through the engine's `NewRow`; the host's skip flag decides whether it counts as
/// imported or skipped.
///
/// The user interface gets a turn after every row, so a Cancel click (which sets the flag the run
/// watches) stops the run before the next row. A host handler that throws, or deletes the row it
/// was lent, or calls `Engine::StopImport`, stops the run too: the rows before it stay with the
/// host, the failure is shown with the row's number, and the run counts as not completed (no
/// `ImportComplete`, the wizard's result stays true).
class ImportRun
{
public:
    /// Progress is shown at every row whose number is a multiple of this.
    static constexpr int ProgressStep = 10;
    static constexpr int ProgressMaximum = 100;
    /// A host's status text reaches the view at most this often (and always at the end).
    static constexpr qint64 StatusRefreshMs = 10;

    enum class Outcome { Completed, Cancelled, HostFailed };

    /// `cancelled` is the wizard's flag, read before every row and every column; `notify` shows
    /// the state's new progress and status.
    ImportRun(Engine &engine, const ImportGrid &grid, WizardView &view, WizardState &state,
              const bool &cancelled, std::function<void()> notify);

    /// Runs the rows. On completion the state shows the summary and full progress; raising
    /// `ImportComplete` is the caller's.
    Outcome run();

    int importedCount() const { return m_imported; }
    int skippedCount() const { return m_skipped; }

private:
    enum class RowResult { Handed, Cancelled, HostFailed };
    /// One column of every imported row: its target name as first spelt in the mapping row, and
    /// the source column whose cell gives its value (the last one mapped to that name).
    struct ColumnPlan
    {
        QString target;
        int source = 0;
    };
    RowResult handRow(qsizetype row, const QList<ColumnPlan> &plan);
    void setProgress(int progress);
    void notifyView();
    Outcome cancelled();
    void reportHostFailure(qsizetype row, const QString &problem);
    QString countsText() const;

    Engine &m_engine;
    const ImportGrid &m_grid;
    WizardView &m_view;
    WizardState &m_state;
    const bool &m_cancelled;
    std::function<void()> m_notify;
    CoarseTimer m_sinceNotify;
    bool m_statusPending = false;
    int m_imported = 0;
    int m_skipped = 0;
};

} // namespace MGImport8
