#include "wizard/access/accessdatabase.h"

#include "wizard/access/accesscatalogue.h"
#include "wizard/access/accessvalue.h"

#include <QFile>
#include <QFileInfo>

#include <mdbsql.h>
#include <mdbtools.h>

#include <vector>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

// Catalogue flags of system objects (0x80000000) and of objects Access keeps for itself (0x2).
constexpr guint32 SystemObjectFlags = 0x80000002u;
// Tables named so are Access's own even when unflagged (MSysCompactError, MSysAccessStorage).
constexpr QLatin1StringView SystemTablePrefix("MSys");
// The longest text a field shows; memo fields are cut here.
constexpr size_t BindSize = 64 * 1024;
constexpr int DateSize = 8;
const QByteArrayView OleObject("(OLE object)");

QString utf8(const char *text)
{
    return QString::fromUtf8(text);
}

QString quoted(const QString &name)
{
    return u"'"_s % name % u"'"_s;
}

struct TableFree
{
    void operator()(MdbTableDef *table) const { mdb_free_tabledef(table); }
};
using TablePtr = std::unique_ptr<MdbTableDef, TableFree>;

} // namespace

struct AccessDatabase::Private
{
    QByteArray bytes;
    MdbHandle *mdb = nullptr;
    AccessFormat format;
    // The statement library reads the catalogue again with the database library's own reader,
    // which loops or overruns on damaged entries; it runs only when ours found none.
    bool catalogueSound = false;

    ~Private()
    {
        if (mdb)
            mdb_close(mdb);
    }

    MdbCatalogEntry *entry(const QString &name, int type) const;
    // Whether the library reads the field as text the reader can show.
    static bool bindable(const MdbColumn *column);
    void addCell(AccessRowSink &sink, const MdbColumn *column, const char *bound) const;
};

MdbCatalogEntry *AccessDatabase::Private::entry(const QString &name, int type) const
{
    for (guint i = 0; i < mdb->catalog->len; ++i) {
        auto *entry = static_cast<MdbCatalogEntry *>(g_ptr_array_index(mdb->catalog, i));
        if (entry->object_type == type
            && utf8(entry->object_name).compare(name, Qt::CaseInsensitive) == 0)
            return entry;
    }
    return nullptr;
}

bool AccessDatabase::Private::bindable(const MdbColumn *column)
{
    switch (column->col_type) {
    case MDB_BOOL:
    case MDB_BYTE:
    case MDB_INT:
    case MDB_LONGINT:
    case MDB_MONEY:
    case MDB_FLOAT:
    case MDB_DOUBLE:
    case MDB_TEXT:
    case MDB_MEMO:
    case MDB_REPID:
    case MDB_NUMERIC:
        return true;
    default:
        // Dates and binary values are read from the row itself; OLE objects, attachments,
        // multi-valued fields and types the library does not know are not shown.
        return false;
    }
}

void AccessDatabase::Private::addCell(AccessRowSink &sink, const MdbColumn *column,
                                      const char *bound) const
{
    const int type = column->col_type;
    if (type == MDB_BOOL) {
        sink.addCell(AccessValue::boolean(QByteArrayView(bound)));
        return;
    }
    const int start = column->cur_value_start;
    const int length = column->cur_value_len;
    // A field's place in the row comes from the file; it must lie within the page read.
    const bool inPage = length > 0 && start >= 0 && start + length <= format.pageSize
                        && start + length <= MDB_PGSIZE;
    if (!inPage) {
        sink.addCell(QByteArrayView());
        return;
    }
    switch (type) {
    case MDB_DATETIME:
        sink.addCell(length == DateSize ? AccessValue::dateTime(mdb_get_double(mdb->pg_buf, start))
                                        : QByteArray());
        return;
    case MDB_BINARY:
        sink.addCell(AccessValue::hex(
            QByteArrayView(reinterpret_cast<const char *>(mdb->pg_buf) + start, length)));
        return;
    case MDB_OLE:
        sink.addCell(OleObject);
        return;
    case MDB_MONEY:
    case MDB_NUMERIC:
        sink.addCell(AccessValue::trimmedDecimal(QByteArrayView(bound)));
        return;
    default:
        sink.addCell(bindable(column) ? QByteArrayView(bound) : QByteArrayView());
    }
}

AccessDatabase::AccessDatabase(std::unique_ptr<Private> data)
    : d(std::move(data))
{}

AccessDatabase::~AccessDatabase() = default;

Result<std::unique_ptr<AccessDatabase>> AccessDatabase::open(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return Error{u"Could not find file "_s % quoted(path) % u"."_s};
    if (info.isDir())
        return Error{quoted(path) % u" is a folder, not a database file."_s};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Error{u"The file cannot be read: "_s % file.errorString()};
    const Result<AccessFormat> format = checkAccessFormat(file.read(AccessHeadSize), file.size());
    if (!format)
        return Error{format.error()};
    file.close();

    auto d = std::make_unique<Private>();
    d->format = format.value();
    d->mdb = mdb_open(QFile::encodeName(path).constData(), MDB_NOFLAGS);
    return finishOpen(std::move(d));
}

Result<std::unique_ptr<AccessDatabase>> AccessDatabase::openBytes(const QByteArray &bytes)
{
    const Result<AccessFormat> format = checkAccessFormat(bytes.first(std::min(bytes.size(),
                                                                               AccessHeadSize)),
                                                          bytes.size());
    if (!format)
        return Error{format.error()};
    auto d = std::make_unique<Private>();
    d->format = format.value();
    d->bytes = bytes;
    d->mdb = mdb_open_buffer(d->bytes.data(), size_t(d->bytes.size()), MDB_NOFLAGS);
    return finishOpen(std::move(d));
}

Result<std::unique_ptr<AccessDatabase>> AccessDatabase::finishOpen(std::unique_ptr<Private> d)
{
    if (!d->mdb)
        return Error{u"The database cannot be opened: it is encrypted or damaged."_s};
    mdb_set_bind_size(d->mdb, BindSize);
    mdb_set_boolean_fmt_numbers(d->mdb);
    const AccessCatalogue::Outcome catalogue = AccessCatalogue::read(d->mdb, BindSize);
    d->catalogueSound = catalogue == AccessCatalogue::Outcome::Sound;
    if (catalogue == AccessCatalogue::Outcome::Unreadable)
        return Error{u"The database's catalogue cannot be read: the file is encrypted or "
                     "damaged."_s};
    return std::unique_ptr<AccessDatabase>(new AccessDatabase(std::move(d)));
}

const AccessFormat &AccessDatabase::format() const
{
    return d->format;
}

QStringList AccessDatabase::userTables() const
{
    QStringList tables;
    for (guint i = 0; i < d->mdb->catalog->len; ++i) {
        const auto *entry = static_cast<MdbCatalogEntry *>(g_ptr_array_index(d->mdb->catalog, i));
        if (entry->object_type != MDB_TABLE || (guint32(entry->flags) & SystemObjectFlags) != 0)
            continue;
        const QString name = utf8(entry->object_name);
        if (!name.startsWith(SystemTablePrefix, Qt::CaseInsensitive))
            tables.append(name);
    }
    return tables;
}

Result<qsizetype> AccessDatabase::readTable(const QString &table, qsizetype limit,
                                            AccessRowSink &sink)
{
    MdbCatalogEntry *entry = d->entry(table, MDB_TABLE);
    if (!entry) {
        if (d->entry(table, MDB_QUERY))
            return Error{quoted(table)
                         % u" is a saved query. Only tables can be read by name; "
                           "give a SELECT statement instead."_s};
        if (d->entry(table, MDB_LINKED_TABLE))
            return Error{quoted(table)
                         % u" is linked from another database. Import it from "
                           "that database."_s};
        return Error{u"The database has no table named "_s % quoted(table) % u"."_s};
    }
    TablePtr definition(mdb_read_table(entry));
    if (!definition || !mdb_read_columns(definition.get()))
        return Error{u"The definition of the table "_s % quoted(table)
                     % u" cannot be read: the file is damaged."_s};
    MdbTableDef *tableDef = definition.get();

    std::vector<std::unique_ptr<char[]>> buffers(tableDef->num_cols);
    sink.addRow();
    for (guint i = 0; i < tableDef->num_cols; ++i) {
        auto *column = static_cast<MdbColumn *>(g_ptr_array_index(tableDef->columns, i));
        sink.addCell(QByteArrayView(column->name));
        if (Private::bindable(column)) {
            buffers[i].reset(new char[BindSize]); // filled by the library, not cleared
            buffers[i][0] = '\0';
            mdb_bind_column(tableDef, int(i) + 1, buffers[i].get(), nullptr);
        }
    }
    mdb_rewind_table(tableDef);
    qsizetype records = 0;
    while (records < limit && mdb_fetch_row(tableDef)) {
        sink.addRow();
        for (guint i = 0; i < tableDef->num_cols; ++i)
            d->addCell(sink, static_cast<MdbColumn *>(g_ptr_array_index(tableDef->columns, i)),
                       buffers[i] ? buffers[i].get() : "");
        ++records;
    }
    return records;
}

Result<qsizetype> AccessDatabase::runQuery(const QString &statement, AccessRowSink &sink)
{
    struct SqlFree
    {
        void operator()(MdbSQL *sql) const
        {
            mdb_sql_reset(sql);
            sql->mdb = nullptr; // the database outlives the statement
            mdb_sql_exit(sql);
        }
    };
    if (!d->catalogueSound)
        return Error{u"The database's catalogue is damaged, so statements cannot be run on it. "
                     "Repair the database in Access (Compact and Repair), or read the table by "
                     "its name."_s};
    std::unique_ptr<MdbSQL, SqlFree> sql(mdb_sql_init());
    sql->mdb = d->mdb;
    const QByteArray text = statement.toUtf8();
    if (!mdb_sql_run_query(sql.get(), text.constData()) || !sql->cur_table) {
        // The library names the statement, not the cause (which it prints on standard error).
        const QString detail = mdb_sql_has_error(sql.get()) ? utf8(mdb_sql_last_error(sql.get()))
                                                            : QString();
        return Error{u"The statement could not be run: it names a table or field the database "
                     "does not have, or SQL that MDB Tools cannot run (it reads one table, with "
                     "simple conditions)."_s
                     % (detail.isEmpty() ? QString() : u" ("_s % detail % u")"_s)};
    }
    MdbTableDef *tableDef = sql->cur_table;
    // Running the statement bound each result column to a buffer of its own.
    if (!sql->bound_values || sql->bound_values->len < sql->num_columns)
        return Error{u"The statement's columns cannot be read."_s};

    // Each result column with the table's column it shows.
    std::vector<std::pair<const char *, MdbColumn *>> columns;
    sink.addRow();
    for (guint i = 0; i < sql->num_columns; ++i) {
        auto *result = static_cast<MdbSQLColumn *>(g_ptr_array_index(sql->columns, i));
        MdbColumn *column = nullptr;
        for (guint c = 0; c < tableDef->num_cols && !column; ++c) {
            auto *candidate = static_cast<MdbColumn *>(g_ptr_array_index(tableDef->columns, c));
            if (g_ascii_strcasecmp(candidate->name, result->name) == 0)
                column = candidate;
        }
        // What is not shown as text is not converted either.
        if (column && !Private::bindable(column))
            column->bind_ptr = nullptr;
        sink.addCell(QByteArrayView(result->name));
        columns.emplace_back(static_cast<const char *>(g_ptr_array_index(sql->bound_values, i)),
                             column);
    }
    qsizetype records = 0;
    while (mdb_sql_fetch_row(sql.get(), tableDef)) {
        sink.addRow();
        for (const auto &[bound, column] : columns) {
            if (column)
                d->addCell(sink, column, bound ? bound : "");
            else
                sink.addCell(QByteArrayView(bound ? bound : ""));
        }
        ++records;
    }
    return records;
}

} // namespace MGImport8
