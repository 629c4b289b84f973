#include "nodestore.h"

#include "stagedimport.h"

#include <MGImport8/ipaddress.h>

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QUuid>
#include <QVarLengthArray>

#include <sqlite3.h>

#include <cstring>

using namespace Qt::StringLiterals;

namespace NodeInventory {

namespace {

const QString IgnoreColumn = u"<ignore>"_s;
const QStringList KnownColumns = {u"Name"_s, u"Description"_s, u"Location"_s, u"Contact"_s};
// The nodes table as this version lays it out: ip first, the primary key.
const QStringList LayoutColumns = {u"ip"_s,       u"name"_s,    u"description"_s,
                                   u"location"_s, u"contact"_s, u"extra"_s};
constexpr int SqliteBusy = 5;
constexpr int ImportCacheKiB = 64 * 1024;
constexpr int DefaultCacheKiB = 2000;
constexpr int SqliteLocked = 6;
// Rows are held back for the end once the import has handed over more rows than a quarter of the
// store: reading the store's addresses then costs less than what the held-back rows save.
constexpr qint64 StagingRatio = 4;
// Columns of a row kept on the stack while it is read.
constexpr int TypicalColumns = 16;
// Rows a step of a large import's writes.
constexpr int UpsertBatchRows = 64;

constexpr char UpdateOnConflict[]
    = "ON CONFLICT (ip) DO UPDATE SET name = excluded.name, description = excluded.description, "
      "location = excluded.location, contact = excluded.contact, extra = excluded.extra";

// An insert of `rows` rows, each its ip, name, description, location, contact and extra, then
// what to do when an address is there already.
QByteArray insertSql(int rows, const char *onConflict)
{
    static_assert(StagedImport::ParametersPerRow == 6);
    QByteArray sql = "INSERT INTO nodes (ip, name, description, location, contact, extra) VALUES ";
    for (int row = 0; row < rows; ++row)
        sql += row == 0 ? "(?, ?, ?, ?, ?, ?)" : ", (?, ?, ?, ?, ?, ?)";
    sql += ' ';
    sql += onConflict;
    return sql;
}

// True when `text` goes into a JSON string as its UTF-8 bytes alone, as QJsonDocument writes it.
bool isPlainJson(QStringView text)
{
    for (const QChar c : text) {
        const char16_t unit = c.unicode();
        if (unit < 0x20 || unit == u'"' || unit == u'\\' || QChar::isSurrogate(unit))
            return false;
    }
    return true;
}

QString errorText(const QSqlError &error)
{
    const QString text = error.databaseText().trimmed();
    return text.isEmpty() ? error.text().trimmed() : text;
}

bool isBusy(const QSqlError &error)
{
    const int code = error.nativeErrorCode().toInt() & 0xff;
    return code == SqliteBusy || code == SqliteLocked;
}

} // namespace

NodeStore::NodeStore()
    : m_connection(u"nodestore-"_s + QUuid::createUuid().toString(QUuid::WithoutBraces))
{}

NodeStore::~NodeStore()
{
    rollback();
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

bool NodeStore::exec(QSqlDatabase &db, const QString &statement)
{
    QSqlQuery query(db);
    if (query.exec(statement))
        return true;
    m_lastError = errorText(query.lastError());
    return false;
}

bool NodeStore::open(const QString &path)
{
    if (!QSqlDatabase::isDriverAvailable(u"QSQLITE"_s)) {
        m_lastError = u"The SQLite driver for Qt is not installed (package libqt6sql6-sqlite)."_s;
        return false;
    }
    const QFileInfo info(path);
    if (info.exists() && !info.isFile()) {
        m_lastError = u"%1 is not a node store: it is not a file."_s.arg(path);
        return false;
    }
    if (!QDir().mkpath(info.absolutePath())) {
        m_lastError = u"Cannot create the folder %1."_s.arg(info.absolutePath());
        return false;
    }
    m_path = path;
    QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, m_connection);
    db.setDatabaseName(path);
    db.setConnectOptions(u"QSQLITE_BUSY_TIMEOUT=%1"_s.arg(m_busyTimeoutMs));
    if (!db.open()) {
        m_lastError = errorText(db.lastError());
        return false;
    }
    if (!checkLayout(db, path)) {
        db.close();
        return false;
    }
    return true;
}

// Everything here reads until the file is known to be an empty SQLite file, so that a file that
// is not a node store is left exactly as it was.
bool NodeStore::checkLayout(QSqlDatabase &db, const QString &path)
{
    QSqlQuery query(db);
    if (!query.exec(u"PRAGMA application_id"_s) || !query.next()) {
        m_lastError = u"%1 is not a node store: it is not an SQLite database (%2)."_s
                          .arg(path, errorText(query.lastError()));
        return false;
    }
    const int applicationId = query.value(0).toInt();
    query.exec(u"PRAGMA user_version"_s);
    const int version = query.next() ? query.value(0).toInt() : 0;
    QStringList tables;
    if (!query.exec(u"SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE "
                    "'sqlite\\_%' ESCAPE '\\' ORDER BY name"_s)) {
        m_lastError = u"%1 is not a node store: %2"_s.arg(path, errorText(query.lastError()));
        return false;
    }
    while (query.next())
        tables.append(query.value(0).toString());

    if (tables.isEmpty() && applicationId == 0 && version == 0)
        return createLayout(db);
    if (applicationId != 0 && applicationId != ApplicationId) {
        m_lastError = u"%1 is not a node store: it belongs to another program (application id "
                      "0x%2)."_s.arg(path, QString::number(quint32(applicationId), 16));
        return false;
    }
    if (version > SchemaVersion) {
        m_lastError = u"%1 is a node store of a newer version (%2; this program reads version "
                      "%3). Nothing was written to it."_s.arg(path)
                          .arg(version)
                          .arg(SchemaVersion);
        return false;
    }
    if (tables != QStringList{u"nodes"_s}) {
        m_lastError = u"%1 is not a node store: it holds the tables %2, not the one table nodes."_s
                          .arg(path, tables.isEmpty() ? u"(none)"_s : tables.join(u", "_s));
        return false;
    }
    QStringList columns;
    bool ipIsKey = false;
    query.exec(u"PRAGMA table_info(nodes)"_s);
    while (query.next()) {
        columns.append(query.value(1).toString());
        const int keyPosition = query.value(5).toInt();
        if (keyPosition != 0 && query.value(1).toString() == "ip"_L1 && keyPosition == 1)
            ipIsKey = true;
        else if (keyPosition != 0)
            ipIsKey = false;
    }
    QSqlQuery rowIds(db);
    if (columns != LayoutColumns || !ipIsKey || !rowIds.exec(u"SELECT rowid FROM nodes LIMIT 0"_s)) {
        m_lastError = u"%1 is not a node store of this version: its nodes table has the columns "
                      "%2%3; a node store's has %4, keyed by ip."_s
                          .arg(path, columns.join(u", "_s),
                               ipIsKey ? QString() : u" (not keyed by ip alone)"_s,
                               LayoutColumns.join(u", "_s));
        return false;
    }
    return true;
}

// A new store, or an empty SQLite file. Two programs may create the same new store at once: the
// write lock decides, and the loser finds the table already there.
bool NodeStore::createLayout(QSqlDatabase &db)
{
    if (!exec(db, u"BEGIN IMMEDIATE"_s))
        return false;
    const bool created
        = exec(db, u"CREATE TABLE IF NOT EXISTS nodes (ip TEXT PRIMARY KEY NOT NULL, name TEXT, "
                   "description TEXT, location TEXT, contact TEXT, extra TEXT)"_s)
          && exec(db, u"PRAGMA application_id = %1"_s.arg(ApplicationId))
          && exec(db, u"PRAGMA user_version = %1"_s.arg(SchemaVersion)) && exec(db, u"COMMIT"_s);
    if (!created) {
        m_lastError = u"Cannot create the node store %1: %2"_s.arg(m_path, m_lastError);
        exec(db, u"ROLLBACK"_s);
    }
    return created;
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
    if (m_inTransaction)
        return true;
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    if (!db.isOpen()) {
        m_lastError = u"The node store is not open."_s;
        return false;
    }
    // Take the write lock now rather than at the first write: two deferred transactions that
    // both read and then write would deadlock, and SQLite fails one of them at once.
    exec(db, u"PRAGMA busy_timeout = 0"_s);
    QSqlQuery query(db);
    bool locked = query.exec(u"BEGIN IMMEDIATE"_s);
    if (!locked && isBusy(query.lastError())) {
        if (m_waitNotice)
            m_waitNotice(u"Waiting for the node store: another import is writing to it."_s);
        exec(db, u"PRAGMA busy_timeout = %1"_s.arg(m_busyTimeoutMs));
        locked = query.exec(u"BEGIN IMMEDIATE"_s);
    }
    exec(db, u"PRAGMA busy_timeout = %1"_s.arg(m_busyTimeoutMs));
    if (!locked) {
        m_lastError = isBusy(query.lastError())
                          ? u"The node store %1 was held by another program for longer than %2 "
                            "seconds (%3)."_s.arg(m_path)
                                .arg(m_busyTimeoutMs / 1000.0)
                                .arg(errorText(query.lastError()))
                          : u"The node store %1 cannot be written: %2"_s
                                .arg(m_path, errorText(query.lastError()));
        return false;
    }
    m_inTransaction = true;
    m_appliedRows = 0;
    // Addresses arrive in no order, so every row lands on some page of the address index; with
    // SQLite's default 2 MB page cache a large import spills and rereads index pages all the time.
    // The cache grows to this bound only as pages are used, and is handed back after the import.
    exec(db, u"PRAGMA cache_size = -%1"_s.arg(ImportCacheKiB));
    query.exec(u"SELECT max(rowid) FROM nodes"_s);
    m_highestRowId = query.next() ? query.value(0).toLongLong() : 0;
    query.finish();
    if (!prepareStatements(db)) {
        rollback();
        return false;
    }
    return true;
}

bool NodeStore::prepareStatements(QSqlDatabase &db)
{
    const QVariant handle = db.driver()->handle();
    if (handle.isValid() && qstrcmp(handle.typeName(), "sqlite3*") == 0)
        m_handle = *static_cast<sqlite3 *const *>(handle.constData());
    if (!m_handle) {
        m_lastError = u"The node store %1 cannot be written: the SQLite driver gives no "
                      "connection handle."_s.arg(m_path);
        return false;
    }
    const QByteArray upsert = insertSql(1, UpdateOnConflict);
    const QByteArray insertNew = insertSql(1, "ON CONFLICT (ip) DO NOTHING");
    if (sqlite3_prepare_v3(m_handle, upsert.constData(), int(upsert.size()),
                           SQLITE_PREPARE_PERSISTENT, &m_upsert, nullptr)
            != SQLITE_OK
        || sqlite3_prepare_v3(m_handle, insertNew.constData(), int(insertNew.size()),
                              SQLITE_PREPARE_PERSISTENT, &m_insertNew, nullptr)
               != SQLITE_OK) {
        m_lastError = u"The node store %1 cannot be written: %2"_s
                          .arg(m_path, QString::fromUtf8(sqlite3_errmsg(m_handle)));
        return false;
    }
    return true;
}

// SQLite's message, and the system's reason behind an I/O error ("disk I/O error" alone does not
// tell a full disk from a broken one).
QString NodeStore::sqliteError() const
{
    QString text = QString::fromUtf8(sqlite3_errmsg(m_handle));
    if (const int system = sqlite3_system_errno(m_handle); system != 0)
        text += u" ("_s + QString::fromLocal8Bit(std::strerror(system)) + u")"_s;
    return text;
}

void NodeStore::endStatements()
{
    sqlite3_finalize(m_upsert);
    sqlite3_finalize(m_insertNew);
    m_upsert = nullptr;
    m_insertNew = nullptr;
    m_handle = nullptr;
}

bool NodeStore::commit()
{
    if (!m_inTransaction)
        return true;
    // Held-back rows are written now; on failure the transaction stays open for the rollback.
    if (m_staging) {
        // Most rows go many to a step; should SQLite refuse that statement, one by one.
        const QByteArray batchSql = insertSql(UpsertBatchRows, UpdateOnConflict);
        sqlite3_stmt *batch = nullptr;
        if (sqlite3_prepare_v2(m_handle, batchSql.constData(), int(batchSql.size()), &batch, nullptr)
            != SQLITE_OK)
            batch = nullptr;
        const bool written = m_staging->write(m_upsert, batch, UpsertBatchRows);
        if (!written) {
            m_lastError = u"The node store %1 could not save the import: %2"_s.arg(m_path,
                                                                                   sqliteError());
        }
        sqlite3_finalize(batch);
        if (!written)
            return false;
        m_staging.reset();
    }
    sqlite3 *handle = m_handle;
    endStatements();
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    QSqlQuery query(db);
    if (!query.exec(u"COMMIT"_s)) {
        // Most rows are written only now, so a full disk shows here; say so as for a row.
        m_handle = handle;
        m_lastError = u"The node store %1 could not save the import: %2"_s
                          .arg(m_path, handle ? sqliteError() : errorText(query.lastError()));
        m_handle = nullptr;
        return false;
    }
    m_inTransaction = false;
    restoreCache(db);
    return true;
}

void NodeStore::rollback()
{
    if (!m_inTransaction)
        return;
    m_staging.reset();
    endStatements();
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    QSqlQuery(db).exec(u"ROLLBACK"_s);
    m_inTransaction = false;
    restoreCache(db);
}

void NodeStore::restoreCache(QSqlDatabase &db)
{
    exec(db, u"PRAGMA cache_size = -%1"_s.arg(DefaultCacheKiB));
    exec(db, u"PRAGMA shrink_memory"_s);
}

int NodeStore::slotOf(const QString &name, const QString &ipColumn)
{
    if (name.compare(IgnoreColumn, Qt::CaseInsensitive) == 0)
        return IgnoredSlot;
    if (name.compare(ipColumn, Qt::CaseInsensitive) == 0)
        return IPSlot;
    for (qsizetype i = 0; i < KnownColumns.size(); ++i) {
        if (KnownColumns[i].compare(name, Qt::CaseInsensitive) == 0)
            return int(i);
    }
    return ExtraSlot;
}

bool NodeStore::startStaging()
{
    auto staging = std::make_unique<StagedImport>();
    if (!staging->readStore(m_handle)) {
        m_lastError = u"The node store %1 could not be read: %2"_s.arg(m_path, sqliteError());
        return false;
    }
    m_staging = std::move(staging);
    return true;
}

void NodeStore::layOutExtra(qsizetype columns)
{
    // QJsonObject orders the keys; a later column of the same name wins, as in the object.
    QJsonObject positions;
    for (qsizetype i = 0; i < columns; ++i) {
        if (m_slots[i] == ExtraSlot)
            positions[m_slotNames[i]] = i;
    }
    m_extraKeys.clear();
    m_extraKeysPlain = true;
    for (auto it = positions.constBegin(); it != positions.constEnd(); ++it) {
        m_extraKeysPlain = m_extraKeysPlain && isPlainJson(it.key());
        QByteArray json = "\"";
        appendUtf8(json, it.key());
        json += "\":";
        m_extraKeys.append({it.key(), json, qsizetype(it.value().toInteger())});
    }
    m_extraColumns = columns;
}

// The extra column: the other columns as one compact JSON object, byte for byte as QJsonDocument
// writes it, but without building a document for the usual row whose texts need no escaping.
void NodeStore::appendExtra(QByteArray &out, const MGImport8::ImportColumn *const *cells) const
{
    if (m_extraKeys.isEmpty())
        return;
    const qsizetype start = out.size();
    if (m_extraKeysPlain) {
        out += '{';
        bool plain = true;
        for (const ExtraKey &key : m_extraKeys) {
            const QString value = cells[key.position]->Data().toString();
            if (!isPlainJson(value)) {
                plain = false;
                break;
            }
            if (out.size() > start + 1)
                out += ',';
            out += key.json;
            out += '"';
            appendUtf8(out, value);
            out += '"';
        }
        if (plain) {
            out += '}';
            return;
        }
        out.truncate(start);
    }
    QJsonObject extra;
    for (const ExtraKey &key : m_extraKeys)
        extra[key.name] = cells[key.position]->Data().toString();
    out += QJsonDocument(extra).toJson(QJsonDocument::Compact);
}

NodeStore::Applied NodeStore::apply(const MGImport8::ImportRow &row, const QString &ipColumn,
                                    bool overwrite)
{
    // One pass over the row's columns. Every row of an import names its columns alike, so what
    // each name means is worked out once and recognised by the name afterwards.
    if (ipColumn != m_slotIpColumn) {
        m_slotIpColumn = ipColumn;
        m_slotNames.clear();
        m_slots.clear();
        m_extraColumns = -1;
    }
    const MGImport8::ImportColumn *ipCell = nullptr;
    QString known[4];
    QVarLengthArray<const MGImport8::ImportColumn *, TypicalColumns> cells;
    for (const MGImport8::ImportColumn *column : row) {
        const qsizetype at = cells.size();
        cells.append(column);
        const QString name = column->Column();
        if (at == m_slotNames.size()) {
            m_slotNames.append(name);
            m_slots.append(slotOf(name, ipColumn));
            m_extraColumns = -1;
        } else if (m_slotNames[at] != name) {
            m_slotNames[at] = name;
            m_slots[at] = slotOf(name, ipColumn);
            m_extraColumns = -1;
        }
        const int slot = m_slots[at];
        if (slot == IPSlot && !ipCell)
            ipCell = column;
        else if (slot >= 0)
            known[slot] = column->Data().toString();
    }
    if (cells.size() != m_extraColumns)
        layOutExtra(cells.size());

    // Most files spell their addresses as the store keeps them; only the others need the
    // wizard's full reading.
    QString ip = ipCell ? ipCell->Data().toString() : QString();
    std::optional<quint32> address = canonicalAddress(ip);
    if (!address && ipCell) {
        ip = MGImport8::IPAddress::Canonical(ip.trimmed());
        address = canonicalAddress(ip);
    }
    if (!address)
        return {Outcome::Skipped, u"Skipped: no valid IP address"_s};

    if (!m_inTransaction && !begin())
        return {Outcome::Failed, {}};
    if (!m_staging && ++m_appliedRows * StagingRatio > m_highestRowId && !startStaging())
        return {Outcome::Failed, {}};
    if (m_staging) {
        const StagedImport::Place place = m_staging->find(*address);
        if (place.known && !overwrite)
            return {Outcome::Skipped, u"Skipped: "_s + ip + u" is already in the inventory"_s};
        QByteArray &text = m_staging->text();
        const qsizetype extraStart = text.size();
        appendExtra(text, cells.constData());
        m_staging->stage(place, known, extraStart);
        if (place.known)
            return {Outcome::Updated, u"Updated "_s + ip};
        return {Outcome::Added, u"Added "_s + ip};
    }

    sqlite3_stmt *write = overwrite ? m_upsert : m_insertNew;
    // The texts outlive the step, so SQLite may read them in place.
    auto bind = [write](int position, const QString &text) {
        if (text.isNull())
            sqlite3_bind_null(write, position);
        else
            sqlite3_bind_text16(write, position, text.utf16(), int(text.size() * sizeof(char16_t)),
                                SQLITE_STATIC);
    };
    m_extra.resize(0);
    appendExtra(m_extra, cells.constData());
    bind(1, ip);
    for (int i = 0; i < 4; ++i)
        bind(i + 2, known[i]);
    if (m_extraKeys.isEmpty())
        sqlite3_bind_null(write, 6);
    else
        sqlite3_bind_text(write, 6, m_extra.constData(), int(m_extra.size()), SQLITE_STATIC);
    const int stepped = sqlite3_step(write);
    sqlite3_reset(write);
    if (stepped != SQLITE_DONE) {
        m_lastError = u"The node store %1 could not take the row: %2"_s.arg(m_path, sqliteError());
        return {Outcome::Failed, {}};
    }
    if (sqlite3_changes(m_handle) == 0) // the address was known and Overwrite is off
        return {Outcome::Skipped, u"Skipped: "_s + ip + u" is already in the inventory"_s};
    // The upsert's update branch leaves the last inserted row id alone; an insert sets it to a
    // row id past every earlier one.
    const qint64 rowId = sqlite3_last_insert_rowid(m_handle);
    if (rowId > m_highestRowId) {
        m_highestRowId = rowId;
        return {Outcome::Added, u"Added "_s + ip};
    }
    return {Outcome::Updated, u"Updated "_s + ip};
}

QList<Node> NodeStore::nodes() const
{
    return readNodes(m_connection);
}

int NodeStore::count() const
{
    return countNodes(m_connection);
}

} // namespace NodeInventory
