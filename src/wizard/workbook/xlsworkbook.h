#pragma once

#include "wizard/table/texttable.h"

#include <QString>

#include <memory>

namespace MGImport8 {

/// Limits of the .xls reading.
namespace XlsLimits {
/// The child process that runs libfreexl is stopped after this long.
constexpr unsigned MaxSeconds = 120;
} // namespace XlsLimits

/// A binary Excel workbook (.xls, BIFF5 and BIFF8 in an OLE2 container) read through libfreexl.
/// Sheets are the workbook's worksheets in its own order, hidden ones included. Dates and times
/// come as libfreexl gives them ("2024-03-01", "2024-03-01 13:45:00", "13:45:00").
///
/// libfreexl trusts the lengths it reads from the file, so a damaged or crafted file can make it
/// read past its buffers. It therefore runs in a short-lived child process that sends the cells
/// back through a pipe: whatever the file does to it, the host's process is untouched, and a
/// child that dies or runs past `XlsLimits::MaxSeconds` is a damaged file. Failures throw
/// WorkbookFailure.
class XlsWorkbook
{
public:
    /// Reads the sheet at `position`; `position` past the last sheet fails with
    /// SubscriptOutOfRange.
    static std::shared_ptr<const TextTable> readSheet(const QString &path, int position);
};

} // namespace MGImport8
