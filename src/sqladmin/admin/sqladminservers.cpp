#include "sqladmin/admin/sqladmin_p.h"

#include "sqladmin/discovery/serverchoice.h"
#include "sqladmin/discovery/serverdiscovery.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

namespace MGImport8 {

QStringList SQLAdmin::AvailableServers()
{
    // SQL Server Browsers answer for SQL Servers only: a PostgreSQL administrator is offered the
    // registered servers, as the wizard's database panel offers them.
    ServerDiscovery discovery = ServerType() == PostgreSqlType
                                    ? ServerDiscovery(QList<ServerDiscovery::Target>())
                                    : ServerDiscovery();
    const ServerChoice choice = ServerChoice::collect(discovery,
                                                      [] { QCoreApplication::processEvents(); });
    QStringList problems;
    if (!choice.discoveryError.isEmpty())
        problems.append(choice.discoveryError);
    if (!choice.registeredError.isEmpty())
        problems.append(choice.registeredError);
    d->lastError = problems.join(u"\r\n"_s);
    return choice.servers;
}

} // namespace MGImport8
