#pragma once

#include <MGImport8/mgimport8_export.h>

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace MGImport8 {

class ImportGrid;
class ImportType;
class WizardView;

/// The database panel's choices: the server as typed or chosen (trimmed), the way to log in, and
/// the SQL login. The password is never shown or logged.
struct ServerLogin
{
    QString serverName;
    bool integratedSecurity = true;
    QString loginName;
    QString password;
};

/// The sources the wizard reads through other readers than the text file: Access and SQL Server
/// tables and workbook sheets. Each operation shows its own messages through the view and answers
/// false (or nothing) after a failure, so the wizard stays on its panel.
class MGIMPORT8_EXPORT SourceReader
{
public:
    virtual ~SourceReader() = default;

    /// Server discovery for the `ServerName` list: servers on the network, then registered ones,
    /// each once. Reports its own failures through `status` (the panel's `StatusMessage`) or the
    /// view, and answers false when discovery could not run.
    virtual bool discoverServers(const ImportType &method, QStringList &servers,
                                 const std::function<void(const QString &)> &status)
        = 0;
    /// The databases of the chosen server, in the server's order; false with the management
    /// layer's last error text in `error` when the server cannot be reached.
    virtual bool listDatabases(const ImportType &method, const ServerLogin &login,
                               QStringList &databases, QString &error)
        = 0;
    /// The connection string for the database panel's choices, empty when no database is chosen;
    /// nothing after a failure it has reported.
    virtual std::optional<QString> serverConnectionString(const ImportType &method,
                                                          const ServerLogin &login,
                                                          const QString &databaseName)
        = 0;
    /// Lists the user tables of the method's database (its `ConnectionString`).
    virtual bool listTables(const ImportType &method, QStringList &tables) = 0;
    /// Reads a table or a "SELECT " query of the method's database into the grid, field names in
    /// a first row tagged "FieldHeader".
    virtual bool readTable(const ImportType &method, const QString &table, ImportGrid &grid) = 0;
    /// Loads the worksheet at `sheet` (from 0) of the method's workbook (its `Filename`).
    virtual bool loadWorksheet(const ImportType &method, int sheet, ImportGrid &grid) = 0;
};

/// The stand-in until those readers exist: every operation says that the source cannot be read
/// yet, with the critical icon, and fails.
class MGIMPORT8_EXPORT UnavailableSourceReader : public SourceReader
{
public:
    explicit UnavailableSourceReader(WizardView &view)
        : m_view(view)
    {}

    bool discoverServers(const ImportType &method, QStringList &servers,
                         const std::function<void(const QString &)> &status) override;
    bool listDatabases(const ImportType &method, const ServerLogin &login, QStringList &databases,
                       QString &error) override;
    std::optional<QString> serverConnectionString(const ImportType &method,
                                                  const ServerLogin &login,
                                                  const QString &databaseName) override;
    bool listTables(const ImportType &method, QStringList &tables) override;
    bool readTable(const ImportType &method, const QString &table, ImportGrid &grid) override;
    bool loadWorksheet(const ImportType &method, int sheet, ImportGrid &grid) override;

private:
    void report(const QString &source);
    WizardView &m_view;
};

} // namespace MGImport8
