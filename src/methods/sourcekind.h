#pragma once

#include <QString>

namespace MGImport8 {

class ImportType;

/// What an import method reads, told by its METHOD name alone. Every part of the wizard and the
/// command-line tool asks here, so that the names are compared in one place and one way.
enum class SourceKind {
    TextFile,       ///< "IMPORTTEXT": a delimited text file read on the file panel's exit
    AccessDatabase, ///< "IMPORTACCESS": an Access database file opened through its Jet string
    SqlServer,      ///< "IMPORTSQL", and every server method that names no other server
    PostgreSql,     ///< "IMPORTPOSTGRESQL"
    Other,          ///< anything else: workbooks, and methods the wizard reads no source for
};

/// The kind of a METHOD name, compared upper-cased as the wizard compares it.
SourceKind sourceKind(const QString &methodName);
SourceKind sourceKind(const ImportType &method);

/// The METHOD name of a kind; empty for `Other`.
QString methodName(SourceKind kind);

} // namespace MGImport8
