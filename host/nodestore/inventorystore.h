#pragma once

#include <MGImport8/importrow.h>

#include <QList>
#include <QString>

#include <functional>
#include <memory>

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

/// Where the inventory keeps its nodes: the embedded SQLite file, or a monitoring database on a
/// server. Node Inventory and `mgimport8 import --into` write through this, so both follow the
/// same rules whichever store they were given.
///
/// Imports run inside one transaction: `begin` before the first row, `commit` once the import ran
/// to its end, `rollback` otherwise, so a cancelled or failed import leaves the store as it was.
class InventoryStore
{
public:
    /// `Failed`: the store could not take the row for a reason that is not the row's own (locked,
    /// read-only, full, gone); the reason is in `lastError()` and the import must stop.
    enum class Outcome { Added, Updated, Skipped, Failed };
    struct Applied
    {
        Outcome outcome = Outcome::Skipped;
        /// The status text the wizard shows for the row.
        QString status;
    };

    virtual ~InventoryStore() = default;

    virtual bool isOpen() const = 0;
    virtual QString lastError() const = 0;

    /// How long the store waits for another writer before it gives up.
    virtual void setBusyTimeout(int milliseconds) { (void)milliseconds; }
    /// Told once when the store finds another writer holding it and starts to wait.
    virtual void setWaitNotice(std::function<void(const QString &)> notice) { (void)notice; }

    virtual bool begin() = 0;
    virtual bool commit() = 0;
    virtual void rollback() = 0;

    /// Applies one imported row: a row without a valid IP address in `ipColumn` is skipped; a new
    /// IP is added; an existing one is updated when `overwrite` is set and skipped otherwise.
    virtual Applied apply(const MGImport8::ImportRow &row, const QString &ipColumn, bool overwrite)
        = 0;

    /// True once the store itself could not take a row (not a refusal of that row): the import
    /// must fail and nothing of it be kept.
    virtual bool failed() const { return false; }

    /// Every node, ordered by IP address.
    virtual QList<Node> nodes() const = 0;
    virtual int count() const = 0;
};

/// The store `location` names: "postgresql://..." or "sqlserver://..." (see ServerNodeStore), or
/// else the path of an SQLite file. Nothing, with the reason in `error`, when it cannot be opened.
std::unique_ptr<InventoryStore> openInventoryStore(const QString &location, QString *error);

/// True when `location` names a server rather than a file.
bool isServerLocation(const QString &location);

/// The node fields of an imported row: the IP address in canonical form (empty when the row has
/// none that is valid), the known columns, and every other mapped column as a JSON object.
struct NodeFields
{
    Node node;
    bool valid = false;
};
NodeFields nodeFieldsOf(const MGImport8::ImportRow &row, const QString &ipColumn);

/// Every node of the store that the named Qt SQL connection reaches, ordered by address as a
/// person reads it, not as text; nothing when the table cannot be read.
QList<Node> readNodes(const QString &connection);
/// The number of nodes the named Qt SQL connection's store holds; 0 when it cannot be read.
int countNodes(const QString &connection);

} // namespace NodeInventory
