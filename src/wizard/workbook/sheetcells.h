#pragma once

#include "wizard/table/texttable.h"
#include "wizard/workbook/workbookerror.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace MGImport8 {

/// Limits that keep a hostile or absurd sheet from taking the machine.
namespace SheetLimits {
/// Cells the grid gets, counting the empty ones that keep columns in place.
constexpr std::uint64_t MaxGridCells = 64ULL * 1024 * 1024;
/// Text of all cells together.
constexpr std::uint64_t MaxTextBytes = 1ULL << 31;
/// Work spent blanking the covered parts of merged areas (cells visited).
constexpr std::uint64_t MaxMergeWork = 64ULL * 1024 * 1024;
/// The largest row and column positions a sheet may use (0-based), as the newest formats allow.
constexpr std::uint32_t MaxRow = 1048575;
constexpr std::uint32_t MaxColumn = 16383;
} // namespace SheetLimits

/// A rectangle of a sheet, 0-based and inclusive.
struct SheetRange
{
    std::uint32_t firstRow = 0;
    std::uint32_t firstColumn = 0;
    std::uint32_t lastRow = 0;
    std::uint32_t lastColumn = 0;
};

/// Collects a sheet's cells wherever they lie, then gives the used area (the smallest rectangle
/// holding every non-empty cell) as a table: its top-left cell becomes row 0, column 0; empty rows
/// and columns inside it stay; merged areas keep only their top-left cell. Positions beyond the
/// sheet limits and text past the limits fail the load.
class SheetCells
{
public:
    /// Adds the text of the cell at (row, column); empty text adds nothing. A later cell at the
    /// same position replaces an earlier one.
    WorkbookStatus add(std::uint32_t row, std::uint32_t column, std::string_view text);
    void addMerge(const SheetRange &range);
    std::size_t cellCount() const { return m_cells.size(); }
    /// The used area as text cells; the collector is left empty.
    WorkbookResult<std::shared_ptr<const TextTable>> finish();

private:
    struct Cell
    {
        std::uint32_t row;
        std::uint32_t column;
        std::uint32_t offset;
        std::uint32_t length;
    };
    void sortCells();
    WorkbookStatus blankMerges();

    std::vector<Cell> m_cells;
    std::string m_text;
    std::vector<SheetRange> m_merges;
    bool m_sorted = true;
};

/// "B3" or "$B$3" to 0-based (row, column); false for anything else.
bool parseCellReference(std::string_view text, std::uint32_t &row, std::uint32_t &column);
/// "A1:C4" (or a single cell) to a range; false for anything else.
bool parseRangeReference(std::string_view text, SheetRange &range);

} // namespace MGImport8
