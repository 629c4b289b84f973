#pragma once

#include <QList>
#include <QString>

namespace MGImport8 {

class ImportGrid;

/// The "Match names from the first line" button: binds each source column whose text in the first
/// data row names a target column. It serves files whose header line has no "HEADER:" mark; the
/// automatic bindings are left as they are, and only the user's click applies these.
namespace HeaderMatch {

struct Binding
{
    int column = 0;
    /// The target column's name as the host's column list writes it.
    QString target;
};

/// The bindings the first data row (the row under the mapping row) suggests: its cells compared
/// with the non-empty names of `columns` (comma-separated), ignoring case and surrounding blanks.
QList<Binding> fromFirstLine(const ImportGrid &grid, const QString &columns);

} // namespace HeaderMatch

} // namespace MGImport8
