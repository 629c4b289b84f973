#pragma once

#include "wizard/sources/sourcereader.h"

namespace MGImport8 {

class DatabaseHandle;
class WizardView;
class SQLAdmin;

/// Everything about database servers for the wizard: the servers on the network and the
/// registered ones, a server's databases and the connection string through `SQLAdmin`, and the
/// tables of the chosen database. The method's `Method` says which kind of server it reads:
/// "IMPORTPOSTGRESQL" a PostgreSQL server, anything else a SQL Server.
class ServerSourceReader : public ServerReader, public TableReader
{
public:
    /// A table source never yields more records than this.
    static constexpr int MaxTableRecords = 5000;

    explicit ServerSourceReader(WizardView &view);

    bool discoverServers(const SourceChoice &source, QStringList &servers,
                         const std::function<void(const QString &)> &status) override;
    bool listDatabases(const SourceChoice &source, const ServerLogin &login, QStringList &databases,
                       QString &error) override;
    std::optional<QString> serverConnectionString(const SourceChoice &source,
                                                  const ServerLogin &login,
                                                  const QString &databaseName) override;
    bool listTables(const SourceChoice &source, QStringList &tables) override;
    bool readTable(const SourceChoice &source, const QString &table, ImportGrid &grid) override;

    /// Whether the method reads a PostgreSQL server.
    static bool isPostgres(const SourceChoice &source);
    /// The statement that reads `table` (trimmed): a text starting with "SELECT " as it stands,
    /// else the first `MaxTableRecords` records of the table named so, the name quoted the way the
    /// server reads it; nothing when the name holds a NUL, which no quoting carries.
    static std::optional<QString> tableStatement(const SourceChoice &source, const QString &table);

private:
    void configure(SQLAdmin &admin, const SourceChoice &source, const ServerLogin &login) const;
    bool openMethodDatabase(const SourceChoice &source, DatabaseHandle &handle, QString &error,
                            QString &server, QString &database) const;
    WizardView &m_view;
    /// The login behind the last connection string built here: a password holding "';" cannot
    /// be read back from the string, whose format does not escape it.
    QString m_builtConnection;
    ServerLogin m_builtLogin;
    QString m_builtDatabase;
};

} // namespace MGImport8
