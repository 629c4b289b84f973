#include "accountcommands.h"

#include "output.h"
#include "serveroptions.h"

#include <MGImport8/sqladmin.h>

#include <QCommandLineParser>

using namespace Qt::StringLiterals;

namespace MGImport8::Tool {

namespace {

constexpr int Done = 0;
constexpr int NotDone = 1;
constexpr int UsageError = 2;

const QStringList loginActions = {u"exists"_s, u"test"_s, u"password"_s, u"create"_s};
const QStringList dictionaryActions = {u"write"_s, u"update"_s};

/// What the parsed command line of one of these commands holds, or the status to end with.
struct Parsed
{
    QString action;
    ServerOptions server;
    std::optional<int> status;
};

/// Parses the shared part: the action word first, then the server options and the command's own.
Parsed parse(QCommandLineParser &parser, const ServerOptionSet &serverOptions,
             const QString &command, const QStringList &actions, const QStringList &arguments)
{
    Parsed parsed;
    if (!parser.parse(arguments)) {
        err() << command << ": " << parser.errorText() << '\n';
        parsed.status = UsageError;
        return parsed;
    }
    if (parser.isSet(u"help"_s)) {
        out() << parser.helpText().replace("mgimport8 [options]"_L1,
                                           command + u" "_s + actions.join(u'|') + u" [options]"_s);
        parsed.status = Done;
        return parsed;
    }
    parsed.action = parser.positionalArguments().value(0);
    if (!actions.contains(parsed.action)) {
        err() << command << ": the first argument is one of " << actions.join(u", "_s) << "; see '"
              << command << " --help'\n";
        parsed.status = UsageError;
        return parsed;
    }
    std::optional<ServerOptions> server = serverOptions.read(command);
    if (!server) {
        parsed.status = UsageError;
        return parsed;
    }
    parsed.server = *server;
    return parsed;
}

void configure(SQLAdmin &admin, const ServerOptions &server)
{
    admin.setServerType(server.serverType);
    admin.setServerName(server.server);
    admin.setUseIntegratedNTSecurity(server.user.isEmpty());
    admin.setLoginName(server.user);
    admin.setLoginPassword(server.password);
}

bool connect(SQLAdmin &admin, const QString &command, const ServerOptions &server)
{
    if (admin.Connect(false))
        return true;
    err() << command << ": cannot connect to " << server.server << '\n'
          << forTerminal(admin.LastError()) << '\n';
    return false;
}

int failed(const SQLAdmin &admin)
{
    err() << forTerminal(admin.LastError()) << '\n';
    return NotDone;
}

} // namespace

int runLogin(const QStringList &arguments)
{
    const QString command = u"mgimport8 login"_s;
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Manages the account the monitoring software uses to reach its database:\n"
        "  exists    whether the login has a user in the database (and repairs its default\n"
        "            database and roles when it has)\n"
        "  test      whether the password opens the database\n"
        "  password  sets the login's password\n"
        "  create    creates the login (or resets its password), rebuilds its user in the\n"
        "            database and grants it db_datareader, db_datawriter, db_ddladmin and\n"
        "            db_owner where they exist\n"
        "Passwords are read from files only."_s);
    parser.addHelpOption();
    parser.addPositionalArgument(u"action"_s, loginActions.join(u'|'));
    const ServerOptionSet serverOptions(parser, false);
    const QCommandLineOption database(u"database"_s, u"The database of the account."_s, u"NAME"_s);
    const QCommandLineOption login(u"login"_s, u"The account's login name."_s, u"NAME"_s);
    const QCommandLineOption newPasswordFile(
        u"new-password-file"_s,
        u"The account's password, the first line of FILE: the one to try (test) or to set "
        "(password, create)."_s,
        u"FILE"_s);
    parser.addOptions({database, login, newPasswordFile});
    const Parsed parsed = parse(parser, serverOptions, command, loginActions, arguments);
    if (parsed.status)
        return *parsed.status;

    const QString loginName = parser.value(login);
    const QString databaseName = parser.value(database).trimmed();
    if (loginName.isEmpty()) {
        err() << command << ": --login names the account\n";
        return UsageError;
    }
    if (parsed.action != u"password"_s && databaseName.isEmpty()) {
        err() << command << " " << parsed.action << ": --database names the account's database\n";
        return UsageError;
    }
    QString password;
    if (parsed.action != u"exists"_s) {
        if (!parser.isSet(newPasswordFile)) {
            err() << command << " " << parsed.action
                  << ": --new-password-file gives the account's password\n";
            return UsageError;
        }
        std::optional<QString> read = readPasswordFile(command, parser.value(newPasswordFile));
        if (!read)
            return UsageError;
        password = *read;
    }

    SQLAdmin admin;
    configure(admin, parsed.server);
    if (parsed.action == u"test"_s) {
        if (!admin.TestUserIDAndPassword(databaseName, loginName, password))
            return failed(admin);
        out() << "The password of '" << loginName << "' opens '" << databaseName << "'.\n";
        return Done;
    }
    if (!connect(admin, command, parsed.server))
        return NotDone;
    if (parsed.action == u"exists"_s) {
        if (admin.DoesAccountExist(databaseName, loginName)) {
            out() << "The login '" << loginName << "' has a user in '" << databaseName << "'.\n";
            return Done;
        }
        if (!admin.LastError().isEmpty())
            return failed(admin);
        out() << "The login '" << loginName << "' has no user in '" << databaseName << "'.\n";
        return NotDone;
    }
    if (parsed.action == u"password"_s) {
        if (admin.ChangeUserPassword(loginName, password)) {
            out() << "The password of '" << loginName << "' has been changed.\n";
            return Done;
        }
        if (!admin.LastError().isEmpty())
            return failed(admin);
        err() << "There is no login named '" << loginName << "'.\n";
        return NotDone;
    }
    if (!admin.CreateUserID(databaseName, loginName, password))
        return failed(admin);
    out() << "The login '" << loginName << "' has a user in '" << databaseName
          << "' with the database roles.\n";
    return Done;
}

int runDictionary(const QStringList &arguments)
{
    const QString command = u"mgimport8 dictionary"_s;
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Writes a data dictionary template for every user table of a database (write), or adds\n"
        "to FILE the tables of --tables and the columns it lacks, leaving existing entries as\n"
        "they are (update)."_s);
    parser.addHelpOption();
    parser.addPositionalArgument(u"action"_s, dictionaryActions.join(u'|'));
    parser.addPositionalArgument(u"FILE"_s, u"The data dictionary file."_s);
    const ServerOptionSet serverOptions(parser, false);
    const QCommandLineOption database(u"database"_s, u"The database to describe."_s, u"NAME"_s);
    const QCommandLineOption tables(u"tables"_s,
                                    u"update: the tables, separated by commas (a blank after a "
                                    "comma is part of the next name)."_s,
                                    u"LIST"_s);
    const QCommandLineOption log(u"log"_s, u"update: print the tables and fields as it goes."_s);
    parser.addOptions({database, tables, log});
    const Parsed parsed = parse(parser, serverOptions, command, dictionaryActions, arguments);
    if (parsed.status)
        return *parsed.status;

    const QStringList positional = parser.positionalArguments();
    const QString databaseName = parser.value(database).trimmed();
    if (positional.size() != 2 || databaseName.isEmpty()) {
        err() << command << " " << parsed.action << ": needs --database NAME and one FILE\n";
        return UsageError;
    }
    const bool update = parsed.action == u"update"_s;
    if (update != parser.isSet(tables)) {
        err() << command << ": --tables goes with update, and update needs it\n";
        return UsageError;
    }
    SQLAdmin admin;
    configure(admin, parsed.server);
    if (!connect(admin, command, parsed.server))
        return NotDone;
    const QString file = positional.at(1);
    if (!update)
        return admin.WriteDataDictionary(databaseName, file) ? Done : failed(admin);
    QString lines;
    const bool updated = admin.UpdateDataDictionary(databaseName, parser.value(tables), file, lines);
    if (parser.isSet(log))
        out() << forTerminal(lines);
    return updated ? Done : failed(admin);
}

} // namespace MGImport8::Tool
