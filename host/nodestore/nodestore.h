#pragma once

#include "nodestore/inventorystore.h"

#include <QSqlDatabase>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

struct sqlite3;
struct sqlite3_stmt;

namespace NodeInventory {

class StagedImport;

/// The demo host's node store: SQLite, one row per node, keyed by the node's IP address in its
/// canonical dotted form. Shared by Node Inventory and `mgimport8 import --into`.
///
/// `open` checks that the file is a node store before anything is written to it. Imports run
/// inside one transaction: `begin` takes the store's write lock (waiting up to the busy timeout
/// while another import holds it), `commit` once the import ran to its end, `rollback` otherwise,
/// so a cancelled or failed import leaves the store as it was. Between `begin` and the end of the
/// transaction the store's two statements stay prepared.
///
/// An import that is large beside the store is held back once it has gone on for a while: its
/// rows are told added, updated or skipped at once from the addresses the store holds, and go
/// to the store at `commit`, in the order of its address index (see StagedImport). A failure to
/// write them then shows in `commit`.
class NodeStore final : public InventoryStore
{
public:
    /// The `nodes` table's layout, stamped in the file's `user_version`.
    static constexpr int SchemaVersion = 1;
    /// Stamped in the file's `application_id`: "MG8N".
    static constexpr int ApplicationId = 0x4D47384E;
    static constexpr int DefaultBusyTimeoutMs = 30000;

    NodeStore();
    ~NodeStore() override;
    NodeStore(const NodeStore &) = delete;
    NodeStore &operator=(const NodeStore &) = delete;

    /// Where Node Inventory keeps its nodes: the user's data folder.
    static QString defaultPath();

    /// Opens the store at `path`, creating folder, file and table when there is no file yet (or
    /// an empty one). A file that is no node store (not SQLite, other tables, another layout or
    /// version of the `nodes` table) is refused untouched. False, with the reason in
    /// `lastError()`, when it cannot.
    bool open(const QString &path);
    bool isOpen() const override;
    QString lastError() const override;

    /// How long `begin` and `commit` wait for another writer before they give up.
    void setBusyTimeout(int milliseconds) override { m_busyTimeoutMs = milliseconds; }
    int busyTimeout() const { return m_busyTimeoutMs; }
    /// Told once when `begin` finds the store held by another writer and starts to wait.
    void setWaitNotice(std::function<void(const QString &)> notice) override
    {
        m_waitNotice = std::move(notice);
    }

    bool begin() override;
    bool inTransaction() const { return m_inTransaction; }
    bool commit() override;
    void rollback() override;

    /// Applies one imported row: a row without a valid IP address in `ipColumn` is skipped; a new
    /// IP is added; an existing one is updated when `overwrite` is set and skipped otherwise.
    /// Opens the transaction first when `begin` has not.
    Applied apply(const MGImport8::ImportRow &row, const QString &ipColumn, bool overwrite) override;

    /// Every node, ordered by IP address.
    QList<Node> nodes() const override;
    int count() const override;

private:
    bool checkLayout(QSqlDatabase &db, const QString &path);
    bool createLayout(QSqlDatabase &db);
    bool exec(QSqlDatabase &db, const QString &statement);
    bool prepareStatements(QSqlDatabase &db);
    void endStatements();
    QString sqliteError() const;
    void restoreCache(QSqlDatabase &db);
    bool startStaging();
    void layOutExtra(qsizetype columns);
    void appendExtra(QByteArray &out, const MGImport8::ImportColumn *const *cells) const;
    // Where a column's value goes: one of the four known columns (0 to 3), or one of these.
    static constexpr int IPSlot = -1, IgnoredSlot = -2, ExtraSlot = -3;
    static int slotOf(const QString &name, const QString &ipColumn);

    QString m_connection;
    QString m_path;
    QString m_lastError;
    int m_busyTimeoutMs = DefaultBusyTimeoutMs;
    std::function<void(const QString &)> m_waitNotice;
    bool m_inTransaction = false;
    // The run's statements, prepared once per transaction on the connection's own handle.
    sqlite3 *m_handle = nullptr;
    sqlite3_stmt *m_upsert = nullptr;
    sqlite3_stmt *m_insertNew = nullptr;
    // Rows the store adds get row ids above every existing one while the import holds the write
    // lock, so a last inserted row id above this was just added; otherwise the row was updated.
    qint64 m_highestRowId = 0;
    // What the columns of the last row meant, by position.
    QString m_slotIpColumn;
    QStringList m_slotNames;
    QList<int> m_slots;
    // The other columns as the extra column's JSON object writes them: key order, each key's
    // `"name":` and the position of the column whose value it takes (the last of that name).
    struct ExtraKey
    {
        QString name;
        QByteArray json;
        qsizetype position;
    };
    QList<ExtraKey> m_extraKeys;
    qsizetype m_extraColumns = -1; // the row width m_extraKeys was laid out for
    bool m_extraKeysPlain = true;  // no key needs escaping
    QByteArray m_extra;
    // Rows handed over since `begin`, and the rows held back once the import is large.
    qint64 m_appliedRows = 0;
    std::unique_ptr<StagedImport> m_staging;
};

} // namespace NodeInventory
