// The account that the monitoring software uses to reach its database: whether it exists, its
// password, and its creation with the four database roles. Only these members set the remembered
// database account that BuildConnectionString prefers.
#include "sqladmin/admin/sqladmin_p.h"

#include "sqladmin/manageddatabase.h"
#include "sqladmin/qtsession.h"
#include "sqladmin/secrets.h"

#include <optional>

using namespace Qt::StringLiterals;

namespace MGImport8 {

using namespace SqlAdmin;

namespace {

/// The roles every usable account is given, where the database has a role of exactly that name.
const QStringList accountRoles = {u"db_datareader"_s, u"db_datawriter"_s, u"db_ddladmin"_s,
                                  u"db_owner"_s};

const QString notConnected = u"Not connected to a server."_s;

/// The database of exactly that name; nothing when there is none (the look-up of the management
/// layer would also take one that differs in case).
Result<ManagedDatabase *> exactDatabase(ManagementServer &server, const QString &name)
{
    Result<QStringList> names = server.databaseNames();
    if (!names)
        return Error{names.error()};
    if (!names.value().contains(name))
        return static_cast<ManagedDatabase *>(nullptr);
    return server.database(name);
}

/// Makes `member` a member of each of the account roles that the database has and that it is not
/// a member of already (a second run sends nothing, and PostgreSQL has nothing to warn about).
Result<bool> grantAccountRoles(ManagedDatabase &database, const QString &member)
{
    Result<QList<RoleInfo>> roles = database.roles();
    if (!roles)
        return Error{roles.error()};
    for (const RoleInfo &role : std::as_const(roles.value())) {
        if (!accountRoles.contains(role.name) || role.members.contains(member))
            continue;
        if (Result<bool> added = database.addRoleMember(role.name, member); !added)
            return added;
    }
    return true;
}

} // namespace

bool SQLAdmin::DoesAccountExist(const QString &Database, const QString &LoginName)
{
    if (!d->server) {
        d->lastError = notConnected;
        return false;
    }
    ManagementServer &server = *d->server;
    // Where the legacy object let a management error through to its caller, this one returns
    // false with the error's text: nothing crosses the public interface as an exception.
    const auto raise = [this](const QString &error) {
        d->lastError = error;
        return false;
    };
    Result<QList<LoginInfo>> logins = server.logins();
    if (!logins)
        return raise(logins.error());
    std::optional<LoginInfo> login;
    for (const LoginInfo &candidate : std::as_const(logins.value())) {
        if (candidate.name == LoginName) {
            login = candidate;
            break;
        }
    }
    if (!login)
        return false;
    Result<ManagedDatabase *> database = exactDatabase(server, Database);
    if (!database)
        return raise(database.error());
    if (!database.value())
        return false;
    Result<QList<DatabaseUserInfo>> users = database.value()->users();
    if (!users)
        return raise(users.error());
    const bool hasUser = std::any_of(users.value().cbegin(), users.value().cend(),
                                     [&login](const DatabaseUserInfo &user) {
                                         return user.name == login->name;
                                     });
    if (!hasUser)
        return false;

    if (login->defaultDatabase != Database) {
        if (Result<bool> set = server.setDefaultDatabase(login->name, Database); !set)
            return raise(set.error());
    }
    if (Result<bool> granted = grantAccountRoles(*database.value(), login->name); !granted)
        return raise(granted.error());
    d->databaseUserId = login->name;
    return true;
}

bool SQLAdmin::TestUserIDAndPassword(const QString &Database, const QString &UserID,
                                     const QString &Password)
{
    d->databaseUserId = UserID;
    d->databaseUserPassword = Password;
    // The values the family's connection string would carry, handed to the driver as they are:
    // reading them back from the string would lose a password holding a quote and a semicolon.
    LoginSettings login;
    login.server = d->serverName;
    login.database = Database;
    login.login = UserID;
    login.password = Password;
    login.integrated = false;
    login.loginTimeout = ManagementServer::loginTimeoutSeconds;
    Result<QString> opened = openQtConnection(d->kind(), login);
    if (!opened) {
        d->lastError = scrubSecrets(opened.error(), {Password});
        return false;
    }
    closeQtConnection(opened.value());
    return true;
}

bool SQLAdmin::ChangeUserPassword(const QString &LoginName, const QString &NewPassword)
{
    if (!d->server) {
        d->lastError = notConnected;
        return false;
    }
    Result<QList<LoginInfo>> logins = d->server->logins();
    if (!logins) {
        d->lastError = logins.error();
        return false;
    }
    const bool known = std::any_of(logins.value().cbegin(), logins.value().cend(),
                                   [&LoginName](const LoginInfo &login) {
                                       return login.name == LoginName;
                                   });
    if (!known)
        return false;
    d->lastError.clear();
    Result<bool> changed = d->server->setLoginPassword(LoginName, NewPassword);
    if (!changed) {
        d->lastError = changed.error();
        return false;
    }
    return true;
}

bool SQLAdmin::CreateUserID(const QString &Database, const QString &UserID, const QString &Password)
{
    const auto errorExit = [this, &Password](const QString &error) {
        d->lastError = scrubSecrets(error, d->server ? d->server->passwordForms(Password)
                                                     : QStringList{Password});
        return false;
    };
    if (!d->server)
        return errorExit(notConnected);
    ManagementServer &server = *d->server;
    Result<QList<LoginInfo>> logins = server.logins();
    if (!logins)
        return errorExit(logins.error());
    const bool exists = std::any_of(logins.value().cbegin(), logins.value().cend(),
                                    [&UserID](const LoginInfo &login) {
                                        return login.name == UserID;
                                    });
    if (!exists) {
        if (Result<bool> created = server.createLogin(UserID, Password, Database); !created)
            return errorExit(created.error());
    }
    d->databaseUserPassword = Password;
    d->databaseUserId = UserID;

    // An existing login's password is overwritten; a new one's is set a second time, as the
    // account is rebuilt the same way whichever it was.
    if (Result<bool> set = server.setLoginPassword(UserID, Password); !set)
        return errorExit(set.error());
    if (Result<bool> set = server.setDefaultDatabase(UserID, Database); !set)
        return errorExit(set.error());

    Result<ManagedDatabase *> database = exactDatabase(server, Database);
    if (!database)
        return errorExit(database.error());
    if (!database.value())
        return errorExit(u"Database '"_s + Database + u"' does not exist on the server."_s);
    ManagedDatabase &db = *database.value();
    Result<QList<DatabaseUserInfo>> users = db.users();
    if (!users)
        return errorExit(users.error());
    for (const DatabaseUserInfo &user : std::as_const(users.value())) {
        if (user.name != UserID)
            continue;
        if (Result<bool> dropped = db.dropUser(user.name); !dropped)
            return errorExit(dropped.error());
    }
    if (Result<bool> created = db.createUser(UserID, UserID); !created)
        return errorExit(created.error());
    if (Result<bool> granted = grantAccountRoles(db, UserID); !granted)
        return errorExit(granted.error());
    return true;
}

} // namespace MGImport8
