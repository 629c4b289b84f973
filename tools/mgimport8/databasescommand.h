#pragma once

#include <QStringList>

namespace MGImport8::Tool {

/// `mgimport8 databases --server NAME [--server-type TYPE] [--user U --password-file F]`: the
/// server's databases, one per line, in the server's order, as the database panel lists them.
/// Exit status: 0 when listed, 1 when the server could not be reached or refused the login, 2 on
/// bad usage.
int runDatabases(const QStringList &arguments);

} // namespace MGImport8::Tool
