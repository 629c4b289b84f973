#pragma once

#include <MGImport8/mgimport8_export.h>

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

class QSqlDatabase;

namespace MGImport8 {

/// A database of the server `SQLAdmin` is connected to, as `SQLAdmin::GetDatabase` hands it out
/// and `UpdateDatabaseStructure` and `WriteXMLStructureFile` take it back. Hosts hold it only by
/// pointer; it belongs to the `SQLAdmin` that gave it.
class SQLDatabase;

namespace SqlAdmin {
class ManagementServer;
class SQLAdminAccess;
} // namespace SqlAdmin
} // namespace MGImport8

// The management objects stay the library's own: hosts receive them as opaque pointers, to hand
// back to SQLAdmin (`UpdateDatabaseStructure`, `WriteXMLStructureFile`).
Q_DECLARE_OPAQUE_POINTER(MGImport8::SqlAdmin::ManagementServer *)
Q_DECLARE_OPAQUE_POINTER(MGImport8::SQLDatabase *)

namespace MGImport8 {

/// An open connection to one database, handed out by `SQLAdmin::DatabaseConnection`. It owns
/// its Qt SQL connection: the connection closes and its name is released when the handle goes.
/// A handle that failed to open is empty (`isOpen()` false).
class MGIMPORT8_EXPORT DatabaseHandle
{
public:
    DatabaseHandle() = default;
    explicit DatabaseHandle(const QString &connectionName);
    DatabaseHandle(DatabaseHandle &&other) noexcept;
    DatabaseHandle &operator=(DatabaseHandle &&other) noexcept;
    DatabaseHandle(const DatabaseHandle &) = delete;
    DatabaseHandle &operator=(const DatabaseHandle &) = delete;
    ~DatabaseHandle();

    bool isOpen() const;
    explicit operator bool() const { return isOpen(); }
    /// The Qt SQL connection; invalid when the handle is empty. Include <QSqlDatabase> to use it.
    QSqlDatabase database() const;
    /// Closes the connection now.
    void close();

private:
    QString m_name;
};

/// The database administration object of the product family: logs in to a SQL Server (or, with
/// `ServerType` "PostgreSQL", a PostgreSQL server), lists and looks up its databases, and builds
/// the OLE DB connection strings that the family's programs share.
///
/// Nothing throws: operations report failure by their result and leave the text in `LastError`.
/// Passwords never appear in `LastError` or in `UpdateTrace`.
class MGIMPORT8_EXPORT SQLAdmin : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString Key READ Key)
    Q_PROPERTY(int DatabaseSecurityMode READ DatabaseSecurityMode WRITE setDatabaseSecurityMode)
    Q_PROPERTY(QString LastError READ LastError)
    Q_PROPERTY(MGImport8::SqlAdmin::ManagementServer *SQLServer READ SQLServer)
    Q_PROPERTY(QString LoginName READ LoginName WRITE setLoginName)
    Q_PROPERTY(QString LoginPassword READ LoginPassword WRITE setLoginPassword)
    Q_PROPERTY(
        bool UseIntegratedNTSecurity READ UseIntegratedNTSecurity WRITE setUseIntegratedNTSecurity)
    Q_PROPERTY(QString ServerNetName READ ServerNetName)
    Q_PROPERTY(QString SQlServerVersion READ SQlServerVersion)
    Q_PROPERTY(QStringList Databases READ Databases)
    Q_PROPERTY(bool Connected READ Connected)
    Q_PROPERTY(QString ServerName READ ServerName WRITE setServerName)
    Q_PROPERTY(QString DefaultDataPath READ DefaultDataPath)
    Q_PROPERTY(QString UpdateTrace READ UpdateTrace)
    Q_PROPERTY(QString ServerType READ ServerType WRITE setServerType)

public:
    /// The two kinds of server, as `ServerType` names them.
    static inline const QString SqlServerType = QStringLiteral("SQLServer");
    static inline const QString PostgreSqlType = QStringLiteral("PostgreSQL");

    explicit SQLAdmin(QObject *parent = nullptr);
    ~SQLAdmin() override;

    /// The server name.
    QString Key() const;
    /// The server's authentication mode: 0 integrated only, 1 normal, 2 mixed; -1 when not
    /// connected. The setter changes it on the server where the server allows it.
    int DatabaseSecurityMode() const;
    void setDatabaseSecurityMode(int DatabaseSecurityMode);
    /// Always false. The server is left running, with the reason in `LastError`: neither kind of
    /// server can be started again from a client, so none is ever stopped.
    Q_INVOKABLE bool RestartServer();
    /// Whether `LoginName` has a user of the same name in `Database` (names compared exactly).
    /// When it has, repairs the account: the login's default database becomes `Database`, the
    /// user joins those of "db_datareader", "db_datawriter", "db_ddladmin" and "db_owner" that the
    /// database has, and the login is remembered as the database user ID. A server error returns
    /// false with its text in `LastError`; a missing login, database or user leaves `LastError`
    /// as it was.
    Q_INVOKABLE bool DoesAccountExist(const QString &Database, const QString &LoginName);
    /// Remembers `UserID` and `Password` as the database account (whatever the outcome), then
    /// tries to open `Database` on `ServerName` with them, by SQL authentication.
    Q_INVOKABLE bool TestUserIDAndPassword(const QString &Database, const QString &UserID,
                                           const QString &Password);
    /// Sets the password of an existing login. False for an unknown login, with `LastError` left
    /// as it was; false with the server's reason when the server refuses.
    Q_INVOKABLE bool ChangeUserPassword(const QString &LoginName, const QString &NewPassword);
    /// Creates the login (or overwrites an existing one's password), sets its default database,
    /// drops and re-creates its user in `Database` and grants the four roles where they exist.
    /// A failure part-way returns false and leaves the steps already done in place.
    Q_INVOKABLE bool CreateUserID(const QString &Database, const QString &UserID,
                                  const QString &Password);
    QString LastError() const;
    QString LoginName() const;
    void setLoginName(const QString &LoginName);
    QString LoginPassword() const;
    void setLoginPassword(const QString &LoginPassword);
    /// Default true.
    bool UseIntegratedNTSecurity() const;
    void setUseIntegratedNTSecurity(bool UseIntegratedNTSecurity);
    /// The connected server's machine name; empty when not connected.
    QString ServerNetName() const;
    /// The first line of the server's version text; empty when not connected.
    QString SQlServerVersion() const;
    /// True when a usable management library (here: the Qt SQL driver of the server type) is
    /// present, after any repair.
    Q_INVOKABLE bool TestDMO();
    /// The servers a user may choose from: the SQL Servers that answer discovery on the network
    /// (none for `ServerType` "PostgreSQL"), then the registered servers, each once. Why either
    /// list could not be read goes to `LastError`, which is cleared otherwise.
    Q_INVOKABLE QStringList AvailableServers();
    /// Names of the server's databases, in the server's own order; empty when not connected.
    QStringList Databases() const;
    bool Connected() const;
    QString ServerName() const;
    void setServerName(const QString &ServerName);
    /// Drops the management connection. Harmless when not connected.
    Q_INVOKABLE void Disconnect();
    /// Logs in to `ServerName` with the current credentials; with `RequireSysAdmin` the login
    /// must also hold system administrator rights.
    Q_INVOKABLE bool Connect(bool RequireSysAdmin);
    /// Whether a database of that name (compared without regard to case) exists; false unless
    /// the server is running and connected.
    Q_INVOKABLE bool DatabaseExist(const QString &Name) const;
    /// The directory of the `master` database's primary data file, ending in a backslash as the
    /// file path does; empty when unknown.
    QString DefaultDataPath();
    /// The OLE DB connection string for `Server` and `Database`, exactly as the family writes it.
    Q_INVOKABLE QString BuildConnectionString(const QString &Server, const QString &Database) const;
    /// True when the database holds the tables Nodes and Interfaces.
    Q_INVOKABLE bool VerifyDatabase(const QString &Server, const QString &Database);
    /// Opens a connection to `Database` on `Server` from `BuildConnectionString`; an empty
    /// handle, with the reason in `LastError`, when it cannot.
    Q_INVOKABLE MGImport8::DatabaseHandle DatabaseConnection(const QString &Server,
                                                             const QString &Database);
    /// Writes a fresh data dictionary template for every user table of `Database` to `FileName`,
    /// replacing the file.
    Q_INVOKABLE bool WriteDataDictionary(const QString &Database, const QString &FileName);
    /// Adds to the data dictionary `FileName` the tables named in `TableNames` (comma-separated,
    /// matched without regard to case) and their columns that it lacks, never changing existing
    /// entries; appends one line per table and per added field to `Log`. On failure the file is
    /// left as it was.
    bool UpdateDataDictionary(const QString &Database, const QString &TableNames,
                              const QString &FileName, QString &Log);
    /// The running log of structure maintenance, one line per step.
    QString UpdateTrace() const;
    /// "SQLServer" (the default) or "PostgreSQL"; any other text reads as "SQLServer". Takes
    /// effect at the next `Connect`.
    QString ServerType() const;
    void setServerType(const QString &ServerType);

    /// The management object of a database, or nothing (the reason in `LastError`). The object
    /// belongs to this SQLAdmin and lives until the next `Connect` or `Disconnect`.
    Q_INVOKABLE MGImport8::SQLDatabase *GetDatabase(const QString &Name);

    /// The management connection itself; nothing when not connected. Opaque to hosts.
    SqlAdmin::ManagementServer *SQLServer() const;

    /// Brings `Database` (from `GetDatabase`) into line with the structure file: functions, then
    /// tables with their columns, keys, indexes and seed rows, then views. Each step raises
    /// `AlteringDatabase` and appends to `UpdateTrace`; progress goes to
    /// `UpdateDBStructureProgress`. False when the file cannot be read or an object cannot be
    /// created; what was changed before stays changed.
    Q_INVOKABLE bool UpdateDatabaseStructure(MGImport8::SQLDatabase *Database,
                                             const QString &StructureFile);
    /// Creates the database with the structure file's CREATE command, its name and data folder
    /// put in, and builds the file's objects in it. True once the CREATE did not fail.
    Q_INVOKABLE bool BuildDatabase(const QString &DatabaseName, const QString &DatabaseFilePath,
                                   const QString &StructureFile);
    /// Copies a template database file into place and attaches it (on PostgreSQL: creates the
    /// database and runs the template's SQL in it).
    Q_INVOKABLE bool CreateDatabase(const QString &DatabaseName, const QString &DatabaseFile,
                                    const QString &TemplateFile);
    /// Writes the structure file of `Database` (from `GetDatabase`) to `FileName`, with the rows
    /// of the tables named in `DataTables` as seed data. False, with the reason in `LastError`,
    /// when the catalogue cannot be read or the file written.
    Q_INVOKABLE bool WriteXMLStructureFile(MGImport8::SQLDatabase *Database,
                                           const QString &FileName,
                                           const QStringList &DataTables = {});

    /// With a dry run, `UpdateDatabaseStructure` holds all its changes in one transaction and
    /// rolls it back at the end; statements a transaction cannot hold are announced through
    /// `StructureStatement` and not run. Off by default.
    void setStructureDryRun(bool DryRun);

Q_SIGNALS:
    /// The step that structure maintenance is about to take.
    void AlteringDatabase(QString Text);
    /// The percentage of the current phase of structure maintenance.
    void UpdateDBStructureProgress(int Percent);
    /// A statement that structure maintenance runs to change the database, before it runs.
    void StructureStatement(QString Statement);

private:
    struct Private;
    friend class SqlAdmin::SQLAdminAccess;
    std::unique_ptr<Private> d;
};

} // namespace MGImport8
