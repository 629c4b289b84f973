#pragma once

#include "nodestore/inventorystore.h"

#include <QString>

namespace NodeInventory {

/// The inventory kept in the `Nodes` table of a monitoring database on a server, built from the
/// shipped structure file (MonitoringDatabase.PostgreSQL.xml, MonitoringDatabase.SQLServer.xml).
/// Several hosts may import into it at once: their imports take turns on a lock held for the
/// import's transaction, every row is one upsert keyed by the IP address (so a writer that takes
/// no lock loses nothing either), and each row runs behind a savepoint, so a row the server
/// refuses is skipped alone and a lock conflict is retried instead of losing the row.
///
/// Locations:
///   postgresql://[user[:password]@][host][:port]/database[?host=/socket/folder]
///   sqlserver://[user[:password]@]host[:port]/database[?instance=NAME]   (no user: Kerberos)
///   sqlserver:ODBC-CONNECTION-STRING                                      (handed to the driver)
class ServerNodeStore final : public InventoryStore
{
public:
    enum class Kind { None, PostgreSQL, SQLServer };

    /// How many times a row that lost a lock conflict with another import is tried again.
    static constexpr int ConflictRetries = 5;
    /// The advisory lock an import holds on a PostgreSQL inventory until it ends.
    static constexpr qint64 ImportLockKey = 4803577282;
    /// Seconds a login may take before the store gives up on the server.
    static constexpr int LoginTimeoutSeconds = 20;

    ServerNodeStore();
    ~ServerNodeStore() override;
    ServerNodeStore(const ServerNodeStore &) = delete;
    ServerNodeStore &operator=(const ServerNodeStore &) = delete;

    static Kind kindOf(const QString &location);

    /// A location taken apart: the server's host (or socket folder), port, database and
    /// credentials, or for SQL Server the ODBC connection string; `error` says why it is not one.
    struct Location
    {
        Kind kind = Kind::None;
        QString host;
        int port = 0;
        QString database;
        QString user;
        QString password;
        QString odbc;
        /// The location without its password, for messages.
        QString display;
        QString error;
    };
    static Location parseLocation(const QString &location);

    /// The location of `database` on `server` as SQLAdmin names servers of `serverType`
    /// ("host", "host:port", "[v6]:port", "/socket/folder:port" on PostgreSQL; "host",
    /// "host\INSTANCE", "host,port", "(local)" on SQL Server), logging in as `user` with
    /// `password`, or by the user's own identity when `user` is empty. Every name and
    /// credential reads back unchanged through parseLocation().
    static QString locationFor(const QString &serverType, const QString &server,
                               const QString &database, const QString &user,
                               const QString &password);

    /// Connects and checks that the database holds the inventory's `Nodes` table. False, with the
    /// reason in `lastError()`, when it cannot.
    bool open(const QString &location);
    bool isOpen() const override;
    QString lastError() const override;
    Kind kind() const { return m_kind; }
    /// The location without its password, for messages and titles.
    QString displayName() const { return m_display; }

    bool begin() override;
    bool commit() override;
    void rollback() override;
    Applied apply(const MGImport8::ImportRow &row, const QString &ipColumn, bool overwrite) override;
    bool failed() const override { return m_failed; }

    QList<Node> nodes() const override;
    int count() const override;

    /// Lets `account` read and write the inventory's tables (PostgreSQL; on SQL Server the
    /// database roles that SQLAdmin::CreateUserID grants already do). False, with the server's
    /// reason in `lastError()`, when it cannot.
    bool grantInventoryRights(const QString &account);

    /// The server's process or session id of this store's connection (tests cut it).
    QString sessionId() const;

private:
    bool connectTo(const QString &location);
    bool exec(const QString &statement);
    void lose(const QString &reason);

    QString m_connection;
    QString m_lastError;
    QString m_display;
    Kind m_kind = Kind::None;
    bool m_failed = false;
    bool m_inTransaction = false;
};

} // namespace NodeInventory
