#pragma once

#include "common/result.h"

#include <QString>

namespace MGImport8::SqlAdmin {

/// A name between SQL Server's brackets, as the server reads it back: every "]" doubled, so that
/// no name can end the identifier early and go on as a statement.
QString bracketedIdentifier(const QString &name);

/// A name between PostgreSQL's double quotes, as the server reads it back: every '"' doubled.
QString quotedIdentifier(const QString &name);

/// Refuses the one thing no quoting carries: a NUL, at which the drivers' C strings end, so that
/// the server would be handed a shorter name than the user chose. The message names the name.
Result<bool> checkNameCanBeQuoted(const QString &name,
                                  const QString &what = QStringLiteral("name"));

} // namespace MGImport8::SqlAdmin
