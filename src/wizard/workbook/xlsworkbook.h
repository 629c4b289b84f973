#pragma once

#include "wizard/table/texttable.h"
#include "wizard/workbook/workbookerror.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <string_view>

namespace MGImport8 {

/// Limits of the .xls reading.
namespace XlsLimits {
/// A file read whole into memory; the largest sheets the format allows stay well below.
constexpr std::int64_t MaxFileBytes = 1LL << 30;
} // namespace XlsLimits

/// A binary Excel workbook (.xls: Excel 97-2003 and Excel 5/95 in their compound file, and the
/// bare worksheet files of Excel 2, 3 and 4) read by `BiffWorkbook`, with its cells shown as the
/// other formats show them: numbers in the General format, dates and times by their number
/// format in the workbook's date system, TRUE/FALSE, error values as their texts, formulas as
/// their cached results and merged areas as their top-left cell.
class XlsWorkbook
{
public:
    /// Reads the sheet at `position`; `position` past the last sheet fails with
    /// SubscriptOutOfRange.
    static WorkbookResult<std::shared_ptr<const TextTable>> readSheet(const QString &path,
                                                                      int position);
    /// The same for a workbook's bytes already in memory (fuzzing, tests).
    static WorkbookResult<std::shared_ptr<const TextTable>> readSheet(std::string_view bytes,
                                                                      int position);
};

} // namespace MGImport8
