#include "wizard/importrun.h"

#include "engine/libraryaccess.h"
#include "wizard/gridrules.h"
#include "wizard/importgrid.h"
#include "wizard/wizardstate.h"
#include "wizard/wizardview.h"

#include <MGImport8/engine.h>
#include <MGImport8/importrow.h>

#include <QPointer>
#include <QStringList>

#include <algorithm>

#include <cstring>
#include <exception>
#include <memory>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

const QString crlf = u"\r\n"_s;

// The host may have written any byte into the flag; like an automation Boolean, anything but zero
// means True. Reading the byte keeps an odd value from being undefined behaviour.
bool flagSet(const bool &flag)
{
    unsigned char byte = 0;
    std::memcpy(&byte, &flag, sizeof byte);
    return byte != 0;
}

} // namespace

ImportRun::ImportRun(Engine &engine, const ImportGrid &grid, WizardView &view, WizardState &state,
                     const bool &cancelled, std::function<void()> notify)
    : m_engine(engine)
    , m_grid(grid)
    , m_view(view)
    , m_state(state)
    , m_cancelled(cancelled)
    , m_notify(std::move(notify))
{}

QString ImportRun::countsText() const
{
    return u"Imported "_s % QString::number(m_imported) % u" rows"_s % crlf % u"Skipped "_s
           % QString::number(m_skipped) % u" rows"_s;
}

void ImportRun::notifyView()
{
    m_notify();
    m_statusPending = false;
    m_sinceNotify.start();
}

ImportRun::Outcome ImportRun::cancelled()
{
    // The view keeps the status of the last row handed over.
    if (m_statusPending)
        notifyView();
    return Outcome::Cancelled;
}

void ImportRun::setProgress(int progress)
{
    // The bar is set every few rows; the view hears of it only when the figure moves, so a long
    // import repaints about a hundred times instead of once per step.
    if (progress == m_state.progress)
        return;
    m_state.progress = progress;
    notifyView();
}

ImportRun::Outcome ImportRun::run()
{
    m_imported = 0;
    m_skipped = 0;
    m_state.importStatus.clear();
    m_state.skippedRows.clear();
    notifyView();

    // The mapping row names each source column's target; read once, not once per row. Adding a
    // name again overwrites the first column of that name, so a row gets one column per distinct
    // target, in the order of first appearance, holding the last source column's value.
    QList<ColumnPlan> plan;
    for (int column = GridRules::firstSourceColumn(m_grid); column < m_grid.columnCount();
         ++column) {
        const QString target = m_grid.rowCount() > 0 ? m_grid.text(0, column) : QString();
        const auto same = std::find_if(plan.begin(), plan.end(), [&](const ColumnPlan &earlier) {
            return earlier.target.compare(target, Qt::CaseInsensitive) == 0;
        });
        if (same == plan.end())
            plan.append({target, column});
        else
            same->source = column;
    }

    const qsizetype rows = m_grid.rowCount();
    for (qsizetype row = 0; row < rows; ++row) {
        if (m_cancelled)
            return cancelled();
        // Row 0 is the mapping row: it has no check and is never imported. A hidden row is
        // passed over, checked or not, so that a row filter only has to hide rows.
        if (row > 0 && m_grid.checkState(row, 0) == CheckState::Checked && !m_grid.rowHidden(row)) {
            const RowResult result = handRow(row, plan);
            if (result == RowResult::Cancelled)
                return cancelled();
            if (result == RowResult::HostFailed)
                return Outcome::HostFailed;
        }
        if (row % ProgressStep == 0)
            setProgress(int(double(row) / double(rows) * ProgressMaximum));
        m_view.yield();
    }

    m_state.importStatus = u"Import Complete"_s % crlf % countsText();
    m_state.progress = ProgressMaximum;
    notifyView();
    return Outcome::Completed;
}

ImportRun::RowResult ImportRun::handRow(qsizetype row, const QList<ColumnPlan> &plan)
{
    // The host gets the row for the length of its handler; the guard tells whether it deleted it.
    QPointer<ImportRow> lent = new ImportRow;
    std::unique_ptr<ImportRow> owned(lent.data());
    LibraryAccess::ReserveColumns(*owned, plan.size());
    for (const ColumnPlan &step : plan) {
        if (m_cancelled)
            return RowResult::Cancelled;
        LibraryAccess::AppendColumn(*owned, step.target, QVariant(m_grid.text(row, step.source)));
    }
    QString status;
    bool skip = false;
    QString failure;
    try {
        LibraryAccess::FireNewRow(m_engine, owned.get(), status, skip);
    } catch (const std::exception &error) {
        failure = QString::fromLocal8Bit(error.what());
    } catch (...) {
        failure = u"The handler raised an error the wizard does not know."_s;
    }
    if (std::optional<QString> stop = LibraryAccess::TakeStopRequest(m_engine);
        stop && failure.isEmpty())
        failure = stop->isEmpty() ? u"The host stopped the import."_s : *stop;
    if (!lent) {
        (void)owned.release(); // already gone
        if (failure.isEmpty())
            failure = u"The handler deleted the row it was lent."_s;
    }
    if (!failure.isEmpty()) {
        reportHostFailure(row, failure);
        return RowResult::HostFailed;
    }
    owned.reset();

    if (flagSet(skip)) {
        ++m_skipped;
        // Hosts give most skipped rows one of a few texts: equal texts share one copy.
        const bool same = !m_state.skippedRows.isEmpty()
                          && m_state.skippedRows.constLast().status == status;
        m_state.skippedRows.append({row, same ? m_state.skippedRows.constLast().status : status});
    } else {
        ++m_imported;
    }
    if (status != m_state.importStatus) {
        m_state.importStatus = status;
        m_statusPending = true;
    }
    // A host that reports on every row would otherwise refresh the view once per row; the label
    // is only painted when the run yields, so a few dozen refreshes a second show the same.
    if (m_statusPending && m_sinceNotify.elapsed() >= StatusRefreshMs)
        notifyView();
    return RowResult::Handed;
}

void ImportRun::reportHostFailure(qsizetype row, const QString &problem)
{
    m_state.importStatus = countsText();
    notifyView();
    m_view.showMessage(u"The import stopped at row "_s % QString::number(row)
                           % u": the host could not take the row."_s % crlf % crlf % problem,
                       MessageIcon::Critical, {});
}

} // namespace MGImport8
