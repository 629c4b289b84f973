#pragma once

#include <QStringList>

namespace MGImport8::Tool {

/// `mgimport8 login exists|test|password|create --server NAME [--server-type TYPE]
/// [--user U --password-file F] [--database NAME] --login NAME [--new-password-file F]`: the
/// monitoring account's operations. The login's password comes from --new-password-file only.
/// Exit status: 0 when the account exists, the password works or the change was made; 1 when it
/// does not, or the server could not be reached or refused; 2 on bad usage.
int runLogin(const QStringList &arguments);

/// `mgimport8 dictionary write|update --server NAME [--server-type TYPE] [--user U
/// --password-file F] --database NAME [--tables LIST] [--log] FILE`: writes a data dictionary
/// template, or updates FILE for the tables of LIST; --log prints the update's lines.
/// Exit status: 0 when written, 1 when the server or the file failed, 2 on bad usage.
int runDictionary(const QStringList &arguments);

} // namespace MGImport8::Tool
