#include "wizard/sources/serversourcereader.h"

#include "common/connectionstring.h"
#include "common/texthelpers.h"
#include "methods/sourcekind.h"
#include "sqladmin/connectiontranslator.h"
#include "sqladmin/discovery/serverchoice.h"
#include "sqladmin/discovery/serverdiscovery.h"
#include "sqladmin/managementserver.h"
#include "sqladmin/nameguard.h"
#include "sqladmin/qtsession.h"
#include "wizard/importgrid.h"
#include "wizard/table/texttable.h"
#include "wizard/wizardview.h"

#include <MGImport8/importtype.h>
#include <MGImport8/sqladmin.h>

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

const QString selectPrefix = u"SELECT "_s;
const QString lineBreak = u"\r\n"_s;
/// How long a statement may run, as for every database connection of the family.
constexpr int CommandTimeoutSeconds = 20;
/// How many records are read between two yields to the user interface.
constexpr qsizetype RecordsPerYield = 100;
const QString sqlServerTables = u"SELECT TABLE_NAME FROM INFORMATION_SCHEMA.TABLES "
                                "WHERE TABLE_TYPE = 'BASE TABLE' ORDER BY TABLE_NAME"_s;
// Tables of the schemas on the search path, which an unqualified name reaches.
const QString postgresTables = u"SELECT table_name FROM information_schema.tables "
                               "WHERE table_type = 'BASE TABLE' "
                               "AND table_schema = ANY (current_schemas(false)) "
                               "ORDER BY table_name"_s;

QString errorText(const QSqlError &error)
{
    const QString text = error.text().trimmed();
    return text.isEmpty() ? u"The database reported an error without a description."_s : text;
}

} // namespace

ServerSourceReader::ServerSourceReader(WizardView &view)
    : m_view(view)
{}

bool ServerSourceReader::isPostgres(const SourceChoice &source)
{
    return source.kind == SourceKind::PostgreSql;
}

void ServerSourceReader::configure(SQLAdmin &admin, const SourceChoice &source,
                                   const ServerLogin &login) const
{
    admin.setServerType(isPostgres(source) ? SQLAdmin::PostgreSqlType : SQLAdmin::SqlServerType);
    admin.setServerName(login.serverName);
    admin.setUseIntegratedNTSecurity(login.integratedSecurity);
    if (!login.integratedSecurity) {
        admin.setLoginName(login.loginName);
        admin.setLoginPassword(login.password);
    }
}

bool ServerSourceReader::discoverServers(const SourceChoice &source, QStringList &servers,
                                         const std::function<void(const QString &)> &status)
{
    // SQL Server Browsers answer for SQL Servers only; a PostgreSQL method offers the
    // registered servers.
    ServerDiscovery discovery = isPostgres(source)
                                    ? ServerDiscovery(QList<ServerDiscovery::Target>())
                                    : ServerDiscovery();
    // The status and the emptied list come once the requests are out: a discovery that cannot
    // even start says so and leaves the list as it was.
    const ServerChoice choice = ServerChoice::collect(
        discovery, [this] { m_view.yield(); },
        [&] {
            servers.clear();
            status(u"Discovering SQL Servers on network ..."_s);
        });
    if (!choice.discoveryError.isEmpty()) {
        status(u"Unable to load create SQL DMO Objects, please contact Marrowgate Support"_s);
        return false;
    }
    servers = choice.servers;
    if (!choice.registeredError.isEmpty())
        m_view.showMessage(choice.registeredError, MessageIcon::Exclamation, {});
    return true;
}

bool ServerSourceReader::listDatabases(const SourceChoice &source, const ServerLogin &login,
                                       QStringList &databases, QString &error)
{
    databases.clear();
    SQLAdmin admin;
    configure(admin, source, login);
    if (!admin.Connect(false)) {
        error = admin.LastError();
        return false;
    }
    databases = admin.Databases();
    admin.Disconnect();
    return true;
}

std::optional<QString> ServerSourceReader::serverConnectionString(const SourceChoice &source,
                                                                  const ServerLogin &login,
                                                                  const QString &databaseName)
{
    if (databaseName.isEmpty() || login.serverName.isEmpty())
        return QString();
    const std::pair<QString, QString> names[] = {{u"server name"_s, login.serverName},
                                                 {u"database name"_s, databaseName}};
    for (const auto &[what, name] : names) {
        if (const Result<bool> carried = SqlAdmin::checkNameCanBeQuoted(name, what); !carried) {
            m_view.showMessage(carried.error(), MessageIcon::Exclamation, {});
            return std::nullopt;
        }
    }
    SQLAdmin admin;
    configure(admin, source, login);
    m_builtConnection = admin.BuildConnectionString(login.serverName, databaseName);
    m_builtLogin = login;
    m_builtDatabase = databaseName;
    return m_builtConnection;
}

// The method's connection string names the server, the database and the login. The connection
// is opened from the login itself rather than from the string again, whose format cannot carry
// every password.
bool ServerSourceReader::openMethodDatabase(const SourceChoice &source, DatabaseHandle &handle,
                                            QString &error, QString &server,
                                            QString &database) const
{
    SqlAdmin::LoginSettings login = SqlAdmin::loginFromConnectionString(
        ConnectionString::parse(source.connectionString));
    if (!m_builtConnection.isEmpty() && source.connectionString == m_builtConnection) {
        login.server = m_builtLogin.serverName;
        login.database = m_builtDatabase;
        login.integrated = m_builtLogin.integratedSecurity;
        login.login = m_builtLogin.loginName;
        login.password = m_builtLogin.password;
    }
    server = login.server;
    database = login.database;
    login.loginTimeout = SqlAdmin::ManagementServer::loginTimeoutSeconds;
    login.commandTimeout = CommandTimeoutSeconds;
    const Result<QString> name = SqlAdmin::openQtConnection(isPostgres(source)
                                                                ? SqlAdmin::ServerKind::PostgreSql
                                                                : SqlAdmin::ServerKind::SqlServer,
                                                            login);
    if (!name) {
        error = name.error();
        return false;
    }
    handle = DatabaseHandle(name.value());
    return true;
}

bool ServerSourceReader::listTables(const SourceChoice &source, QStringList &tables)
{
    tables.clear();
    DatabaseHandle handle;
    QString error, server, database;
    if (!openMethodDatabase(source, handle, error, server, database)) {
        m_view.showMessage(u"Cannot open '"_s + database + u"'"_s + u"' on '"_s + server + lineBreak
                               + error,
                           MessageIcon::Exclamation, {});
        return false;
    }
    QSqlQuery query(handle.database());
    query.setForwardOnly(true);
    if (!query.exec(isPostgres(source) ? postgresTables : sqlServerTables)) {
        m_view.showMessage(u"Cannot access database schema of '"_s + database + u"'"_s + lineBreak
                               + errorText(query.lastError()),
                           MessageIcon::Exclamation, {});
        return false;
    }
    while (query.next())
        tables.append(query.value(0).toString());
    return true;
}

std::optional<QString> ServerSourceReader::tableStatement(const SourceChoice &source,
                                                          const QString &table)
{
    const QString text = table.trimmed();
    if (text.first(std::min<qsizetype>(text.size(), selectPrefix.size()))
            .compare(selectPrefix, Qt::CaseInsensitive)
        == 0)
        return text;
    if (!SqlAdmin::checkNameCanBeQuoted(text))
        return std::nullopt;
    if (isPostgres(source))
        return u"Select * From "_s + SqlAdmin::quotedIdentifier(text) + u" LIMIT "_s
               + QString::number(MaxTableRecords);
    return u"Select TOP "_s + QString::number(MaxTableRecords) + u" * From "_s
           + SqlAdmin::bracketedIdentifier(text);
}

bool ServerSourceReader::readTable(const SourceChoice &choice, const QString &table,
                                   ImportGrid &grid)
{
    grid.clear();
    const QString source = FileNameFromPath(choice.filename, false);
    const std::optional<QString> statement = tableStatement(choice, table);
    if (!statement) {
        m_view.showMessage(SqlAdmin::checkNameCanBeQuoted(table.trimmed(), u"table name"_s).error(),
                           MessageIcon::Exclamation, {});
        return false;
    }
    DatabaseHandle handle;
    QString error, server, database;
    if (!openMethodDatabase(choice, handle, error, server, database)) {
        m_view.showMessage(u"Cannot open '"_s + source + u"'"_s + lineBreak + error,
                           MessageIcon::None, {});
        return false;
    }
    QSqlQuery query(handle.database());
    query.setForwardOnly(true);
    if (!query.exec(*statement)) {
        m_view.showMessage(u"Cannot open '"_s + table + u"' table within '"_s + source + u"'"_s
                               + lineBreak + errorText(query.lastError()),
                           MessageIcon::None, {});
        return false;
    }

    TextTable::Builder builder;
    const QSqlRecord fields = query.record();
    builder.addRow();
    for (int field = 0; field < fields.count(); ++field)
        builder.addCell(fields.fieldName(field));
    qsizetype records = 0;
    while (query.next()) {
        builder.addRow();
        for (int field = 0; field < fields.count(); ++field) {
            // Nulls show as empty cells.
            builder.addCell(query.isNull(field) ? QString() : query.value(field).toString());
        }
        ++records;
        // Between rows, so that a user interface stays alive on a slow server.
        if (records % RecordsPerYield == 0)
            m_view.yield();
    }
    // A server that went away mid-read leaves an error behind the last record it sent.
    if (query.lastError().isValid()) {
        m_view.showMessage(u"Cannot open '"_s + table + u"' table within '"_s + source + u"'"_s
                               + lineBreak + errorText(query.lastError()),
                           MessageIcon::None, {});
        return false;
    }
    std::shared_ptr<const TextTable> read = builder.finish();
    if (read->maxColumns() > ImportGrid::MaxColumns) {
        m_view.showMessage(u"Cannot open '"_s + table + u"' table within '"_s + source + u"'"_s
                               + lineBreak + u"The table has "_s
                               + QString::number(read->maxColumns())
                               + u" columns; the import grid holds at most "_s
                               + QString::number(ImportGrid::MaxColumns) + u"."_s,
                           MessageIcon::None, {});
        return false;
    }
    grid.setTable(std::move(read));
    grid.setRowTag(0, u"FieldHeader"_s);
    if (grid.rowCount() < 2) {
        m_view.showMessage(u"There are no records in the '"_s + table + u"' table within '"_s
                               + source + u"'"_s,
                           MessageIcon::Exclamation, {});
    }
    return true;
}

} // namespace MGImport8
