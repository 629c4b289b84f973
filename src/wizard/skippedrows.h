#pragma once

#include "wizard/wizardstate.h"

#include <QString>

namespace MGImport8 {

class ImportGrid;

/// The rows the host skipped, written back out so they can be fixed and imported again: one line
/// a row, its source fields in their order joined by the source's delimiter, and the host's status
/// text as a last field.
namespace SkippedRows {

/// What a source that is not a delimited text file is written with.
inline constexpr char16_t DefaultDelimiter = u',';

/// The first delimiter of the set the file was read with, or the default.
QChar delimiterOf(const QString &delimiterSet);

/// One skipped row as a line (no line end). A field holding the delimiter or a quote is quoted, so
/// nothing is lost.
QByteArray line(const ImportGrid &grid, const SkippedRow &row, QChar delimiter);

/// Writes every row, replacing `path` only once all is written. Empty on success, else the message
/// for the user.
QString write(const QString &path, const ImportGrid &grid, const QList<SkippedRow> &rows,
              QChar delimiter);

} // namespace SkippedRows

} // namespace MGImport8
