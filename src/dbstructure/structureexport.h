#pragma once

#include "common/result.h"
#include "sqladmin/manageddatabase.h"
#include "sqladmin/sqlsession.h"

#include <QString>
#include <QStringList>

namespace MGImport8::DbStructure {

/// Writes the structure file of a live database: its CREATE command with the two placeholders,
/// its functions, tables (statement, key, columns with the export's attribute spellings,
/// indexes) and views, and the rows of the tables named in `dataTables` (compared without
/// regard to case) as seed data. Building a database from the file and exporting that gives
/// the same file, apart from the database's name and the dates of objects without a record.
Result<bool> writeStructureFile(SqlAdmin::ManagedDatabase &database, SqlAdmin::ServerKind kind,
                                const QString &fileName, const QStringList &dataTables);

} // namespace MGImport8::DbStructure
