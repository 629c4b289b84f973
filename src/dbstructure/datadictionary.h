#pragma once

#include "common/result.h"
#include "sqladmin/catalogue.h"
#include "sqladmin/sqlsession.h"

#include <QString>

namespace MGImport8 {
class SQLDatabase;
namespace SqlAdmin {
using ManagedDatabase = MGImport8::SQLDatabase;
} // namespace SqlAdmin
} // namespace MGImport8

namespace MGImport8::DbStructure {

/// The table's name as the dictionary writes it: bare in the server's default schema,
/// "schema.table" elsewhere, so that tables of two schemas cannot share an entry.
QString dictionaryTableName(SqlAdmin::ServerKind kind, const SqlAdmin::ObjectName &table);

/// Writes the template of every user table of `database` to `fileName`, replacing the file in one
/// step. The error is the whole message the user reads.
Result<bool> writeDataDictionary(SqlAdmin::ManagedDatabase &database, SqlAdmin::ServerKind kind,
                                 const QString &fileName);

/// Adds to the dictionary in `fileName` the entries it lacks for the tables named in `tableNames`
/// (split at every comma, no trimming; matched without regard to case) and their columns, and
/// appends a line per table and per added field to `log`. Existing entries are never changed. On
/// failure the file is left as it was; `log` keeps the lines appended so far.
Result<bool> updateDataDictionary(SqlAdmin::ManagedDatabase &database, SqlAdmin::ServerKind kind,
                                  const QString &tableNames, const QString &fileName, QString &log);

} // namespace MGImport8::DbStructure
