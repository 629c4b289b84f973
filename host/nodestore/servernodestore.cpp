#include "servernodestore.h"

#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QUrl>
#include <QUrlQuery>
#include <QUuid>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace NodeInventory {

namespace {

const QString NodeColumns = u"ip, name, description, location, contact, extra"_s;
const QString RowSavepoint = u"inventory_row"_s;

QString errorText(const QSqlError &error)
{
    return error.text().trimmed();
}

// PostgreSQL's SQLSTATEs for a lock conflict that the server resolved by failing one side: the
// row is tried again once the other import has moved on.
bool isConflict(const QSqlError &error)
{
    const QString code = error.nativeErrorCode();
    return code == u"40P01"_s || code == u"40001"_s;
}

// A value for ODBC's braced form, which ends only at "}" (doubled inside).
QString braced(const QString &value)
{
    return u'{' + QString(value).replace(u"}"_s, u"}}"_s) + u'}';
}

QString freeTdsDriver()
{
    const QString named = qEnvironmentVariable("MGIMPORT8_FREETDS_DRIVER");
    return named.isEmpty() ? u"FreeTDS"_s : named;
}

} // namespace

ServerNodeStore::ServerNodeStore()
    : m_connection(u"servernodestore-"_s + QUuid::createUuid().toString(QUuid::WithoutBraces))
{}

ServerNodeStore::~ServerNodeStore()
{
    {
        QSqlDatabase db = QSqlDatabase::database(m_connection, false);
        if (db.isOpen())
            db.close();
    }
    QSqlDatabase::removeDatabase(m_connection);
}

ServerNodeStore::Kind ServerNodeStore::kindOf(const QString &location)
{
    if (location.startsWith(u"postgresql://"_s, Qt::CaseInsensitive)
        || location.startsWith(u"postgres://"_s, Qt::CaseInsensitive))
        return Kind::PostgreSQL;
    if (location.startsWith(u"sqlserver:"_s, Qt::CaseInsensitive))
        return Kind::SQLServer;
    return Kind::None;
}

ServerNodeStore::Location ServerNodeStore::parseLocation(const QString &location)
{
    Location parsed;
    parsed.kind = kindOf(location);
    if (parsed.kind == Kind::None) {
        parsed.error = u"%1 names no server"_s.arg(location);
        return parsed;
    }
    const QString rawPrefix = u"sqlserver:"_s;
    if (parsed.kind == Kind::SQLServer && !location.mid(rawPrefix.size()).startsWith(u"//"_s)) {
        // A connection string of the caller's own: handed over as it stands, never displayed.
        parsed.odbc = location.mid(rawPrefix.size());
        parsed.display = u"sqlserver:(connection string)"_s;
        return parsed;
    }
    const QUrl url(location, QUrl::StrictMode);
    // The database is decoded only after the check, so that an encoded "/" stays in the name.
    const QString path = url.path(QUrl::FullyEncoded).mid(1);
    parsed.database = QUrl::fromPercentEncoding(path.toUtf8());
    parsed.display = url.toDisplayString(QUrl::RemovePassword);
    if (!url.isValid()) {
        parsed.error = u"%1 is not a server inventory location: %2"_s
                           .arg(parsed.display.isEmpty() ? location.section(u'@', -1)
                                                         : parsed.display,
                                url.errorString());
        return parsed;
    }
    if (path.isEmpty() || path.contains(u'/')) {
        parsed.error = u"%1 is not a server inventory location: it needs a database, as in "
                       "postgresql://user@host/monitoring"_s.arg(parsed.display);
        return parsed;
    }
    const QUrlQuery query(url);
    // Values are decoded here rather than by QUrl, which turns the Unicode noncharacters that a
    // password may hold into U+FFFD.
    const auto decoded = [](const QString &encoded) {
        return QString::fromUtf8(QByteArray::fromPercentEncoding(encoded.toLatin1()));
    };
    const auto item = [&](const QString &key) {
        return decoded(query.queryItemValue(key, QUrl::FullyEncoded));
    };
    parsed.host = url.host();
    parsed.port = std::max(url.port(), 0);
    parsed.user = decoded(url.userName(QUrl::FullyEncoded));
    parsed.password = decoded(url.password(QUrl::FullyEncoded));
    if (parsed.kind == Kind::PostgreSQL) {
        // A socket folder comes as ?host=, since a path cannot stand in the authority; its port
        // and credentials then come as ?port=, ?user= and ?password=, as libpq's URIs write them.
        const QString socket = item(u"host"_s);
        if (!socket.isEmpty())
            parsed.host = socket;
        if (parsed.port == 0)
            parsed.port = std::max(query.queryItemValue(u"port"_s).toInt(), 0);
        if (query.hasQueryItem(u"user"_s)) {
            parsed.user = item(u"user"_s);
            parsed.password = item(u"password"_s);
        }
        return parsed;
    }
    QString server = parsed.host;
    const QString instance = item(u"instance"_s);
    if (!instance.isEmpty())
        server += u'\\' + instance;
    parsed.odbc = u"DRIVER=%1;SERVER=%2;DATABASE=%3;TDS_Version=7.4"_s.arg(braced(freeTdsDriver()),
                                                                           braced(server),
                                                                           braced(parsed.database));
    if (parsed.port > 0)
        parsed.odbc += u";PORT=%1"_s.arg(parsed.port);
    if (parsed.user.isEmpty())
        parsed.odbc += u";Trusted_Connection=Yes"_s;
    else
        parsed.odbc += u";UID=%1;PWD=%2"_s.arg(braced(parsed.user), braced(parsed.password));
    return parsed;
}

QString ServerNodeStore::locationFor(const QString &serverType, const QString &server,
                                     const QString &database, const QString &user,
                                     const QString &password)
{
    const auto encoded = [](const QString &text) {
        return QString::fromLatin1(QUrl::toPercentEncoding(text));
    };
    const QString credentials = user.isEmpty() ? QString()
                                               : encoded(user) + u':' + encoded(password) + u'@';
    if (serverType.compare(u"PostgreSQL"_s, Qt::CaseInsensitive) == 0) {
        QString host = server;
        QString port;
        const qsizetype colon = server.lastIndexOf(u':');
        if (colon > 0 && !server.endsWith(u']')) {
            host = server.left(colon);
            port = server.mid(colon + 1);
        }
        if (host.startsWith(u'/')) {
            // A socket folder travels as ?host=, since a path cannot stand in the authority.
            QString query = u"host="_s + encoded(host);
            if (!port.isEmpty())
                query += u"&port="_s + encoded(port);
            if (!user.isEmpty())
                query += u"&user="_s + encoded(user) + u"&password="_s + encoded(password);
            return u"postgresql:///"_s + encoded(database) + u'?' + query;
        }
        return u"postgresql://"_s + credentials + host + (port.isEmpty() ? QString() : u':' + port)
               + u'/' + encoded(database);
    }
    QString host = server;
    QString suffix;
    if (const qsizetype comma = server.indexOf(u','); comma > 0) {
        host = server.left(comma) + u':' + server.mid(comma + 1).trimmed();
    } else if (const qsizetype slash = server.indexOf(u'\\'); slash > 0) {
        host = server.left(slash);
        suffix = u"?instance="_s + encoded(server.mid(slash + 1));
    }
    if (host == u"(local)"_s || host == u"."_s)
        host = u"localhost"_s;
    return u"sqlserver://"_s + credentials + host + u'/' + encoded(database) + suffix;
}

bool ServerNodeStore::connectTo(const QString &location)
{
    const Location parsed = parseLocation(location);
    m_kind = parsed.kind;
    m_display = parsed.display;
    if (!parsed.error.isEmpty()) {
        m_lastError = parsed.error;
        return false;
    }
    const QString driver = m_kind == Kind::PostgreSQL ? u"QPSQL"_s : u"QODBC"_s;
    if (!QSqlDatabase::isDriverAvailable(driver)) {
        m_lastError
            = m_kind == Kind::PostgreSQL
                  ? u"The PostgreSQL driver for Qt is not installed (package libqt6sql6-psql)."_s
                  : u"The ODBC driver for Qt is not installed (package libqt6sql6-odbc)."_s;
        return false;
    }
    QSqlDatabase db = QSqlDatabase::addDatabase(driver, m_connection);
    if (m_kind == Kind::SQLServer) {
        db.setDatabaseName(parsed.odbc);
        db.setConnectOptions(u"SQL_ATTR_LOGIN_TIMEOUT=%1"_s.arg(LoginTimeoutSeconds));
        return true;
    }
    db.setHostName(parsed.host);
    if (parsed.port > 0)
        db.setPort(parsed.port);
    db.setDatabaseName(parsed.database);
    db.setUserName(parsed.user);
    db.setPassword(parsed.password);
    db.setConnectOptions(u"connect_timeout=%1"_s.arg(LoginTimeoutSeconds));
    return true;
}

bool ServerNodeStore::open(const QString &location)
{
    m_failed = false;
    if (kindOf(location) == Kind::None) {
        m_lastError = u"%1 names no server"_s.arg(location);
        return false;
    }
    if (!connectTo(location))
        return false;
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    if (!db.open()) {
        m_lastError = u"Cannot connect to %1: %2"_s.arg(m_display, errorText(db.lastError()));
        return false;
    }
    QSqlQuery check(db);
    if (!check.exec(u"SELECT %1 FROM nodes WHERE 1 = 0"_s.arg(NodeColumns))) {
        m_lastError = u"%1 is not a monitoring database: it has no Nodes table with the "
                      "inventory's columns. Create it from the shipped structure file first. (%2)"_s
                          .arg(m_display, errorText(check.lastError()));
        db.close();
        return false;
    }
    return true;
}

bool ServerNodeStore::isOpen() const
{
    return QSqlDatabase::database(m_connection, false).isOpen();
}

QString ServerNodeStore::lastError() const
{
    return m_lastError;
}

void ServerNodeStore::lose(const QString &reason)
{
    m_failed = true;
    m_lastError = u"The connection to the inventory on %1 was lost: %2. Nothing of this "
                  "import was kept."_s.arg(m_display, reason);
}

bool ServerNodeStore::exec(const QString &statement)
{
    QSqlQuery query(QSqlDatabase::database(m_connection, false));
    if (query.exec(statement))
        return true;
    m_lastError = errorText(query.lastError());
    return false;
}

bool ServerNodeStore::begin()
{
    m_failed = false;
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    if (!db.transaction()) {
        m_lastError = errorText(db.lastError());
        return false;
    }
    m_inTransaction = true;
    // Imports into one inventory take turns. Two long transactions upserting overlapping
    // addresses in different orders would each hold a row the other waits for, and a row retried
    // behind its savepoint still waits on the rows taken before it; so each import holds the
    // inventory's lock until it commits or rolls back, and the next one waits for it.
    const QString lock = m_kind == Kind::PostgreSQL
                             ? u"SELECT pg_advisory_xact_lock(%1)"_s.arg(ImportLockKey)
                             : u"DECLARE @granted int; EXEC @granted = sp_getapplock @Resource = "
                               "N'MGImport8.inventory', @LockMode = 'Exclusive', @LockOwner = "
                               "'Transaction', @LockTimeout = -1; IF @granted < 0 RAISERROR("
                               "'The inventory lock was not granted.', 16, 1)"_s;
    if (!exec(lock)) {
        const QString reason = m_lastError;
        rollback();
        m_lastError = u"Cannot start an import on %1: %2"_s.arg(m_display, reason);
        return false;
    }
    return true;
}

bool ServerNodeStore::commit()
{
    if (m_failed) {
        rollback();
        return false;
    }
    if (!m_inTransaction)
        return true; // an import that handed over no row
    m_inTransaction = false;
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    if (!db.commit()) {
        lose(errorText(db.lastError()));
        return false;
    }
    return true;
}

void ServerNodeStore::rollback()
{
    if (!m_inTransaction)
        return;
    m_inTransaction = false;
    QSqlDatabase::database(m_connection, false).rollback();
}

ServerNodeStore::Applied ServerNodeStore::apply(const MGImport8::ImportRow &row,
                                                const QString &ipColumn, bool overwrite)
{
    const NodeFields fields = nodeFieldsOf(row, ipColumn);
    if (!fields.valid)
        return {Outcome::Skipped, u"Skipped: no valid IP address"_s};
    if (m_failed)
        return {Outcome::Failed, m_lastError};
    // Like the SQLite store, the transaction (and the inventory's import lock) starts with the
    // first row, so a user still choosing a file holds up nobody.
    if (!m_inTransaction && !begin())
        return {Outcome::Failed, m_lastError};
    const Node &node = fields.node;
    const bool postgres = m_kind == Kind::PostgreSQL;
    const QString savepoint = postgres ? u"SAVEPOINT "_s + RowSavepoint
                                       : u"SAVE TRANSACTION "_s + RowSavepoint;
    const QString undo = postgres ? u"ROLLBACK TO SAVEPOINT "_s + RowSavepoint
                                  : u"ROLLBACK TRANSACTION "_s + RowSavepoint;

    // One statement decides and writes, so a row another import adds meanwhile is found by the
    // server, not missed by a look-up made before it.
    QString statement;
    if (postgres) {
        statement = u"INSERT INTO nodes (%1) VALUES (?, ?, ?, ?, ?, ?) ON CONFLICT (ip) "_s.arg(
            NodeColumns);
        statement += overwrite ? u"DO UPDATE SET name = EXCLUDED.name, description = "
                                 "EXCLUDED.description, location = EXCLUDED.location, contact = "
                                 "EXCLUDED.contact, extra = EXCLUDED.extra RETURNING (xmax = 0)"_s
                               : u"DO NOTHING RETURNING true"_s;
    } else {
        statement = u"SET NOCOUNT ON; DECLARE @ip varchar(45) = ?, @name varchar(255) = ?, "
                    "@description varchar(255) = ?, @location varchar(255) = ?, @contact "
                    "varchar(255) = ?, @extra varchar(max) = ?; IF EXISTS (SELECT 1 FROM Nodes "
                    "WITH (UPDLOCK, HOLDLOCK) WHERE IP = @ip) BEGIN "_s;
        if (overwrite)
            statement += u"UPDATE Nodes SET Name = @name, Description = @description, Location = "
                         "@location, Contact = @contact, Extra = @extra WHERE IP = @ip; "_s;
        statement += u"SELECT 0 END ELSE BEGIN INSERT INTO Nodes (IP, Name, Description, "
                     "Location, Contact, Extra) VALUES (@ip, @name, @description, @location, "
                     "@contact, @extra); SELECT 1 END"_s;
    }

    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    for (int attempt = 0;; ++attempt) {
        if (!exec(savepoint)) {
            lose(m_lastError);
            return {Outcome::Failed, m_lastError};
        }
        QSqlQuery write(db);
        write.prepare(statement);
        if (postgres) {
            for (const QString &value :
                 {node.ip, node.name, node.description, node.location, node.contact, node.extra})
                write.addBindValue(value.isEmpty() ? QVariant(QMetaType(QMetaType::QString))
                                                   : QVariant(value));
        } else {
            write.addBindValue(node.ip);
            for (const QString &value :
                 {node.name, node.description, node.location, node.contact, node.extra})
                write.addBindValue(value.isEmpty() ? QVariant(QMetaType(QMetaType::QString))
                                                   : QVariant(value));
        }
        if (write.exec()) {
            const bool returned = write.next();
            const bool inserted = returned && write.value(0).toBool();
            write.finish();
            if (postgres)
                exec(u"RELEASE SAVEPOINT "_s + RowSavepoint);
            if (!returned || (!inserted && !overwrite))
                return {Outcome::Skipped, u"Skipped: %1 is already in the inventory"_s.arg(node.ip)};
            return inserted ? Applied{Outcome::Added, u"Added %1"_s.arg(node.ip)}
                            : Applied{Outcome::Updated, u"Updated %1"_s.arg(node.ip)};
        }
        const QSqlError error = write.lastError();
        write.finish();
        if (!exec(undo)) {
            // The savepoint is gone with the session: the server, not this row, failed.
            lose(errorText(error));
            return {Outcome::Failed, m_lastError};
        }
        if (postgres && isConflict(error) && attempt < ConflictRetries)
            continue;
        m_lastError = errorText(error);
        return {Outcome::Skipped, u"Skipped: "_s + m_lastError};
    }
}

QList<Node> ServerNodeStore::nodes() const
{
    return readNodes(m_connection);
}

int ServerNodeStore::count() const
{
    return countNodes(m_connection);
}

bool ServerNodeStore::grantInventoryRights(const QString &account)
{
    if (m_kind != Kind::PostgreSQL)
        return true;
    const QString role = u'"' + QString(account).replace(u"\""_s, u"\"\""_s) + u'"';
    return exec(u"GRANT SELECT, INSERT, UPDATE ON nodes, interfaces TO %1"_s.arg(role))
           && exec(u"GRANT SELECT ON nodetypes, serviceports TO %1"_s.arg(role));
}

QString ServerNodeStore::sessionId() const
{
    QSqlQuery query(QSqlDatabase::database(m_connection, false));
    if (!query.exec(m_kind == Kind::PostgreSQL ? u"SELECT pg_backend_pid()"_s : u"SELECT @@SPID"_s)
        || !query.next())
        return {};
    return query.value(0).toString();
}

} // namespace NodeInventory
