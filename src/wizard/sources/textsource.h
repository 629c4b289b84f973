#pragma once

#include "common/result.h"
#include "wizard/table/texttable.h"

#include <QString>

#include <memory>

namespace MGImport8 {

/// Reads a delimited text file into a table: one row a line, one cell a field.
///
/// Decoding: a UTF-8 byte-order mark is dropped and the text read as UTF-8; a UTF-16 mark (either
/// order) switches to UTF-16; any other file is UTF-8 when valid and Windows-1252 when not.
/// Splitting: every carriage return is deleted, lines end at line feeds; every character of
/// `delimiters` is a delimiter of its own; a field runs to the first delimiter; a delimiter at the
/// very end of a line gives no extra field; an empty line is an empty row; a field of two or more
/// characters that starts and ends with the same quote (" or ') loses both quotes, after
/// splitting. An empty `delimiters` makes each line one field.
///
/// The error is the reason the file could not be read (not found, permission, too large ...);
/// the wizard puts it after its "Cannot open '...'" line.
Result<std::shared_ptr<const TextTable>> readDelimitedText(const QString &path,
                                                           const QString &delimiters);

/// The same for bytes already in memory (tests, fuzzing).
std::shared_ptr<const TextTable> splitDelimitedText(QByteArray bytes, const QString &delimiters);

} // namespace MGImport8
