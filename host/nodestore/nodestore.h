#pragma once

#include <MGImport8/importrow.h>

#include <QSqlDatabase>
#include <QString>
#include <QStringList>

namespace NodeInventory {

/// One node as the inventory keeps it.
struct Node
{
    QString ip;
    QString name;
    QString description;
    QString location;
    QString contact;
    /// Values of any other imported column, as a JSON object.
    QString extra;
};

/// The demo host's node store: SQLite, one row per node, keyed by the node's IP address in its
/// canonical dotted form. Shared by Node Inventory and `mgimport8 import --into`.
///
/// Imports run inside one transaction: `begin` before the first row, `commit` once the import ran
/// to its end, `rollback` otherwise, so a cancelled or failed import leaves the store as it was.
class NodeStore
{
public:
    enum class Outcome { Added, Updated, Skipped };
    struct Applied
    {
        Outcome outcome = Outcome::Skipped;
        /// The status text the wizard shows for the row.
        QString status;
    };

    NodeStore();
    ~NodeStore();
    NodeStore(const NodeStore &) = delete;
    NodeStore &operator=(const NodeStore &) = delete;

    /// Where Node Inventory keeps its nodes: the user's data folder.
    static QString defaultPath();

    /// Opens (creating folder, file and table as needed) the store at `path`. False, with the
    /// reason in `lastError()`, when it cannot.
    bool open(const QString &path);
    bool isOpen() const;
    QString lastError() const;

    bool begin();
    bool commit();
    void rollback();

    /// Applies one imported row: a row without a valid IP address in `ipColumn` is skipped; a new
    /// IP is added; an existing one is updated when `overwrite` is set and skipped otherwise.
    Applied apply(const MGImport8::ImportRow &row, const QString &ipColumn, bool overwrite);

    /// Every node, ordered by IP address.
    QList<Node> nodes() const;
    int count() const;

private:
    QString m_connection;
    QString m_lastError;
};

} // namespace NodeInventory
