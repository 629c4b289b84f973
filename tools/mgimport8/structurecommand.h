#pragma once

#include <QStringList>

namespace MGImport8::Tool {

/// `mgimport8 structure verify|build|export ...`: structure maintenance from the command line.
/// verify brings a database into line with a structure file (--dry-run: in one transaction that
/// is rolled back, printing every statement); build creates a database from one; export writes
/// one from a live database. The trace goes to standard output, progress to standard error.
/// Exit status: 0 when the operation returned true, 1 when it did not, 2 on bad usage.
int runStructure(const QStringList &arguments);

} // namespace MGImport8::Tool
