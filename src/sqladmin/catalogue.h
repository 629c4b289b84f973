#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>

namespace MGImport8::SqlAdmin {

/// A table, view or function named within its schema ("dbo", "public").
struct ObjectName
{
    QString schema;
    QString name;
    bool operator==(const ObjectName &) const = default;
};

/// One column as the server describes it.
struct ColumnInfo
{
    QString name;
    /// The type as the server spells it ("nvarchar", "character varying").
    QString typeName;
    /// Characters for character types, bytes for fixed types, -1 for unbounded ones.
    int length = 0;
    bool nullable = true;
    bool identity = false;
    /// The default's expression text; empty when the column has none.
    QString defaultText;
    /// The expression of a computed column; empty for stored ones.
    QString computedText;
};

struct PrimaryKeyInfo
{
    QString name;
    bool clustered = false;
    /// The key's columns in key order.
    QStringList columns;
};

struct IndexInfo
{
    QString name;
    QStringList columns;
    bool unique = false;
    bool clustered = false;
    /// True for the index that backs the primary key.
    bool primaryKey = false;
};

/// Folds one row of an index catalogue read into `indexes`. From column `first` the row holds
/// the index's name, primary key, unique and clustered flags and one key column; the rows of an
/// index come together and in key order.
inline void addIndexRow(QList<IndexInfo> &indexes, const QVariantList &row, int first)
{
    const QString name = row.value(first).toString();
    if (indexes.isEmpty() || indexes.last().name != name) {
        IndexInfo index;
        index.name = name;
        index.primaryKey = row.value(first + 1).toBool();
        index.unique = row.value(first + 2).toBool();
        index.clustered = row.value(first + 3).toBool();
        indexes.append(index);
    }
    indexes.last().columns.append(row.value(first + 4).toString());
}

/// A view or a user-defined function.
struct RoutineInfo
{
    ObjectName object;
    /// When it was created; invalid when the server kept no date for it.
    QDateTime created;
    QString definition;
};

struct LoginInfo
{
    QString name;
    /// "SQL_LOGIN", "WINDOWS_LOGIN" or "WINDOWS_GROUP" as the server names them.
    QString kind;
    bool disabled = false;
    QString defaultDatabase;
};

struct DatabaseUserInfo
{
    QString name;
    /// The server login the user maps to; empty for a user without one.
    QString login;
};

struct RoleInfo
{
    QString name;
    QStringList members;
};

/// SQL-DMO's server states, which `Status` reports.
enum class ServerStatus {
    Unknown = 0,
    Running = 1,
    Paused = 2,
    Stopped = 3,
    Starting = 4,
    Stopping = 5,
};

} // namespace MGImport8::SqlAdmin
