#pragma once

#include "wizard/table/texttable.h"
#include "wizard/workbook/workbookerror.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

namespace MGImport8 {

/// One sheet's load: its used area as text cells, or why there is none.
struct SheetLoad
{
    std::shared_ptr<const TextTable> table;
    std::optional<WorkbookError> error;
};

/// The workbook formats, told apart by content rather than by name.
enum class WorkbookFormat { Unknown, Zip, Ole2, OldBiff };
WorkbookFormat sniffWorkbookFormat(QByteArrayView head);

/// Loads the sheet at `position` (from 0, in the workbook's own order of sheets, hidden and chart
/// sheets included) of the workbook at `path`: .xlsx/.xlsm and .ods from their zip containers,
/// .xls (Excel 2 to 2003) from its compound file or bare stream, chosen by the file's first bytes.
///
/// Error numbers: FileInUse when another program holds a lock on the file (a POSIX or flock lock)
/// or an office lock file ("~$name", ".~lock.name#") lies beside it; ReaderMissing when the file
/// does not exist or is in a form no reader here handles (binary .xlsb, encrypted
/// workbooks, anything that is no workbook); the others for damaged files, sheets past the last,
/// and limits.
SheetLoad loadWorkbookSheet(const QString &path, int position);

/// The same for a zip-based workbook (.xlsx, .ods) already in memory (fuzzing, tests).
SheetLoad loadZipWorkbookSheet(QByteArray bytes, int position);

/// True when another program holds the file: an advisory lock on it, or an office lock file
/// beside it.
bool workbookInUse(const QString &path);

} // namespace MGImport8
