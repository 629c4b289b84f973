#pragma once

#include "sqladmin/catalogue.h"

#include <QString>

namespace MGImport8::DbStructure {

/// A column's data type and length as the structure export writes them into `DataType` and
/// `Length`, and so as the verification compares them: the type exactly as the server's catalogue
/// names it ("nvarchar", "character varying", "integer"), the length in decimal (characters for
/// character types, bytes for fixed-size ones, -1 for unbounded ones).
struct ColumnSpelling
{
    QString dataType;
    QString length;
};

ColumnSpelling spellColumn(const SqlAdmin::ColumnInfo &column);

/// The type as a column definition writes it: `dataType` followed by "(length)" for a character
/// type of a positive length, "(max)" for an unbounded one on SQL Server; other types as they are.
QString columnTypeDeclaration(const QString &dataType, int length, bool sqlServer);

} // namespace MGImport8::DbStructure
