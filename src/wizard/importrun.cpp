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

ImportRun::Outcome ImportRun::run()
{
    m_imported = 0;
    m_skipped = 0;
    m_state.importStatus.clear();
    m_notify();

    // The mapping row names each source column's target; read once, not once per row.
    QStringList targets;
    for (int column = GridRules::firstSourceColumn(m_grid); column < m_grid.columnCount(); ++column)
        targets.append(m_grid.rowCount() > 0 ? m_grid.text(0, column) : QString());

    const qsizetype rows = m_grid.rowCount();
    for (qsizetype row = 0; row < rows; ++row) {
        if (m_cancelled)
            return Outcome::Cancelled;
        // Row 0 is the mapping row: it has no check and is never imported.
        if (row > 0 && m_grid.checkState(row, 0) == CheckState::Checked) {
            const RowResult result = handRow(row, targets);
            if (result == RowResult::Cancelled)
                return Outcome::Cancelled;
            if (result == RowResult::HostFailed)
                return Outcome::HostFailed;
        }
        if (row % ProgressStep == 0) {
            m_state.progress = int(double(row) / double(rows) * ProgressMaximum);
            m_notify();
        }
        m_view.yield();
    }

    m_state.importStatus = u"Import Complete"_s % crlf % countsText();
    m_state.progress = ProgressMaximum;
    m_notify();
    return Outcome::Completed;
}

ImportRun::RowResult ImportRun::handRow(qsizetype row, const QStringList &targets)
{
    // The host gets the row for the length of its handler; the guard tells whether it deleted it.
    QPointer<ImportRow> lent = new ImportRow;
    std::unique_ptr<ImportRow> owned(lent.data());
    const int first = GridRules::firstSourceColumn(m_grid);
    for (int i = 0; i < targets.size(); ++i) {
        if (m_cancelled)
            return RowResult::Cancelled;
        LibraryAccess::AddColumn(*owned, targets.at(i), m_grid.text(row, first + i));
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

    if (flagSet(skip))
        ++m_skipped;
    else
        ++m_imported;
    if (status != m_state.importStatus) {
        m_state.importStatus = status;
        m_notify();
    }
    return RowResult::Handed;
}

void ImportRun::reportHostFailure(qsizetype row, const QString &problem)
{
    m_state.importStatus = countsText();
    m_notify();
    m_view.showMessage(u"The import stopped at row "_s % QString::number(row)
                           % u": the host could not take the row."_s % crlf % crlf % problem,
                       MessageIcon::Critical, {});
}

} // namespace MGImport8
