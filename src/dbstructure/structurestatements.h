#pragma once

#include "dbstructure/structurefile.h"
#include "sqladmin/catalogue.h"
#include "sqladmin/sqlsession.h"

#include <QString>
#include <QStringList>

#include <memory>

namespace MGImport8::DbStructure {

/// The statements that stand in for the management library's changes to a database, one set per
/// kind of server. A change that takes several statements is run by the caller in one
/// transaction.
class StructureStatements
{
public:
    virtual ~StructureStatements() = default;
    static std::unique_ptr<StructureStatements> create(SqlAdmin::ServerKind kind);

    virtual QString quote(const QString &name) const = 0;
    QString table(const SqlAdmin::ObjectName &table) const
    {
        return quote(table.schema) + u'.' + quote(table.name);
    }

    /// Adds the template's column: its type (with the length for character types), null rule,
    /// default and computing expression.
    virtual QStringList addColumn(const SqlAdmin::ObjectName &table,
                                  const ColumnTemplate &column) const = 0;
    /// Changes the column's type; `length` 0 leaves length, precision and scale to the server.
    virtual QStringList alterColumnType(const SqlAdmin::ObjectName &table,
                                        const SqlAdmin::ColumnInfo &current,
                                        const QString &dataType, int length) const = 0;
    /// Gives the column the default `expression`, or removes its default when that is empty.
    virtual QStringList setDefault(const SqlAdmin::ObjectName &table, const QString &column,
                                   const QString &expression) const = 0;
    /// Makes the column computed by `expression`; neither server alters that in place.
    virtual QStringList setComputed(const SqlAdmin::ObjectName &table,
                                    const SqlAdmin::ColumnInfo &current,
                                    const QString &expression) const = 0;
    virtual QString dropIndex(const SqlAdmin::ObjectName &table, const QString &index) const = 0;
    /// Replaces an existing index by the template's statement.
    virtual QStringList replaceIndex(const SqlAdmin::ObjectName &table, const QString &index,
                                     const QString &statement) const = 0;
    virtual QString dropConstraint(const SqlAdmin::ObjectName &table, const QString &name) const = 0;
    /// Drops a function ('F') or a view ('V').
    virtual QString dropRoutine(QChar kind, const SqlAdmin::ObjectName &object) const = 0;
    /// One row, one Boolean column: whether this session now holds the database's maintenance
    /// lock; taken without waiting.
    virtual QString lockQuery() const = 0;
    virtual QString unlockQuery() const = 0;
    /// Column names of the table's key column as text, one row per record.
    virtual QString keyValuesQuery(const SqlAdmin::ObjectName &table,
                                   const QString &column) const = 0;
    /// The most `?` values one statement may carry on the server.
    virtual int maxParameters() const = 0;
    /// INSERT of one row with `?` for each column.
    QString insertRow(const SqlAdmin::ObjectName &table, const QStringList &columns) const
    {
        return insertRows(table, columns, 1);
    }
    /// INSERT of `rows` rows with `?` for each value.
    QString insertRows(const SqlAdmin::ObjectName &table, const QStringList &columns,
                       qsizetype rows) const;
    /// Marks a point in a transaction that a failed row goes back to, and its undo and release.
    virtual QString savepoint() const = 0;
    virtual QString rollbackToSavepoint() const = 0;
    virtual QString releaseSavepoint() const = 0;
};

} // namespace MGImport8::DbStructure
