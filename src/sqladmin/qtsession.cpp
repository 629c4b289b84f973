#include "sqladmin/qtsession.h"

#include "sqladmin/connectiontranslator.h"
#include "sqladmin/secrets.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>

#include <atomic>

using namespace Qt::StringLiterals;

namespace MGImport8::SqlAdmin {

namespace {

std::atomic<int> connectionCounter{0};

QString errorText(const QSqlError &error, const QStringList &secrets)
{
    QString text = error.text().trimmed();
    if (text.isEmpty())
        text = u"The database reported an error without a description."_s;
    return scrubSecrets(text, secrets);
}

} // namespace

Result<QString> openQtConnection(ServerKind kind, const LoginSettings &login)
{
    const QString driver = qtDriverName(kind);
    if (!QSqlDatabase::isDriverAvailable(driver))
        return Error{u"The Qt SQL driver "_s + driver + u" is not installed."_s};
    const QString name = u"mgimport8.sqladmin."_s + QString::number(++connectionCounter);
    QSqlDatabase db = QSqlDatabase::addDatabase(driver, name);
    if (kind == ServerKind::SqlServer) {
        db.setDatabaseName(freeTdsConnectionString(login));
        if (login.loginTimeout > 0)
            db.setConnectOptions(u"SQL_ATTR_LOGIN_TIMEOUT="_s + QString::number(login.loginTimeout)
                                 + u";SQL_ATTR_CONNECTION_TIMEOUT="_s
                                 + QString::number(login.loginTimeout));
    } else {
        const ServerAddress address = parseServerName(kind, login.server);
        db.setHostName(address.host);
        if (address.port > 0)
            db.setPort(address.port);
        db.setDatabaseName(login.database);
        if (!login.integrated) {
            db.setUserName(login.login);
            db.setPassword(login.password);
        }
        db.setConnectOptions(postgresConnectOptions(login));
    }
    if (!db.open()) {
        const QString message = errorText(db.lastError(), {login.password});
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase(name);
        return Error{message};
    }
    return name;
}

void closeQtConnection(const QString &connectionName)
{
    if (connectionName.isEmpty())
        return;
    {
        QSqlDatabase db = QSqlDatabase::database(connectionName, false);
        db.close();
    }
    QSqlDatabase::removeDatabase(connectionName);
}

QtSqlSession::QtSqlSession(QString connectionName, QStringList secrets)
    : m_name(std::move(connectionName))
    , m_secrets(std::move(secrets))
{}

QtSqlSession::~QtSqlSession()
{
    closeQtConnection(m_name);
}

Result<Rows> QtSqlSession::query(const QString &statement, const QVariantList &values)
{
    QSqlQuery query(QSqlDatabase::database(m_name, false));
    query.setForwardOnly(true);
    bool ok = false;
    if (values.isEmpty()) {
        ok = query.exec(statement);
    } else if (query.prepare(statement)) {
        for (const QVariant &value : values)
            query.addBindValue(value);
        ok = query.exec();
    }
    if (!ok)
        return Error{errorText(query.lastError(), m_secrets)};
    Rows rows;
    const int columns = query.record().count();
    while (query.next()) {
        Row row;
        row.reserve(columns);
        for (int column = 0; column < columns; ++column)
            row.append(query.value(column));
        rows.append(std::move(row));
    }
    if (query.lastError().isValid())
        return Error{errorText(query.lastError(), m_secrets)};
    return rows;
}

Result<bool> QtSqlSession::execute(const QString &batch)
{
    QSqlQuery query(QSqlDatabase::database(m_name, false));
    if (!query.exec(batch))
        return Error{errorText(query.lastError(), m_secrets)};
    return true;
}

Result<bool> QtSqlSession::begin()
{
    QSqlDatabase db = QSqlDatabase::database(m_name, false);
    if (!db.transaction())
        return Error{errorText(db.lastError(), m_secrets)};
    return true;
}

Result<bool> QtSqlSession::commit()
{
    QSqlDatabase db = QSqlDatabase::database(m_name, false);
    if (!db.commit())
        return Error{errorText(db.lastError(), m_secrets)};
    return true;
}

Result<bool> QtSqlSession::rollback()
{
    QSqlDatabase db = QSqlDatabase::database(m_name, false);
    if (!db.rollback())
        return Error{errorText(db.lastError(), m_secrets)};
    return true;
}

SessionFactory qtSessionFactory()
{
    return [](ServerKind kind, const LoginSettings &login) -> Result<std::unique_ptr<SqlSession>> {
        Result<QString> name = openQtConnection(kind, login);
        if (!name)
            return Error{name.error()};
        return std::unique_ptr<SqlSession>(
            std::make_unique<QtSqlSession>(name.take(), QStringList{login.password}));
    };
}

} // namespace MGImport8::SqlAdmin
