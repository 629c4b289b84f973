#pragma once

#include <QStringList>

namespace MGImport8::Tool {

/// `mgimport8 import [options] FILE`: runs the Import Wizard headless, acting as a host, and
/// prints one JSON object per row handed over (or imports into a node store with --into).
/// Exit status: 0 when the import ran to its end, 1 when the input could not be read, 2 when a
/// check kept the wizard on its panel or on bad usage.
int runImport(const QStringList &arguments);

} // namespace MGImport8::Tool
