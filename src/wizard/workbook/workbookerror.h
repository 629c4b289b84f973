#pragma once

#include "common/result.h"

#include <QString>

namespace MGImport8 {

/// Error numbers a workbook load reports. The two the spreadsheet panel names (file in use, file
/// or reader missing) keep the numbers the wizard's messages were written for; the others are the
/// run-time error numbers a script host would give for the same trouble.
namespace WorkbookErrorNumber {
constexpr int SubscriptOutOfRange = 9; // a sheet position beyond the last sheet
constexpr int OutOfMemory = 7;
constexpr int DeviceIo = 57; // a read failed
constexpr int PermissionDenied = 70;
constexpr int FileInUse = 75;          // locked by another program
constexpr int InvalidFileFormat = 321; // damaged container, broken XML, bad references
constexpr int ReaderMissing = 432;     // no such file, or a format no reader here handles
constexpr int TooLarge = 31001;        // a part over the container limits (zip bombs)
constexpr int GridTooLarge = 31002;    // a sheet larger than the grid takes
} // namespace WorkbookErrorNumber

/// Why a workbook could not be loaded: the number the messages choose by, and the description
/// the user reads after it.
struct WorkbookError
{
    int number = 0;
    QString description;
};

/// A workbook step's outcome: its value, or the error that ends the load.
template<typename T>
using WorkbookResult = Result<T, WorkbookError>;
/// A workbook step without a value of its own: true, or the error that ends the load.
using WorkbookStatus = WorkbookResult<bool>;

} // namespace MGImport8
