#pragma once

#include "common/result.h"
#include "wizard/access/accessformat.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringList>

#include <memory>

namespace MGImport8 {

/// Receives what a read yields: a first row of field names, then one row per record, each cell
/// as UTF-8 text.
class AccessRowSink
{
public:
    virtual ~AccessRowSink() = default;
    virtual void addRow() = 0;
    virtual void addCell(QByteArrayView utf8) = 0;
};

/// One open Access database (.mdb or .accdb), read with MDB Tools' libraries. Every failure
/// comes back as a description the user can act on; the file is checked before the library
/// reads it. Not for use from more than one thread.
class AccessDatabase
{
public:
    /// Opens the database file at `path` and reads its catalogue.
    static Result<std::unique_ptr<AccessDatabase>> open(const QString &path);
    /// Opens a database held in memory (`bytes` is kept for the database's life).
    static Result<std::unique_ptr<AccessDatabase>> openBytes(const QByteArray &bytes);
    ~AccessDatabase();
    AccessDatabase(const AccessDatabase &) = delete;
    AccessDatabase &operator=(const AccessDatabase &) = delete;

    const AccessFormat &format() const;

    /// The user tables in catalogue order: local tables that are neither system tables nor
    /// links to other databases; saved queries are not tables.
    QStringList userTables() const;

    /// Reads at most `limit` records of the table named `table` (compared without regard to
    /// case) into `sink`, the field names first. Answers the number of records read.
    Result<qsizetype> readTable(const QString &table, qsizetype limit, AccessRowSink &sink);

    /// Runs a SELECT statement (its own TOP limit, if any, applies) into `sink`, the field names
    /// first. Answers the number of records read.
    Result<qsizetype> runQuery(const QString &statement, AccessRowSink &sink);

private:
    struct Private;
    explicit AccessDatabase(std::unique_ptr<Private> d);
    static Result<std::unique_ptr<AccessDatabase>> finishOpen(std::unique_ptr<Private> d);
    std::unique_ptr<Private> d;
};

} // namespace MGImport8
