#include "databasescommand.h"

#include "output.h"
#include "serveroptions.h"

#include <MGImport8/sqladmin.h>

#include <QCommandLineParser>

using namespace Qt::StringLiterals;

namespace MGImport8::Tool {

namespace {

constexpr int Listed = 0;
constexpr int ServerUnreachable = 1;
constexpr int UsageError = 2;

} // namespace

int runDatabases(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Lists the databases of a server, one per line, in the server's order, as the Import "
        "Wizard's database panel lists them."_s);
    parser.addHelpOption();
    const ServerOptionSet serverOptions(parser, false);
    if (!parser.parse(arguments)) {
        err() << "mgimport8 databases: " << parser.errorText() << '\n';
        return UsageError;
    }
    if (parser.isSet(u"help"_s)) {
        out() << parser.helpText().replace("mgimport8 [options]"_L1,
                                           "mgimport8 databases [options]"_L1);
        return Listed;
    }
    if (!parser.positionalArguments().isEmpty()) {
        err() << "mgimport8 databases: takes no arguments; name the server with --server\n";
        return UsageError;
    }
    const std::optional<ServerOptions> server = serverOptions.read(u"mgimport8 databases"_s);
    if (!server)
        return UsageError;

    SQLAdmin admin;
    admin.setServerType(server->serverType);
    admin.setServerName(server->server);
    admin.setUseIntegratedNTSecurity(server->user.isEmpty());
    admin.setLoginName(server->user);
    admin.setLoginPassword(server->password);
    if (!admin.Connect(false)) {
        // The wizard's own message when its database list cannot be filled.
        QString text = u"Cannot list databases on SQL Server on "_s + server->server;
        if (!server->user.isEmpty())
            text += u" using the supplied User Name and Password"_s;
        err() << forTerminal(text + u"\r\n\r\n"_s + admin.LastError()) << '\n';
        return ServerUnreachable;
    }
    const QStringList databases = admin.Databases();
    for (const QString &database : databases)
        out() << database << '\n';
    if (databases.isEmpty())
        err() << "The server lists no databases.\n";
    admin.Disconnect();
    return Listed;
}

} // namespace MGImport8::Tool
