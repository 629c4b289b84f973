#include "sqladmin/managementserver.h"

#include "sqladmin/connectiontranslator.h"
#include "sqladmin/manageddatabase.h"
#include "sqladmin/secrets.h"

#include <QSysInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace MGImport8::SqlAdmin {

namespace {

const QString notConnected = u"Not connected to a server."_s;

bool isThisMachine(const ServerAddress &address)
{
    static const QStringList local = {u"localhost"_s, u"127.0.0.1"_s, u"::1"_s};
    return address.socketFolder || local.contains(address.host, Qt::CaseInsensitive);
}

} // namespace

ManagementServer::ManagementServer(ServerKind kind, SessionFactory factory)
    : m_dialect(Dialect::create(kind))
    , m_factory(std::move(factory))
{}

ManagementServer::~ManagementServer()
{
    disconnect();
}

Result<bool> ManagementServer::connect(const LoginSettings &login)
{
    disconnect();
    m_login = login;
    m_login.database = m_dialect->adminDatabase();
    m_login.loginTimeout = loginTimeoutSeconds;
    Result<std::unique_ptr<SqlSession>> session = m_factory(kind(), m_login);
    if (!session)
        return Error{session.error()};
    m_session = session.take();
    return true;
}

void ManagementServer::disconnect()
{
    m_databases.clear();
    m_session.reset();
}

ServerStatus ManagementServer::status() const
{
    return isConnected() ? ServerStatus::Running : ServerStatus::Unknown;
}

Result<bool> ManagementServer::start(const QString &serverName)
{
    return Error{u"The server "_s + serverName
                 + u" cannot be started from here; start its service on its own machine."_s};
}

Result<QString> ManagementServer::scalarText(const QString &statement)
{
    if (!m_session)
        return Error{notConnected};
    Result<Rows> rows = m_session->query(statement);
    if (!rows)
        return Error{rows.error()};
    if (rows.value().isEmpty() || rows.value().first().isEmpty())
        return QString();
    return rows.value().first().first().toString();
}

Result<QString> ManagementServer::netName()
{
    const QString statement = m_dialect->netNameQuery();
    if (!statement.isEmpty())
        return scalarText(statement);
    if (!m_session)
        return Error{notConnected};
    const ServerAddress address = parseServerName(kind(), m_login.server);
    return isThisMachine(address) ? QSysInfo::machineHostName() : address.host;
}

Result<QString> ManagementServer::versionString()
{
    return scalarText(m_dialect->versionQuery());
}

Result<int> ManagementServer::securityMode()
{
    Result<QString> mode = scalarText(m_dialect->securityModeQuery());
    if (!mode)
        return Error{mode.error()};
    return mode.value().toInt();
}

Result<bool> ManagementServer::setSecurityMode(int mode)
{
    Result<QString> statement = m_dialect->setSecurityModeStatement(mode);
    if (!statement)
        return Error{statement.error()};
    return executeImmediate(statement.value());
}

Result<bool> ManagementServer::isSysAdmin()
{
    if (!m_session)
        return Error{notConnected};
    Result<Rows> rows = m_session->query(m_dialect->sysAdminQuery());
    if (!rows)
        return Error{rows.error()};
    return !rows.value().isEmpty() && !rows.value().first().isEmpty()
           && rows.value().first().first().toBool();
}

Result<QString> ManagementServer::loginIdentity()
{
    return scalarText(m_dialect->loginIdentityQuery());
}

Result<QStringList> ManagementServer::databaseNames()
{
    if (!m_session)
        return Error{notConnected};
    Result<Rows> rows = m_session->query(m_dialect->databasesQuery());
    if (!rows)
        return Error{rows.error()};
    QStringList names;
    for (const Row &row : std::as_const(rows.value()))
        names.append(row.value(0).toString());
    return names;
}

Result<QList<LoginInfo>> ManagementServer::logins()
{
    if (!m_session)
        return Error{notConnected};
    Result<Rows> rows = m_session->query(m_dialect->loginsQuery());
    if (!rows)
        return Error{rows.error()};
    QList<LoginInfo> logins;
    for (const Row &row : std::as_const(rows.value()))
        logins.append({row.value(0).toString(), row.value(1).toString(), row.value(2).toBool(),
                       row.value(3).toString()});
    return logins;
}

QStringList ManagementServer::passwordForms(const QString &password) const
{
    // A server's message may quote the statement, where the password stands as a literal.
    return {password, m_dialect->quoteLiteral(password)};
}

Result<bool> ManagementServer::createLogin(const QString &login, const QString &password,
                                           const QString &database)
{
    for (const QString &statement : m_dialect->createLoginStatements(login, password, database)) {
        if (Result<bool> done = executeImmediate(statement); !done)
            return Error{scrubSecrets(done.error(), passwordForms(password))};
    }
    return true;
}

Result<bool> ManagementServer::setLoginPassword(const QString &login, const QString &password)
{
    Result<bool> done = executeImmediate(m_dialect->setPasswordStatement(login, password));
    if (!done)
        return Error{scrubSecrets(done.error(), passwordForms(password))};
    return true;
}

Result<bool> ManagementServer::setDefaultDatabase(const QString &login, const QString &database)
{
    return executeImmediate(m_dialect->setDefaultDatabaseStatement(login, database));
}

Result<QString> ManagementServer::dataFilePath()
{
    return scalarText(m_dialect->dataFileQuery());
}

Result<ManagedDatabase *> ManagementServer::database(const QString &name)
{
    Result<QStringList> names = databaseNames();
    if (!names)
        return Error{names.error()};
    // Servers that tell names by case may hold two that differ only in case.
    QStringList candidates = names.value();
    std::stable_partition(candidates.begin(), candidates.end(),
                          [&name](const QString &existing) { return existing == name; });
    for (const QString &existing : std::as_const(candidates)) {
        if (existing.compare(name, Qt::CaseInsensitive) != 0)
            continue;
        std::unique_ptr<ManagedDatabase> &slot = m_databases[existing];
        if (!slot)
            slot = std::make_unique<ManagedDatabase>(*this, existing);
        return slot.get();
    }
    return Error{u"Database '"_s + name + u"' does not exist on the server."_s};
}

Result<bool> ManagementServer::executeImmediate(const QString &batch)
{
    if (!m_session)
        return Error{notConnected};
    return m_session->execute(batch);
}

LoginSettings ManagementServer::loginFor(const QString &database) const
{
    LoginSettings login = m_login;
    login.database = database;
    return login;
}

} // namespace MGImport8::SqlAdmin
