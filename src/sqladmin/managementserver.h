#pragma once

#include "common/result.h"
#include "sqladmin/catalogue.h"
#include "sqladmin/dialect.h"
#include "sqladmin/manageddatabase.h"
#include "sqladmin/sqlsession.h"

#include <QString>
#include <QStringList>

#include <map>
#include <memory>

namespace MGImport8::SqlAdmin {

/// The management connection to one server: logs in, answers what the server is and who the
/// login is, lists databases and hands out their management objects. The statements come from
/// the server kind's `Dialect`, the connections from a `SessionFactory`.
class ManagementServer
{
public:
    /// How long a login may take, in seconds.
    static constexpr int loginTimeoutSeconds = 20;

    ManagementServer(ServerKind kind, SessionFactory factory);
    ~ManagementServer();
    ManagementServer(const ManagementServer &) = delete;
    ManagementServer &operator=(const ManagementServer &) = delete;

    ServerKind kind() const { return m_dialect->kind(); }
    const Dialect &dialect() const { return *m_dialect; }

    /// Logs in with `login` (its database is ignored: the management connection opens the
    /// server's own administration database).
    Result<bool> connect(const LoginSettings &login);
    void disconnect();
    bool isConnected() const { return m_session != nullptr; }
    /// Running while connected; Unknown otherwise (neither kind reports more to a client).
    ServerStatus status() const;
    /// Starts the server named. Neither kind can be started through a client connection; the
    /// error says so.
    Result<bool> start(const QString &serverName);

    Result<QString> netName();
    Result<QString> versionString();
    Result<int> securityMode();
    Result<bool> setSecurityMode(int mode);
    Result<bool> isSysAdmin();
    Result<QString> loginIdentity();
    Result<QStringList> databaseNames();
    Result<QList<LoginInfo>> logins();
    /// The password as it stands and as a literal in a statement: the texts to take out of any
    /// message that may quote it.
    QStringList passwordForms(const QString &password) const;
    /// Creates a login with its password and default database. Errors never hold the password.
    Result<bool> createLogin(const QString &login, const QString &password, const QString &database);
    /// Sets a login's password without the old one, as an administrator may.
    Result<bool> setLoginPassword(const QString &login, const QString &password);
    Result<bool> setDefaultDatabase(const QString &login, const QString &database);
    /// The path of the master database's primary data file (a folder on PostgreSQL).
    Result<QString> dataFilePath();

    /// The management object of a database of that name (the exact spelling first, then
    /// compared without regard to case), kept until the next connect or disconnect.
    Result<ManagedDatabase *> database(const QString &name);
    /// Runs a batch on the administration database as it stands.
    Result<bool> executeImmediate(const QString &batch);

    /// The login of the connection, with its database set to `database`.
    LoginSettings loginFor(const QString &database) const;
    const SessionFactory &factory() const { return m_factory; }

private:
    Result<QString> scalarText(const QString &statement);

    std::unique_ptr<Dialect> m_dialect;
    SessionFactory m_factory;
    LoginSettings m_login;
    std::unique_ptr<SqlSession> m_session;
    std::map<QString, std::unique_ptr<ManagedDatabase>> m_databases;
};

} // namespace MGImport8::SqlAdmin
