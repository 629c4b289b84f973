#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace MGImport8::CellValues {

/// How a number format shows its value, as far as the import cares.
enum class NumberKind { General, Date, Time, DateTime, ElapsedTime };

/// Which of the two date systems serial numbers count from.
enum class DateSystem { From1900, From1904 };

/// A number as a spreadsheet's General format shows it: the shortest text that reads back as the
/// value rounded to 15 significant digits; plain decimals from 1E-09 up to below 1E+15, scientific
/// ("1.5E+20", "1E-10") outside; no "-0"; "#NUM!" for infinities and NaN.
std::string generalNumber(double value);

/// The kind of a built-in number format (by its id) or of a format code. A code counts as a date
/// or time when, outside quotes, escapes and brackets, it has day, month, year, hour or second
/// letters; "[h]", "[mm]" and "[ss]" make it elapsed time.
NumberKind builtinFormatKind(int id);
NumberKind formatCodeKind(std::string_view code);

/// A serial date-time as text: "2024-03-01", "13:45:00", "2024-03-01 13:45:00", or elapsed
/// hours ("36:00:00"); seconds are rounded. Values outside the systems' range (negative, past
/// 9999-12-31) fall back to `generalNumber`. In the 1900 system serial 60 is the 29 February 1900
/// that the system counts, and 0 is "1900-01-00".
std::string serialDateText(double serial, NumberKind kind, DateSystem system);

/// ISO text of an OpenDocument date value ("2024-03-01" or "2024-03-01T13:45:00.5") in the same
/// forms; a time of midnight is left out. Unparsable text comes back as it is.
std::string isoDateText(std::string_view value);
/// An OpenDocument duration ("PT13H45M00S", "-PT1H") as "13:45:00"; unparsable text as it is.
std::string isoDurationText(std::string_view value);

} // namespace MGImport8::CellValues
