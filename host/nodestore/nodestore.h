#pragma once

#include "nodestore/inventorystore.h"

#include <QSqlDatabase>
#include <QString>
#include <QStringList>

namespace NodeInventory {

/// The demo host's node store: SQLite, one row per node, keyed by the node's IP address in its
/// canonical dotted form. Shared by Node Inventory and `mgimport8 import --into`.
///
/// Imports run inside one transaction: `begin` before the first row, `commit` once the import ran
/// to its end, `rollback` otherwise, so a cancelled or failed import leaves the store as it was.
class NodeStore final : public InventoryStore
{
public:
    NodeStore();
    ~NodeStore() override;
    NodeStore(const NodeStore &) = delete;
    NodeStore &operator=(const NodeStore &) = delete;

    /// Where Node Inventory keeps its nodes: the user's data folder.
    static QString defaultPath();

    /// Opens (creating folder, file and table as needed) the store at `path`. False, with the
    /// reason in `lastError()`, when it cannot.
    bool open(const QString &path);
    bool isOpen() const override;
    QString lastError() const override;

    bool begin() override;
    bool commit() override;
    void rollback() override;

    /// Applies one imported row: a row without a valid IP address in `ipColumn` is skipped; a new
    /// IP is added; an existing one is updated when `overwrite` is set and skipped otherwise.
    Applied apply(const MGImport8::ImportRow &row, const QString &ipColumn, bool overwrite) override;

    /// Every node, ordered by IP address.
    QList<Node> nodes() const override;
    int count() const override;

private:
    QString m_connection;
    QString m_lastError;
};

} // namespace NodeInventory
