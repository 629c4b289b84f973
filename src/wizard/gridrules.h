#pragma once

#include "wizard/importgrid.h"

#include <QString>

namespace MGImport8 {

/// The layout rules of the working grid: row 0 becomes the mapping row on the mapping panel,
/// column 0 the selection column on the row selection panel, and the check cells of column 0
/// decide which data rows are imported.
namespace GridRules {

/// Row tag of the mapping row.
inline constexpr char16_t MappingTag[] = u"Mapping";
/// Column tag of the selection column.
inline constexpr char16_t RowSelectionTag[] = u"RowSelection";
/// Row tag of a database table's field-name row.
inline constexpr char16_t FieldHeaderTag[] = u"FieldHeader";
/// What a mapping cell holds for a source column that is not imported.
inline constexpr char16_t IgnoreChoice[] = u"<ignore>";

/// Colours as 0x00BBGGRR.
constexpr GridColor Black = 0x000000;
constexpr GridColor LightGrey = 0xC8C8C8; // RGB 200, 200, 200
constexpr GridColor Grey = 0x808080;      // RGB 128, 128, 128
constexpr GridColor Blue = 0xFF0000;      // RGB 0, 0, 255
constexpr double MappingFontSize = 10;

/// Gathers the grid's change notices for the length of a bulk change (checks of every row, the
/// bindings of the mapping row), so a view hears of it once.
class UpdateGuard
{
public:
    explicit UpdateGuard(ImportGrid &grid)
        : m_grid(grid)
    {
        m_grid.beginUpdate();
    }
    ~UpdateGuard() { m_grid.endUpdate(); }
    UpdateGuard(const UpdateGuard &) = delete;
    UpdateGuard &operator=(const UpdateGuard &) = delete;

private:
    ImportGrid &m_grid;
};

/// Prepares the mapping row: a selection column left from the row selection panel goes first, so
/// source columns keep their places; then, unless row 0 already is the mapping row, a new row 0 is
/// inserted, tagged and filled with grey "<ignore>" cells. True when a new row was inserted (and
/// so needs its automatic bindings).
bool insertMappingRow(ImportGrid &grid);

/// Adds the selection column at position 0 as the grid's one fixed column, unless it is there.
void addSelectionColumn(ImportGrid &grid);

/// Whether column 0 is the selection column.
bool hasSelectionColumn(const ImportGrid &grid);

/// The first source column: 1 behind the selection column, else 0.
int firstSourceColumn(const ImportGrid &grid);

/// Colours an edited mapping cell: grey for "<ignore>" (any case), blue for a bound column.
void colourMappingCell(ImportGrid &grid, int column);

/// Flips one row's check cell: checked becomes unchecked, anything else checked.
void flipCheck(ImportGrid &grid, qsizetype row);

/// Sets the check cell of every data row, 1 to the last.
void setAllChecks(ImportGrid &grid, CheckState state);

/// Flips every row of the grid's selection range, as the grid reports it.
void toggleSelectedRows(ImportGrid &grid);

/// The number of data rows, 1 to the last, whose check cell is checked.
qsizetype checkedRowCount(const ImportGrid &grid);

} // namespace GridRules

} // namespace MGImport8
