#include "nodeinventory/nodeimporter.h"

#include <MGImport8/importoption.h>
#include <MGImport8/importoptions.h>
#include <MGImport8/importrow.h>

using namespace Qt::StringLiterals;

namespace NodeInventory {

NodeImporter::NodeImporter(InventoryStore &store, QObject *parent)
    : QObject(parent)
    , m_store(store)
{
    m_engine.setTitle(u"Import Nodes"_s);
    m_engine.setDescription(
        u"This wizard adds network devices to Node Inventory from a file or a database. Each "
        u"device needs an IP address; the other columns are optional."_s);
    m_engine.setColumns(QString::fromUtf16(Columns));
    m_engine.setRequiredColumns(QString::fromUtf16(IPColumn));
    m_engine.setIPColumn(QString::fromUtf16(IPColumn));
    m_engine.ImportOptions()->Add(QString::fromUtf16(OverwriteOption),
                                  u"Overwrite existing nodes"_s, false);

    connect(&m_engine, &MGImport8::Engine::NewRow, this, &NodeImporter::takeRow);
    connect(&m_engine, &MGImport8::Engine::ImportComplete, this, [this] { m_complete = true; });
}

bool NodeImporter::begin()
{
    m_summary = {};
    m_complete = false;
    m_open = m_store.isOpen();
    if (!m_open)
        m_summary.error = u"The inventory is not open."_s;
    m_store.setWaitNotice([this](const QString &status) { Q_EMIT waiting(status); });
    return m_open;
}

ImportSummary NodeImporter::finish()
{
    if (!m_open)
        return m_summary;
    m_open = false;
    m_store.setWaitNotice({});
    if (!m_complete || !m_summary.stopped.isEmpty()) {
        m_store.rollback();
        if (m_store.failed())
            m_summary.error = m_store.lastError();
        return m_summary;
    }
    if (!m_store.commit()) {
        m_summary.error = m_store.lastError();
        m_store.rollback();
        return m_summary;
    }
    m_summary.completed = true;
    return m_summary;
}

ImportSummary NodeImporter::run(QObject *parent)
{
    if (!begin())
        return m_summary;
    m_engine.StartWizard(parent);
    return finish();
}

void NodeImporter::takeRow(MGImport8::ImportRow *row, QString &status, bool &skip)
{
    if (!m_open) {
        status = u"Skipped: the inventory is not open"_s;
        skip = true;
        ++m_summary.skipped;
        return;
    }
    const MGImport8::ImportOption *overwrite = m_engine.ImportOptions()->Item(
        QString::fromUtf16(OverwriteOption));
    const InventoryStore::Applied applied = m_store.apply(*row, QString::fromUtf16(IPColumn),
                                                          overwrite && overwrite->Value());
    status = applied.status;
    skip = applied.outcome == InventoryStore::Outcome::Skipped;
    switch (applied.outcome) {
    case InventoryStore::Outcome::Failed:
        m_summary.stopped = m_store.lastError();
        m_engine.StopImport(m_summary.stopped);
        break;
    case InventoryStore::Outcome::Added:
        ++m_summary.added;
        break;
    case InventoryStore::Outcome::Updated:
        ++m_summary.updated;
        break;
    case InventoryStore::Outcome::Skipped:
        ++m_summary.skipped;
        break;
    }
}

} // namespace NodeInventory
