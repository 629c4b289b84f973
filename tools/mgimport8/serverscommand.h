#pragma once

#include <QStringList>

namespace MGImport8::Tool {

/// `mgimport8 servers`: the SQL Servers the database panel would offer, one per line: those that
/// answer discovery on the network, then the registered ones, each once. Says so on standard error
/// when there are none. Exit status 0, or 2 on bad usage.
int runServers(const QStringList &arguments);

} // namespace MGImport8::Tool
