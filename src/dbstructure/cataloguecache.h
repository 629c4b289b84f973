#pragma once

#include "common/result.h"
#include "sqladmin/catalogue.h"
#include "sqladmin/manageddatabase.h"

#include <QHash>
#include <QList>
#include <QString>

#include <optional>

namespace MGImport8::DbStructure {

/// The catalogue of one database as a verification reads it: every table's columns, key and
/// indexes, the views and the functions, each read for the whole database in one query, so that
/// a run costs a fixed number of catalogue queries whatever the number of tables. A table that
/// was changed is read again on its own; the lists are read again after objects come or go.
class CatalogueCache
{
public:
    CatalogueCache(SqlAdmin::ManagedDatabase &database, SqlAdmin::ServerKind kind);

    /// The table a name means, as `ManagedDatabase::findTable` decides it.
    std::optional<SqlAdmin::ObjectName> findTable(const QString &name);
    Result<QList<SqlAdmin::ColumnInfo>> columns(const SqlAdmin::ObjectName &table);
    Result<SqlAdmin::PrimaryKeyInfo> primaryKey(const SqlAdmin::ObjectName &table);
    Result<QList<SqlAdmin::IndexInfo>> indexes(const SqlAdmin::ObjectName &table);
    Result<QList<SqlAdmin::RoutineInfo>> routines(bool views);

    /// Tables were created or dropped.
    void tablesChanged() { m_tablesRead = false; }
    /// The table's columns, key or indexes changed.
    void tableChanged(const SqlAdmin::ObjectName &table);
    /// An index was created or replaced as `index` says: the cached table takes it in place of
    /// being read again.
    void indexCreated(const SqlAdmin::ObjectName &table, const SqlAdmin::IndexInfo &index);
    void routinesChanged(bool views) { (views ? m_viewsRead : m_functionsRead) = false; }
    /// A routine was created just now: it joins the list without reading the list again, which
    /// would cost a definition per routine for every one created.
    void routineCreated(bool views, const SqlAdmin::ObjectName &object);
    void routineDropped(bool views, const SqlAdmin::ObjectName &object);

    /// Catalogue queries sent so far.
    int queries() const { return m_queries; }

private:
    struct TableEntry
    {
        QList<SqlAdmin::ColumnInfo> columns;
        SqlAdmin::PrimaryKeyInfo key;
        QList<SqlAdmin::IndexInfo> indexes;
        /// Read for the whole database (or on its own since its last change).
        bool current = false;
    };
    static QString keyOf(const SqlAdmin::ObjectName &table);
    Result<bool> readTables();
    Result<bool> readWholeDatabase();
    Result<TableEntry *> entry(const SqlAdmin::ObjectName &table);

    SqlAdmin::ManagedDatabase &m_database;
    SqlAdmin::ServerKind m_kind;
    QList<SqlAdmin::ObjectName> m_tables;
    bool m_tablesRead = false;
    bool m_wholeRead = false;
    QHash<QString, TableEntry> m_entries;
    QList<SqlAdmin::RoutineInfo> m_views;
    QList<SqlAdmin::RoutineInfo> m_functions;
    bool m_viewsRead = false;
    bool m_functionsRead = false;
    int m_queries = 0;
};

} // namespace MGImport8::DbStructure
