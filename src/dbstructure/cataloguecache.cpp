#include "dbstructure/cataloguecache.h"

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace MGImport8::DbStructure {

namespace {

// Schemas of the server itself and of the management layer, which no listing shows.
const QString postgresUserSchemas
    = u"n.nspname NOT IN ('pg_catalog', 'information_schema', 'mgimport8') AND n.nspname NOT "
      u"LIKE 'pg\\_toast%' AND n.nspname NOT LIKE 'pg\\_temp\\_%' AND c.relkind IN ('r', 'p') "
      u"AND NOT c.relispartition"_s;

// The three whole-database reads: schema and table first, then the columns of the management
// layer's per-table query of the same kind, in its order.
struct WholeQueries
{
    QString columns;
    QString keys;
    QString indexes;
};

WholeQueries postgresQueries()
{
    const QString tables = u" JOIN pg_class c ON c.oid = %1 JOIN pg_namespace n ON n.oid = "
                           u"c.relnamespace "_s;
    return {
        u"SELECT n.nspname, c.relname, a.attname, format_type(a.atttypid, NULL), CASE WHEN "
        u"a.atttypid IN ('varchar'::regtype, 'bpchar'::regtype) AND a.atttypmod > 0 THEN "
        u"a.atttypmod - 4 WHEN a.attlen > 0 THEN a.attlen ELSE -1 END, NOT a.attnotnull, "
        u"a.attidentity <> '' OR pg_get_serial_sequence(a.attrelid::regclass::text, a.attname) "
        u"IS NOT NULL, CASE WHEN a.attgenerated = '' THEN pg_get_expr(d.adbin, d.adrelid) END, "
        u"CASE WHEN a.attgenerated <> '' THEN pg_get_expr(d.adbin, d.adrelid) END FROM "
        u"pg_attribute a"_s
            + tables.arg(u"a.attrelid"_s)
            + u"LEFT JOIN pg_attrdef d ON d.adrelid = a.attrelid AND d.adnum = a.attnum WHERE "
              u"a.attnum > 0 AND NOT a.attisdropped AND "_s
            + postgresUserSchemas + u" ORDER BY 1, 2, a.attnum"_s,
        u"SELECT n.nspname, c.relname, con.conname, i.indisclustered, a.attname FROM "
        u"pg_constraint con"_s
            + tables.arg(u"con.conrelid"_s)
            + u"JOIN pg_index i ON i.indexrelid = con.conindid CROSS JOIN LATERAL "
              u"unnest(con.conkey) WITH ORDINALITY AS k(attnum, ord) JOIN pg_attribute a ON "
              u"a.attrelid = con.conrelid AND a.attnum = k.attnum WHERE con.contype = 'p' AND "_s
            + postgresUserSchemas + u" ORDER BY 1, 2, k.ord"_s,
        u"SELECT n.nspname, c.relname, ic.relname, i.indisprimary, i.indisunique, "
        u"i.indisclustered, coalesce(a.attname, pg_get_indexdef(i.indexrelid, k.ord::int, true)) "
        u"FROM pg_index i"_s
            + tables.arg(u"i.indrelid"_s)
            + u"JOIN pg_class ic ON ic.oid = i.indexrelid CROSS JOIN LATERAL "
              u"unnest(i.indkey::int2[]) WITH ORDINALITY AS k(attnum, ord) LEFT JOIN pg_attribute "
              u"a ON a.attrelid = i.indrelid AND a.attnum = k.attnum WHERE k.ord <= i.indnkeyatts "
              u"AND "_s
            + postgresUserSchemas + u" ORDER BY 1, 2, i.indexrelid, k.ord"_s,
    };
}

WholeQueries sqlServerQueries()
{
    const QString tables = u" JOIN sys.tables t ON t.object_id = %1 JOIN sys.schemas s ON "
                           u"s.schema_id = t.schema_id "_s;
    return {
        u"SELECT s.name, t.name, c.name, ty.name, CASE WHEN ty.name IN ('nchar', 'nvarchar') AND "
        u"c.max_length > 0 THEN c.max_length / 2 ELSE c.max_length END, c.is_nullable, "
        u"c.is_identity, dc.definition, cc.definition FROM sys.columns c"_s
            + tables.arg(u"c.object_id"_s)
            + u"JOIN sys.types ty ON ty.user_type_id = c.user_type_id LEFT JOIN "
              u"sys.default_constraints dc ON dc.object_id = c.default_object_id LEFT JOIN "
              u"sys.computed_columns cc ON cc.object_id = c.object_id AND cc.column_id = "
              u"c.column_id WHERE t.is_ms_shipped = 0 ORDER BY s.name, t.name, c.column_id"_s,
        u"SELECT s.name, t.name, k.name, CASE WHEN i.type = 1 THEN 1 ELSE 0 END, c.name FROM "
        u"sys.key_constraints k"_s
            + tables.arg(u"k.parent_object_id"_s)
            + u"JOIN sys.indexes i ON i.object_id = k.parent_object_id AND i.index_id = "
              u"k.unique_index_id JOIN sys.index_columns ic ON ic.object_id = i.object_id AND "
              u"ic.index_id = i.index_id JOIN sys.columns c ON c.object_id = ic.object_id AND "
              u"c.column_id = ic.column_id WHERE k.type = 'PK' ORDER BY s.name, t.name, "
              u"ic.key_ordinal"_s,
        u"SELECT s.name, t.name, i.name, i.is_primary_key, i.is_unique, CASE WHEN i.type = 1 "
        u"THEN 1 ELSE 0 END, c.name FROM sys.indexes i"_s
            + tables.arg(u"i.object_id"_s)
            + u"JOIN sys.index_columns ic ON ic.object_id = i.object_id AND ic.index_id = "
              u"i.index_id JOIN sys.columns c ON c.object_id = ic.object_id AND c.column_id = "
              u"ic.column_id WHERE i.index_id > 0 AND ic.is_included_column = 0 ORDER BY s.name, "
              u"t.name, i.index_id, ic.key_ordinal"_s,
    };
}

} // namespace

CatalogueCache::CatalogueCache(SqlAdmin::ManagedDatabase &database, SqlAdmin::ServerKind kind)
    : m_database(database)
    , m_kind(kind)
{}

QString CatalogueCache::keyOf(const SqlAdmin::ObjectName &table)
{
    return table.schema + u'\n' + table.name;
}

Result<bool> CatalogueCache::readTables()
{
    if (m_tablesRead)
        return true;
    ++m_queries;
    Result<QList<SqlAdmin::ObjectName>> tables = m_database.tables();
    if (!tables)
        return Error{tables.error()};
    m_tables = tables.take();
    m_tablesRead = true;
    return true;
}

std::optional<SqlAdmin::ObjectName> CatalogueCache::findTable(const QString &name)
{
    if (!readTables())
        return std::nullopt;
    const qsizetype dot = name.indexOf(u'.');
    if (dot > 0) {
        const SqlAdmin::ObjectName qualified{name.first(dot), name.sliced(dot + 1)};
        if (m_tables.contains(qualified))
            return qualified;
    }
    const QString preferred = m_kind == SqlAdmin::ServerKind::PostgreSql ? u"public"_s : u"dbo"_s;
    std::optional<SqlAdmin::ObjectName> found;
    for (const SqlAdmin::ObjectName &table : std::as_const(m_tables)) {
        if (table.name == name && table.schema == preferred)
            return table;
        if (!found && table.name.compare(name, Qt::CaseInsensitive) == 0)
            found = table;
    }
    return found;
}

Result<bool> CatalogueCache::readWholeDatabase()
{
    m_wholeRead = true;
    Result<SqlAdmin::SqlSession *> open = m_database.session();
    if (!open)
        return Error{open.error()};
    SqlAdmin::SqlSession &session = *open.value();
    const WholeQueries queries = m_kind == SqlAdmin::ServerKind::PostgreSql ? postgresQueries()
                                                                            : sqlServerQueries();
    m_queries += 3;
    Result<SqlAdmin::Rows> columns = session.query(queries.columns);
    Result<SqlAdmin::Rows> keys = session.query(queries.keys);
    Result<SqlAdmin::Rows> indexes = session.query(queries.indexes);
    if (!columns || !keys || !indexes)
        return Error{!columns ? columns.error() : !keys ? keys.error() : indexes.error()};
    auto at = [this](const SqlAdmin::Row &row) -> TableEntry & {
        TableEntry &table = m_entries[keyOf({row.value(0).toString(), row.value(1).toString()})];
        table.current = true;
        return table;
    };
    for (const SqlAdmin::Row &row : std::as_const(columns.value())) {
        at(row).columns.append({row.value(2).toString(), row.value(3).toString(),
                                row.value(4).toInt(), row.value(5).toBool(), row.value(6).toBool(),
                                row.value(7).toString(), row.value(8).toString()});
    }
    for (const SqlAdmin::Row &row : std::as_const(keys.value())) {
        TableEntry &table = at(row);
        table.key.name = row.value(2).toString();
        table.key.clustered = row.value(3).toBool();
        table.key.columns.append(row.value(4).toString());
    }
    for (const SqlAdmin::Row &row : std::as_const(indexes.value()))
        SqlAdmin::addIndexRow(at(row).indexes, row, 2);
    return true;
}

Result<CatalogueCache::TableEntry *> CatalogueCache::entry(const SqlAdmin::ObjectName &table)
{
    if (!m_wholeRead) {
        if (Result<bool> read = readWholeDatabase(); !read)
            return Error{read.error()};
    }
    TableEntry &found = m_entries[keyOf(table)];
    if (found.current)
        return &found;
    // A table changed (or made) since the whole read is read again on its own.
    m_queries += 3;
    Result<QList<SqlAdmin::ColumnInfo>> columns = m_database.columns(table);
    Result<SqlAdmin::PrimaryKeyInfo> key = m_database.primaryKey(table);
    Result<QList<SqlAdmin::IndexInfo>> indexes = m_database.indexes(table);
    if (!columns || !key || !indexes)
        return Error{!columns ? columns.error() : !key ? key.error() : indexes.error()};
    found = {columns.take(), key.take(), indexes.take(), true};
    return &found;
}

void CatalogueCache::tableChanged(const SqlAdmin::ObjectName &table)
{
    const auto found = m_entries.find(keyOf(table));
    if (found != m_entries.end())
        found->current = false;
}

Result<QList<SqlAdmin::ColumnInfo>> CatalogueCache::columns(const SqlAdmin::ObjectName &table)
{
    Result<TableEntry *> found = entry(table);
    if (!found)
        return Error{found.error()};
    return found.value()->columns;
}

Result<SqlAdmin::PrimaryKeyInfo> CatalogueCache::primaryKey(const SqlAdmin::ObjectName &table)
{
    Result<TableEntry *> found = entry(table);
    if (!found)
        return Error{found.error()};
    return found.value()->key;
}

Result<QList<SqlAdmin::IndexInfo>> CatalogueCache::indexes(const SqlAdmin::ObjectName &table)
{
    Result<TableEntry *> found = entry(table);
    if (!found)
        return Error{found.error()};
    return found.value()->indexes;
}

void CatalogueCache::indexCreated(const SqlAdmin::ObjectName &table,
                                  const SqlAdmin::IndexInfo &index)
{
    const auto found = m_entries.find(keyOf(table));
    if (found == m_entries.end() || !found->current)
        return;
    found->indexes.removeIf(
        [&index](const SqlAdmin::IndexInfo &present) { return present.name == index.name; });
    found->indexes.append(index);
}

void CatalogueCache::routineCreated(bool views, const SqlAdmin::ObjectName &object)
{
    if (views ? m_viewsRead : m_functionsRead)
        (views ? m_views : m_functions).append({object, QDateTime::currentDateTime(), {}});
}

void CatalogueCache::routineDropped(bool views, const SqlAdmin::ObjectName &object)
{
    (views ? m_views : m_functions).removeIf([&object](const SqlAdmin::RoutineInfo &routine) {
        return routine.object == object;
    });
}

Result<QList<SqlAdmin::RoutineInfo>> CatalogueCache::routines(bool views)
{
    bool &read = views ? m_viewsRead : m_functionsRead;
    QList<SqlAdmin::RoutineInfo> &list = views ? m_views : m_functions;
    if (!read) {
        m_queries += m_kind == SqlAdmin::ServerKind::PostgreSql ? 2 : 1;
        Result<QList<SqlAdmin::RoutineInfo>> listed = views ? m_database.views()
                                                            : m_database.functions();
        if (!listed)
            return Error{listed.error()};
        list = listed.take();
        read = true;
    }
    return list;
}

} // namespace MGImport8::DbStructure
