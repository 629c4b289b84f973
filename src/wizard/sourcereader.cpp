#include "wizard/sourcereader.h"

#include "wizard/wizardview.h"

#include <MGImport8/importtype.h>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

QString databaseKind(const ImportType &method)
{
    return method.Method().compare(u"IMPORTACCESS"_s, Qt::CaseInsensitive) == 0
               ? u"Access databases"_s
               : u"SQL Server databases"_s;
}

} // namespace

void UnavailableSourceReader::report(const QString &source)
{
    m_view.showMessage(u"Import from "_s % source % u" is not available yet."_s,
                       MessageIcon::Critical, {});
}

bool UnavailableSourceReader::discoverServers(const ImportType &method, QStringList &servers,
                                              const std::function<void(const QString &)> &status)
{
    Q_UNUSED(method)
    Q_UNUSED(status)
    servers.clear();
    report(u"SQL Server databases"_s);
    return false;
}

bool UnavailableSourceReader::listDatabases(const ImportType &method, const ServerLogin &login,
                                            QStringList &databases, QString &error)
{
    Q_UNUSED(method)
    Q_UNUSED(login)
    databases.clear();
    error = u"Import from SQL Server databases is not available yet."_s;
    return false;
}

std::optional<QString> UnavailableSourceReader::serverConnectionString(const ImportType &method,
                                                                       const ServerLogin &login,
                                                                       const QString &databaseName)
{
    Q_UNUSED(method)
    Q_UNUSED(login)
    Q_UNUSED(databaseName)
    report(u"SQL Server databases"_s);
    return std::nullopt;
}

bool UnavailableSourceReader::listTables(const ImportType &method, QStringList &tables)
{
    tables.clear();
    report(databaseKind(method));
    return false;
}

bool UnavailableSourceReader::readTable(const ImportType &method, const QString &table,
                                        ImportGrid &grid)
{
    Q_UNUSED(table)
    Q_UNUSED(grid)
    report(databaseKind(method));
    return false;
}

bool UnavailableSourceReader::loadWorksheet(const ImportType &method, int sheet, ImportGrid &grid)
{
    Q_UNUSED(method)
    Q_UNUSED(sheet)
    Q_UNUSED(grid)
    report(u"Excel workbooks"_s);
    return false;
}

} // namespace MGImport8
