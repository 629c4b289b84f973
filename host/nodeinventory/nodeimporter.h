#pragma once

#include "nodestore/inventorystore.h"

#include <MGImport8/engine.h>

#include <QObject>
#include <QString>

namespace NodeInventory {

/// What one import did to the inventory.
struct ImportSummary
{
    /// The import ran to its end and its rows were kept.
    bool completed = false;
    int added = 0;
    int updated = 0;
    int skipped = 0;
    /// Why the import's rows were not kept, when a completed import could not be saved.
    QString error;
    /// The store could not take rows during the import, which stopped it; the wizard has shown
    /// this reason already.
    QString stopped;
};

/// Node Inventory's side of an import: the engine it describes its nodes to, and the handler
/// that takes each row the wizard hands over. The rows of one import go into the store in one
/// transaction, kept only when the import ran to its end, so a cancelled import loses nothing and
/// half-imports nothing. A row the inventory refuses is skipped; a store that cannot take rows at
/// all stops the import (`Engine::StopImport`) and keeps nothing of it.
class NodeImporter : public QObject
{
    Q_OBJECT

public:
    /// The target columns Node Inventory offers the wizard's column mapping.
    static constexpr auto Columns = u"Name,IP,Description,Location,Contact";
    static constexpr auto IPColumn = u"IP";
    static constexpr auto OverwriteOption = u"Overwrite";

    explicit NodeImporter(InventoryStore &store, QObject *parent = nullptr);

    MGImport8::Engine &engine() { return m_engine; }

    /// Runs the Import Wizard over `parent` (a window, or nothing) and keeps or drops its rows.
    ImportSummary run(QObject *parent);

    /// The two halves of `run` around the wizard, for hosts that drive the wizard themselves. The
    /// store's write lock is taken at the first row, not here, so that a user still choosing a
    /// file holds up no other import.
    bool begin();
    ImportSummary finish();

Q_SIGNALS:
    /// The store is held by another import and the first row waits for it.
    void waiting(const QString &status);

private:
    void takeRow(MGImport8::ImportRow *row, QString &status, bool &skip);

    InventoryStore &m_store;
    MGImport8::Engine m_engine;
    ImportSummary m_summary;
    bool m_open = false;
    bool m_complete = false;
};

} // namespace NodeInventory
