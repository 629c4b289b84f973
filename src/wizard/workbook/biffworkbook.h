#pragma once

#include "wizard/workbook/bifftext.h"

#include <QString>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace MGImport8 {

/// Limits of the binary workbook reading, against crafted counts.
namespace BiffLimits {
/// Shared strings kept, whatever the table's header claims.
constexpr std::uint32_t MaxSharedStrings = 16U * 1024 * 1024;
/// Number formats and cell formats kept; later ones read as General.
constexpr std::uint32_t MaxFormats = 65536;
/// Sheets listed.
constexpr std::uint32_t MaxSheets = 65536;
} // namespace BiffLimits

/// Why a binary workbook cannot be read.
enum class BiffProblem {
    Damaged,     // container or records broken, cut short, or pointing nowhere
    Encrypted,   // protected with a password
    NotWorkbook, // a compound file without a workbook, or a stream that is no worksheet
    NoSuchSheet, // a position past the last sheet
};

struct BiffError
{
    BiffProblem problem = BiffProblem::Damaged;
    QString description;
};

/// A sheet of the workbook as its list names it.
struct BiffSheet
{
    std::string name; // UTF-8
    std::uint32_t offset = 0;
    std::uint8_t visibility = 0; // 0 visible, 1 hidden, 2 very hidden
    std::uint8_t type = 0;       // 0 worksheet, 1 macro sheet, 2 chart
};

/// How a cell's number is to be shown: a built-in format by id, or a format code.
struct BiffNumberFormat
{
    int builtinId = 0;
    bool hasCode = false;
    std::string code; // UTF-8
};

/// Receives a sheet's cells in the order the records hold them; positions are 0-based.
class BiffCellSink
{
public:
    virtual ~BiffCellSink() = default;
    /// `format` indexes `BiffWorkbook::numberFormats()`; past its end means General.
    virtual void number(std::uint32_t row, std::uint32_t column, double value, std::uint32_t format)
        = 0;
    /// Text in UTF-8; error values come as their texts ("#DIV/0!").
    virtual void text(std::uint32_t row, std::uint32_t column, std::string_view utf8) = 0;
    virtual void boolean(std::uint32_t row, std::uint32_t column, bool value) = 0;
    /// A merged area, inclusive.
    virtual void merge(std::uint32_t firstRow, std::uint32_t lastRow, std::uint32_t firstColumn,
                       std::uint32_t lastColumn)
        = 0;
    /// True once the sink has refused a cell; the sheet's reading stops there.
    bool stopped() const { return m_stopped; }

protected:
    void stop() { m_stopped = true; }

private:
    bool m_stopped = false;
};

/// A binary Excel workbook of any generation: BIFF8 (Excel 97-2003) and BIFF5 (Excel 5/95) in a
/// compound file's "Workbook" or "Book" stream, and the bare streams of Excel 2, 3 and 4
/// worksheets and Excel 4 workbooks. Reads the workbook's globals (sheet list, shared strings,
/// number and cell formats, date system, code page) on open and one sheet's cells on demand.
/// Every record length is checked against its stream and every index against its table.
class BiffWorkbook
{
public:
    BiffWorkbook() = default;
    // Records point into the workbook's own copy of its stream.
    BiffWorkbook(const BiffWorkbook &) = delete;
    BiffWorkbook &operator=(const BiffWorkbook &) = delete;

    /// Reads the workbook in `file` (kept alive by the caller for the object's life).
    std::optional<BiffError> open(std::string_view file);

    const std::vector<BiffSheet> &sheets() const { return m_sheets; }
    bool dates1904() const { return m_dates1904; }
    /// Number cells' formats: per cell format (XF) record, or for Excel 2 per number format.
    const std::vector<BiffNumberFormat> &numberFormats() const { return m_cellFormats; }
    /// The generation: 2, 3, 4, 5 or 8.
    int version() const { return m_version; }

    /// Sends the cells and merged areas of the sheet at `position` to `sink`.
    std::optional<BiffError> readSheet(int position, BiffCellSink &sink);

private:
    struct Record
    {
        std::uint16_t id = 0;
        std::string_view data;
        std::size_t next = 0; // where the following record starts
    };
    std::optional<BiffError> nextRecord(std::size_t at, Record &record) const;
    std::vector<std::string_view> continued(Record &record) const;
    std::optional<BiffError> readGlobals(std::size_t start, bool wholeStream);
    void readFormat(std::string_view data);
    void readCellFormat(std::uint16_t id, std::string_view data);
    std::optional<BiffError> readSharedStrings(Record &record);
    void readSheetName(std::string_view data);
    void findExcel4Sheets();
    std::string byteString(std::string_view data, std::size_t lengthBytes);
    void resolveFormats();

    std::string m_stream; // the workbook stream out of its container
    std::string_view m_data;
    int m_version = 8;
    bool m_singleSheet = false;
    std::size_t m_globalsEnd = 0;
    bool m_dates1904 = false;
    BiffText::Codepage m_codepage;
    std::vector<BiffSheet> m_sheets;
    std::vector<std::string> m_sharedStrings;
    // FORMAT records: by their own number (5 and 8) or in the order they come (2 to 4).
    std::vector<std::pair<int, std::string>> m_formats;
    std::vector<std::uint16_t> m_xfFormats; // the number format of each XF record
    std::vector<BiffNumberFormat> m_cellFormats;
};

} // namespace MGImport8
