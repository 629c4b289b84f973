#include "sqladmin/admin/sqladmin_p.h"

#include "common/connectionstring.h"
#include "sqladmin/connectiontranslator.h"
#include "sqladmin/manageddatabase.h"
#include "sqladmin/nameguard.h"
#include "sqladmin/qtsession.h"

#include <QSqlDatabase>
#include <QSqlQuery>

using namespace Qt::StringLiterals;

namespace MGImport8 {

using namespace SqlAdmin;

namespace {

const QString crlf = u"\r\n"_s;
/// Seconds a statement of a database connection may run.
constexpr int commandTimeoutSeconds = 20;
// The long tail of every connection string.
const QString connectionTail = u";Use Procedure for Prepare=1;Auto Translate=True;Packet Size=4096;"
                               u"Workstation ID=Marrowgate;Use Encryption for Data=FALSE;"
                               u"Tag with column collation when possible=False"_s;

} // namespace

ServerKind SQLAdmin::Private::kind() const
{
    return serverType == SQLAdmin::PostgreSqlType ? ServerKind::PostgreSql : ServerKind::SqlServer;
}

LoginSettings SQLAdmin::Private::login() const
{
    LoginSettings settings;
    settings.server = serverName;
    settings.login = loginName;
    settings.password = loginPassword;
    settings.integrated = integrated;
    settings.loginTimeout = ManagementServer::loginTimeoutSeconds;
    return settings;
}

SQLAdmin::SQLAdmin(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{
    d->probeLibrary = probeDriverStack;
    // Registration programs do not exist here; a launch fails silently, as a failed one does.
    d->launch = [](const QString &) {};
    d->integrated = true;
    (void)TestDMO();
}

SQLAdmin::~SQLAdmin()
{
    Disconnect();
}

QString SQLAdmin::Key() const
{
    return d->serverName;
}

int SQLAdmin::DatabaseSecurityMode() const
{
    if (!d->server)
        return -1;
    Result<int> mode = d->server->securityMode();
    if (!mode) {
        // PostgreSQL shows its authentication rules to superusers only: say so rather than
        // answer -1 without a word.
        d->lastError = mode.error();
        return -1;
    }
    return mode.value();
}

void SQLAdmin::setDatabaseSecurityMode(int DatabaseSecurityMode)
{
    if (!d->server)
        return;
    Result<bool> set = d->server->setSecurityMode(DatabaseSecurityMode);
    if (!set)
        d->lastError = set.error();
}

bool SQLAdmin::RestartServer()
{
    if (!d->server)
        return false;
    // A restart is a stop and a start. Neither server kind can be started again through a client
    // connection, so stopping it would leave it down until someone starts it on its own machine:
    // leave it running and say why.
    d->lastError = u"The server "_s + d->serverName
                   + u" was not restarted: it cannot be started again from here, so it has not "
                     u"been stopped. Restart its service on its own machine."_s;
    return false;
}

QString SQLAdmin::LastError() const
{
    return d->lastError;
}

QString SQLAdmin::LoginName() const
{
    return d->loginName;
}

void SQLAdmin::setLoginName(const QString &LoginName)
{
    d->loginName = LoginName;
}

QString SQLAdmin::LoginPassword() const
{
    return d->loginPassword;
}

void SQLAdmin::setLoginPassword(const QString &LoginPassword)
{
    d->loginPassword = LoginPassword;
}

bool SQLAdmin::UseIntegratedNTSecurity() const
{
    return d->integrated;
}

void SQLAdmin::setUseIntegratedNTSecurity(bool UseIntegratedNTSecurity)
{
    d->integrated = UseIntegratedNTSecurity;
}

QString SQLAdmin::ServerNetName() const
{
    if (!d->server)
        return {};
    Result<QString> name = d->server->netName();
    return name ? name.value() : QString();
}

QString SQLAdmin::SQlServerVersion() const
{
    if (!d->server)
        return {};
    Result<QString> version = d->server->versionString();
    if (!version)
        return {};
    const QString text = version.value() + u'\n';
    return text.first(text.indexOf(u'\n'));
}

QStringList SQLAdmin::Databases() const
{
    if (!d->server)
        return {};
    Result<QStringList> names = d->server->databaseNames();
    return names ? names.value() : QStringList();
}

bool SQLAdmin::Connected() const
{
    return d->server != nullptr;
}

QString SQLAdmin::ServerName() const
{
    return d->serverName;
}

void SQLAdmin::setServerName(const QString &ServerName)
{
    d->serverName = ServerName;
}

void SQLAdmin::Disconnect()
{
    if (d->server)
        d->server->disconnect();
    d->release();
}

bool SQLAdmin::Connect(bool RequireSysAdmin)
{
    // The management object: here the driver stack of the server type.
    if (!d->server || d->server->kind() != d->kind()) {
        d->release();
        if (!d->probeLibrary(d->kind()).present) {
            d->lastError = d->kind() == ServerKind::PostgreSql
                               ? u"PostgreSQL Management objects are not installed on this "
                                 u"machine."_s
                                     + crlf + crlf
                                     + u"You must first install the PostgreSQL driver of Qt SQL "
                                       u"(libqt6sql6-psql) on this machine."_s
                               : u"SQL Server Management objects are not installed on this "
                                 u"machine."_s
                                     + crlf + crlf
                                     + u"You must first install Microsoft SQL Server on this "
                                       u"machine."_s;
            return false;
        }
        d->server = std::make_unique<ManagementServer>(d->kind(), d->factory);
    }
    d->server->disconnect();
    d->lastError.clear();
    (void)d->server->start(d->serverName);

    const auto errorExit = [this](const QString &description) {
        d->lastError = description;
        d->release();
        return false;
    };
    if (Result<bool> connected = d->server->connect(d->login()); !connected)
        return errorExit(connected.error());

    if (RequireSysAdmin) {
        Result<bool> sysAdmin = d->server->isSysAdmin();
        if (!sysAdmin)
            return errorExit(sysAdmin.error());
        if (sysAdmin.value())
            return true;
        Result<QString> netName = d->server->netName();
        if (!netName)
            return errorExit(netName.error());
        d->lastError = d->loginName
                       + u" does not have system administrator rights on this SQL Server ("_s
                       + netName.value() + u")"_s;
        d->release();
        return false;
    }
    Result<QString> identity = d->server->loginIdentity();
    if (!identity)
        return errorExit(identity.error());
    if (!identity.value().isEmpty())
        return true;
    Result<QString> netName = d->server->netName();
    if (!netName)
        return errorExit(netName.error());
    d->lastError = u"Could not login to ("_s + netName.value() + u") using '"_s + d->loginName
                   + u"'"_s;
    d->release();
    return false;
}

bool SQLAdmin::DatabaseExist(const QString &Name) const
{
    if (!d->server || d->server->status() != ServerStatus::Running)
        return false;
    const QString wanted = Name.toUpper();
    for (const QString &name : Databases()) {
        if (name.toUpper() == wanted)
            return true;
    }
    return false;
}

QString SQLAdmin::DefaultDataPath()
{
    if (!d->server)
        return {};
    if (!GetDatabase(d->server->dialect().adminDatabase()))
        return {};
    Result<QString> file = d->server->dataFilePath();
    if (!file) {
        d->lastError = file.error();
        return {};
    }
    QStringView path = file.value();
    while (path.startsWith(u' '))
        path = path.sliced(1);
    while (path.endsWith(u' '))
        path.chop(1);
    const qsizetype slash = path.lastIndexOf(u'\\');
    return (slash >= 0 ? path.first(slash + 1) : path).toString();
}

QString SQLAdmin::BuildConnectionString(const QString &Server, const QString &Database) const
{
    // A name that would not read back as it stands (a semicolon, a leading quote) is quoted the
    // way the string's readers take it; every other name stays as the family has always written it.
    const QString place = u";Persist Security Info=False;Initial Catalog="_s + quotedValue(Database)
                          + u";Data Source="_s + quotedValue(Server) + connectionTail;
    if (d->databaseUserId.isEmpty() || d->databaseUserPassword.isEmpty()) {
        if (d->integrated)
            return u"Provider=SQLOLEDB.1;Integrated Security=SSPI"_s + place;
        return u"Provider=SQLOLEDB.1;User ID='"_s + d->loginName + u"';Password='"_s
               + d->loginPassword + u"'"_s + place;
    }
    return u"Provider=SQLOLEDB.1;User ID='"_s + d->databaseUserId + u"';Password='"_s
           + d->databaseUserPassword + u"'"_s + place;
}

DatabaseHandle SQLAdmin::DatabaseConnection(const QString &Server, const QString &Database)
{
    for (const QString &name : {Server, Database}) {
        if (Result<bool> safe = checkNameCanBeQuoted(name); !safe) {
            d->lastError = safe.error();
            return {};
        }
    }
    LoginSettings login = loginFromConnectionString(
        ConnectionString::parse(BuildConnectionString(Server, Database)));
    // The string carries the credentials as they stand; one that reads back otherwise would log
    // in as somebody else, or somewhere else.
    const bool databaseUser = !d->databaseUserId.isEmpty() && !d->databaseUserPassword.isEmpty();
    const QString user = databaseUser ? d->databaseUserId : d->loginName;
    const QString password = databaseUser ? d->databaseUserPassword : d->loginPassword;
    if (!login.integrated && (login.login != user || login.password != password)) {
        d->lastError = u"The login name or password holds a quote followed by a semicolon, which "
                       u"a connection string cannot carry."_s;
        return {};
    }
    login.loginTimeout = ManagementServer::loginTimeoutSeconds;
    login.commandTimeout = commandTimeoutSeconds;
    Result<QString> name = openQtConnection(d->kind(), login);
    if (!name) {
        d->lastError = name.error();
        return {};
    }
    return DatabaseHandle(name.value());
}

bool SQLAdmin::VerifyDatabase(const QString &Server, const QString &Database)
{
    const QString keepError = d->lastError;
    DatabaseHandle handle = DatabaseConnection(Server, Database);
    d->lastError = keepError;
    if (!handle)
        return false;
    const QSqlDatabase db = handle.database();
    for (const QString &table : {u"Nodes"_s, u"Interfaces"_s}) {
        QString name = table;
        if (d->kind() == ServerKind::PostgreSql) {
            // Unquoted names fold to lower case there: count the table whose name matches
            // without regard to case, the exact spelling first.
            QSqlQuery find(db);
            find.prepare(u"SELECT c.relname FROM pg_class c WHERE pg_table_is_visible(c.oid) AND "
                         u"c.relkind IN ('r', 'p', 'v', 'm', 'f') AND lower(c.relname) = "
                         u"lower(?::text) ORDER BY c.relname = ?::text DESC LIMIT 1"_s);
            find.addBindValue(table);
            find.addBindValue(table);
            if (!find.exec() || !find.next())
                return false;
            name = Dialect::create(ServerKind::PostgreSql)->quoteName(find.value(0).toString());
        }
        QSqlQuery count(db);
        count.setForwardOnly(true);
        if (!count.exec(u"Select Count(*) from "_s + name))
            return false;
    }
    return true;
}

QString SQLAdmin::UpdateTrace() const
{
    return d->trace;
}

QString SQLAdmin::ServerType() const
{
    return d->serverType;
}

void SQLAdmin::setServerType(const QString &ServerType)
{
    d->serverType = ServerType.compare(PostgreSqlType, Qt::CaseInsensitive) == 0 ? PostgreSqlType
                                                                                 : SqlServerType;
}

SQLDatabase *SQLAdmin::GetDatabase(const QString &Name)
{
    if (!d->server) {
        d->lastError = u"Not connected to a server."_s;
        return nullptr;
    }
    Result<ManagedDatabase *> database = d->server->database(Name);
    d->lastError = database ? QString() : database.error();
    return database ? database.value() : nullptr;
}

SqlAdmin::ManagementServer *SQLAdmin::SQLServer() const
{
    return d->server.get();
}

} // namespace MGImport8
