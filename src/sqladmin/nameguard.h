#pragma once

#include "common/result.h"

#include <QString>

namespace MGImport8::SqlAdmin {

/// Where a name goes when it is put into a text as it stands, without escaping.
enum class NamePlace {
    /// Between SQL Server's brackets: "[" + name + "]".
    BracketedIdentifier,
    /// Between PostgreSQL's double quotes: "\"" + name + "\"".
    QuotedIdentifier,
    /// Between single quotes in a statement: "'" + name + "'".
    StringLiteral,
    /// The value of a connection string entry: "Initial Catalog=" + name + ";".
    ConnectionValue,
};

/// Refuses a name that would change the meaning of the text it is put into as it stands: a
/// bracket or quote that would end it early, a semicolon that would start another statement or
/// entry, a quote that would open a connection string value, or a control character. The message
/// names the name and the character.
Result<bool> checkNameAsItStands(const QString &name, NamePlace place);

} // namespace MGImport8::SqlAdmin
