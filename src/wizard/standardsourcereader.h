#pragma once

#include "wizard/sourcereader.h"

#include <memory>

namespace MGImport8 {

/// The readers the wizard uses unless a test gives it others: worksheets go to the workbook
/// reader, tables of an Access database (a Jet connection string) to the Access reader, and
/// everything about servers and their tables to the server reader.
class StandardSourceReader : public SourceReader
{
public:
    explicit StandardSourceReader(WizardView &view);

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
    SourceReader &tableReader(const ImportType &method);

    std::unique_ptr<SourceReader> m_workbooks;
    std::unique_ptr<SourceReader> m_access;
    std::unique_ptr<SourceReader> m_servers;
};

} // namespace MGImport8
