#include "serverscommand.h"

#include "output.h"

#include "sqladmin/discovery/serverchoice.h"
#include "sqladmin/discovery/serverdiscovery.h"

#include <QCommandLineParser>
#include <QCoreApplication>

using namespace Qt::StringLiterals;

namespace MGImport8::Tool {

namespace {

constexpr int Listed = 0;
constexpr int UsageError = 2;

} // namespace

int runServers(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Lists the SQL Servers that answer on the network (through their SQL Server Browsers), "
        "then the servers registered in $XDG_CONFIG_HOME/MGImport8/RegisteredServers.xml, each "
        "once."_s);
    parser.addHelpOption();
    if (!parser.parse(arguments)) {
        err() << "mgimport8 servers: " << parser.errorText() << '\n';
        return UsageError;
    }
    if (parser.isSet(u"help"_s)) {
        out() << parser.helpText().replace("mgimport8 [options]"_L1, "mgimport8 servers"_L1);
        return Listed;
    }
    if (!parser.positionalArguments().isEmpty()) {
        err() << "mgimport8 servers: takes no arguments\n";
        return UsageError;
    }

    ServerDiscovery discovery;
    const ServerChoice choice = ServerChoice::collect(discovery,
                                                      [] { QCoreApplication::processEvents(); });
    if (!choice.discoveryError.isEmpty())
        err() << "mgimport8 servers: " << choice.discoveryError << '\n';
    if (!choice.registeredError.isEmpty())
        err() << "mgimport8 servers: " << choice.registeredError << '\n';
    for (const QString &server : choice.servers)
        out() << server << '\n';
    if (choice.servers.isEmpty())
        err() << "No SQL Servers found on the network or among the registered servers.\n";
    return Listed;
}

} // namespace MGImport8::Tool
