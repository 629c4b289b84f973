#include "nodestore.h"

#include "nodestore/addresstext.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace NodeInventory {

namespace {

const QString IgnoreColumn = u"<ignore>"_s;
const QStringList KnownColumns = {u"Name"_s, u"Description"_s, u"Location"_s, u"Contact"_s};

QString errorText(const QSqlError &error)
{
    return error.text().trimmed();
}

} // namespace

NodeStore::NodeStore()
    : m_connection(u"nodestore-"_s + QUuid::createUuid().toString(QUuid::WithoutBraces))
{}

NodeStore::~NodeStore()
{
    {
        QSqlDatabase db = QSqlDatabase::database(m_connection, false);
        if (db.isOpen())
            db.close();
    }
    QSqlDatabase::removeDatabase(m_connection);
}

QString NodeStore::defaultPath()
{
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return data + u"/MGImport8/NodeInventory/nodes.sqlite"_s;
}

bool NodeStore::open(const QString &path)
{
    if (!QSqlDatabase::isDriverAvailable(u"QSQLITE"_s)) {
        m_lastError = u"The SQLite driver for Qt is not installed (package libqt6sql6-sqlite)."_s;
        return false;
    }
    const QFileInfo info(path);
    if (!QDir().mkpath(info.absolutePath())) {
        m_lastError = u"Cannot create the folder %1."_s.arg(info.absolutePath());
        return false;
    }
    QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, m_connection);
    db.setDatabaseName(path);
    if (!db.open()) {
        m_lastError = errorText(db.lastError());
        return false;
    }
    QSqlQuery query(db);
    if (!query.exec(u"CREATE TABLE IF NOT EXISTS nodes (ip TEXT PRIMARY KEY NOT NULL, name TEXT, "
                    "description TEXT, location TEXT, contact TEXT, extra TEXT)"_s)) {
        m_lastError = u"%1 is not a node store: %2"_s.arg(path, errorText(query.lastError()));
        db.close();
        return false;
    }
    return true;
}

bool NodeStore::isOpen() const
{
    return QSqlDatabase::database(m_connection, false).isOpen();
}

QString NodeStore::lastError() const
{
    return m_lastError;
}

bool NodeStore::begin()
{
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    if (!db.transaction()) {
        m_lastError = errorText(db.lastError());
        return false;
    }
    return true;
}

bool NodeStore::commit()
{
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    if (!db.commit()) {
        m_lastError = errorText(db.lastError());
        return false;
    }
    return true;
}

void NodeStore::rollback()
{
    QSqlDatabase::database(m_connection, false).rollback();
}

NodeStore::Applied NodeStore::apply(const MGImport8::ImportRow &row, const QString &ipColumn,
                                    bool overwrite)
{
    const MGImport8::ImportColumn *ipCell = row.Item(ipColumn);
    const QString ip = ipCell ? canonicalIPAddress(ipCell->Data().toString().trimmed()) : QString();
    if (ip.isEmpty())
        return {Outcome::Skipped, u"Skipped: no valid IP address"_s};

    QString known[4];
    QJsonObject extra;
    for (const MGImport8::ImportColumn *column : row) {
        if (column->Column().compare(IgnoreColumn, Qt::CaseInsensitive) == 0
            || column->Column().compare(ipColumn, Qt::CaseInsensitive) == 0)
            continue;
        bool matched = false;
        for (qsizetype i = 0; i < KnownColumns.size(); ++i) {
            if (KnownColumns[i].compare(column->Column(), Qt::CaseInsensitive) == 0) {
                known[i] = column->Data().toString();
                matched = true;
            }
        }
        if (!matched)
            extra[column->Column()] = column->Data().toString();
    }

    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    QSqlQuery exists(db);
    exists.prepare(u"SELECT 1 FROM nodes WHERE ip = ?"_s);
    exists.addBindValue(ip);
    if (!exists.exec()) {
        m_lastError = errorText(exists.lastError());
        return {Outcome::Skipped, u"Skipped: "_s + m_lastError};
    }
    const bool present = exists.next();
    if (present && !overwrite)
        return {Outcome::Skipped, u"Skipped: %1 is already in the inventory"_s.arg(ip)};

    QSqlQuery write(db);
    write.prepare(present
                      ? u"UPDATE nodes SET name = ?, description = ?, location = ?, contact = ?, "
                        "extra = ? WHERE ip = ?"_s
                      : u"INSERT INTO nodes (name, description, location, contact, extra, ip) "
                        "VALUES (?, ?, ?, ?, ?, ?)"_s);
    for (const QString &value : known)
        write.addBindValue(value);
    write.addBindValue(
        extra.isEmpty() ? QString()
                        : QString::fromUtf8(QJsonDocument(extra).toJson(QJsonDocument::Compact)));
    write.addBindValue(ip);
    if (!write.exec()) {
        m_lastError = errorText(write.lastError());
        return {Outcome::Skipped, u"Skipped: "_s + m_lastError};
    }
    return present ? Applied{Outcome::Updated, u"Updated %1"_s.arg(ip)}
                   : Applied{Outcome::Added, u"Added %1"_s.arg(ip)};
}

QList<Node> NodeStore::nodes() const
{
    QList<Node> result;
    QSqlQuery query(QSqlDatabase::database(m_connection, false));
    // Sorted by address as a person reads it, not as text.
    if (!query.exec(u"SELECT ip, name, description, location, contact, extra FROM nodes"_s))
        return result;
    while (query.next()) {
        result.append({query.value(0).toString(), query.value(1).toString(),
                       query.value(2).toString(), query.value(3).toString(),
                       query.value(4).toString(), query.value(5).toString()});
    }
    auto key = [](const QString &ip) {
        quint32 value = 0;
        for (QStringView part : QStringView(ip).split(u'.'))
            value = value << 8 | part.toUInt();
        return value;
    };
    std::sort(result.begin(), result.end(),
              [&](const Node &a, const Node &b) { return key(a.ip) < key(b.ip); });
    return result;
}

int NodeStore::count() const
{
    QSqlQuery query(QSqlDatabase::database(m_connection, false));
    if (!query.exec(u"SELECT COUNT(*) FROM nodes"_s) || !query.next())
        return 0;
    return query.value(0).toInt();
}

} // namespace NodeInventory
