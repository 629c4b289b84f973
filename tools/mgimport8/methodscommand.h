#pragma once

#include <QStringList>

namespace MGImport8::Tool {

/// `mgimport8 methods [--json]`: prints the import method catalogue as the wizard loads it.
/// Exit status: 0 when every method file loaded, 1 when one could not be loaded, 2 on bad usage.
int runMethods(const QStringList &arguments);

} // namespace MGImport8::Tool
