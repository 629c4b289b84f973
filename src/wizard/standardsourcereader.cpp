#include "wizard/standardsourcereader.h"

#include "wizard/access/accesssourcereader.h"
#include "wizard/serversourcereader.h"
#include "wizard/workbook/workbooksourcereader.h"

#include <MGImport8/importtype.h>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

const QString jetProvider = u"Provider=Microsoft.Jet.OLEDB.4.0;"_s;

} // namespace

StandardSourceReader::StandardSourceReader(WizardView &view)
    // The workbook reader.
    : m_workbooks(std::make_unique<WorkbookSourceReader>(view))
    // The Access reader.
    , m_access(std::make_unique<AccessSourceReader>(view))
    // The server reader.
    , m_servers(std::make_unique<ServerSourceReader>(view))
{}

SourceReader &StandardSourceReader::tableReader(const ImportType &method)
{
    if (method.ConnectionString().startsWith(jetProvider, Qt::CaseInsensitive))
        return *m_access;
    return *m_servers;
}

bool StandardSourceReader::discoverServers(const ImportType &method, QStringList &servers,
                                           const std::function<void(const QString &)> &status)
{
    return m_servers->discoverServers(method, servers, status);
}

bool StandardSourceReader::listDatabases(const ImportType &method, const ServerLogin &login,
                                         QStringList &databases, QString &error)
{
    return m_servers->listDatabases(method, login, databases, error);
}

std::optional<QString> StandardSourceReader::serverConnectionString(const ImportType &method,
                                                                    const ServerLogin &login,
                                                                    const QString &databaseName)
{
    return m_servers->serverConnectionString(method, login, databaseName);
}

bool StandardSourceReader::listTables(const ImportType &method, QStringList &tables)
{
    return tableReader(method).listTables(method, tables);
}

bool StandardSourceReader::readTable(const ImportType &method, const QString &table,
                                     ImportGrid &grid)
{
    return tableReader(method).readTable(method, table, grid);
}

bool StandardSourceReader::loadWorksheet(const ImportType &method, int sheet, ImportGrid &grid)
{
    return m_workbooks->loadWorksheet(method, sheet, grid);
}

} // namespace MGImport8
