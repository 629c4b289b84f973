#pragma once

#include "methods/sourcekind.h"

#include <MGImport8/importtype.h>

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <utility>

namespace MGImport8 {

class ImportGrid;

/// What a reader needs of the chosen method, taken when it is called: the kind of source, the file
/// (or, on the server path, the database name) and the connection string. Readers get this small
/// value rather than the object the host sees.
struct SourceChoice
{
    SourceChoice(SourceKind sourceKind, QString file, QString connection)
        : kind(sourceKind)
        , filename(std::move(file))
        , connectionString(std::move(connection))
    {}
    /// The choices of the method as they stand; the wizard calls its readers with its chosen one.
    SourceChoice(const ImportType &method) // NOLINT(google-explicit-constructor)
        : SourceChoice(sourceKind(method), method.Filename(), method.ConnectionString())
    {}

    SourceKind kind;
    QString filename;
    QString connectionString;
};

/// The database panel's choices: the server as typed or chosen (trimmed), the way to log in, and
/// the SQL login. The password is never shown or logged.
struct ServerLogin
{
    QString serverName;
    bool integratedSecurity = true;
    QString loginName;
    QString password;
};

/// The database panel's servers: discovery, a server's databases and the connection string. Each
/// operation shows its own messages through the view and answers false (or nothing) after a
/// failure, so the wizard stays on its panel.
class ServerReader
{
public:
    virtual ~ServerReader() = default;

    /// Server discovery for the `ServerName` list: servers on the network, then registered ones,
    /// each once. Shows "Discovering ..." through `status` (the panel's `StatusMessage`) and
    /// empties `servers` only once discovery has started; a discovery that cannot start reports
    /// that through `status`, leaves `servers` as it was and answers false.
    virtual bool discoverServers(const SourceChoice &source, QStringList &servers,
                                 const std::function<void(const QString &)> &status)
        = 0;
    /// The databases of the chosen server, in the server's order; false with the management
    /// layer's last error text in `error` when the server cannot be reached.
    virtual bool listDatabases(const SourceChoice &source, const ServerLogin &login,
                               QStringList &databases, QString &error)
        = 0;
    /// The connection string for the database panel's choices, empty when no database is chosen;
    /// nothing after a failure it has reported.
    virtual std::optional<QString> serverConnectionString(const SourceChoice &source,
                                                          const ServerLogin &login,
                                                          const QString &databaseName)
        = 0;
};

/// The tables of the method's database (its `ConnectionString`), for the table panel. Failures
/// are shown through the view and answered with false.
class TableReader
{
public:
    virtual ~TableReader() = default;

    /// Lists the user tables of the method's database.
    virtual bool listTables(const SourceChoice &source, QStringList &tables) = 0;
    /// Reads a table or a "SELECT " query of the method's database into the grid, field names in
    /// a first row tagged "FieldHeader".
    virtual bool readTable(const SourceChoice &source, const QString &table, ImportGrid &grid) = 0;
};

/// The worksheets of the method's workbook (its `Filename`), for the spreadsheet panel.
class WorksheetReader
{
public:
    virtual ~WorksheetReader() = default;

    /// Loads the worksheet at `sheet` (from 0) into the grid; false after the message that says
    /// why it could not.
    virtual bool loadWorksheet(const SourceChoice &source, int sheet, ImportGrid &grid) = 0;
};

} // namespace MGImport8
