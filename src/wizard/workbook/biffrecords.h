#pragma once

#include "wizard/workbook/bifftext.h"

#include <cstdint>
#include <cstring>
#include <string_view>

/// Record numbers and field readers shared by the workbook's and the sheets' record walks.
namespace MGImport8::BiffRecords {

using BiffText::u16;
using BiffText::u32;

// Record identifiers. Excel 2 numbers its cell records 0x00nn; Excel 3 and later add 0x0200 (and
// Excel 4 0x0400 to FORMULA), except where a later generation brought a record of its own.
namespace Id {
constexpr std::uint16_t Bof2 = 0x0009, Bof3 = 0x0209, Bof4 = 0x0409, Bof = 0x0809;
constexpr std::uint16_t Eof = 0x000A;
constexpr std::uint16_t FilePass = 0x002F;
constexpr std::uint16_t Codepage = 0x0042;
constexpr std::uint16_t DateMode = 0x0022;
constexpr std::uint16_t Format2 = 0x001E, Format = 0x041E;
constexpr std::uint16_t Xf2 = 0x0043, Xf3 = 0x0243, Xf4 = 0x0443, Xf = 0x00E0;
constexpr std::uint16_t BoundSheet = 0x0085, SheetHeader = 0x008F; // the latter Excel 4 only
constexpr std::uint16_t Sst = 0x00FC, Continue = 0x003C;
constexpr std::uint16_t Integer2 = 0x0002, Number2 = 0x0003, Label2 = 0x0004, BoolErr2 = 0x0005;
constexpr std::uint16_t Formula = 0x0006, Formula3 = 0x0206, Formula4 = 0x0406;
constexpr std::uint16_t String2 = 0x0007, String = 0x0207;
constexpr std::uint16_t Number = 0x0203, Label = 0x0204, BoolErr = 0x0205, Rk = 0x027E;
constexpr std::uint16_t MulRk = 0x00BD, LabelSst = 0x00FD, RString = 0x00D6;
constexpr std::uint16_t MergedCells = 0x00E5;
} // namespace Id

// The kinds of substream a BOF record opens.
constexpr std::uint16_t GlobalsStream = 0x0005;
constexpr std::uint16_t VisualBasicStream = 0x0006;
constexpr std::uint16_t WorksheetStream = 0x0010;
constexpr std::uint16_t ChartStream = 0x0020;
constexpr std::uint16_t MacroStream = 0x0040;
constexpr std::uint16_t Excel4WorkbookStream = 0x0100;
constexpr std::uint8_t VisualBasicSheet = 6;
constexpr std::uint16_t Biff5Version = 0x0500;
constexpr std::size_t RecordHeaderBytes = 4;

inline double f64(std::string_view data, std::size_t at)
{
    double value = 0;
    std::memcpy(&value, data.data() + at, sizeof value);
    return value;
}

// An RK value: a 30-bit integer or the top of a double, perhaps divided by 100.
inline double rkValue(std::uint32_t rk)
{
    double value = 0;
    if (rk & 0x02) {
        value = double(std::int32_t(rk) >> 2);
    } else {
        const std::uint64_t bits = std::uint64_t(rk & 0xFFFFFFFC) << 32;
        std::memcpy(&value, &bits, sizeof value);
    }
    return (rk & 0x01) ? value / 100 : value;
}

inline std::string_view errorText(std::uint8_t code)
{
    switch (code) {
    case 0x00:
        return "#NULL!";
    case 0x07:
        return "#DIV/0!";
    case 0x0F:
        return "#VALUE!";
    case 0x17:
        return "#REF!";
    case 0x1D:
        return "#NAME?";
    case 0x24:
        return "#NUM!";
    default:
        return "#N/A";
    }
}

inline bool isBof(std::uint16_t id)
{
    return id == Id::Bof2 || id == Id::Bof3 || id == Id::Bof4 || id == Id::Bof;
}

} // namespace MGImport8::BiffRecords
