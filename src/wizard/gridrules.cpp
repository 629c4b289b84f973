#include "wizard/gridrules.h"

#include <algorithm>

namespace MGImport8::GridRules {

namespace {

QString tagText(const char16_t *tag)
{
    return QString::fromUtf16(tag);
}

} // namespace

bool hasSelectionColumn(const ImportGrid &grid)
{
    return grid.columnCount() > 0 && grid.columnTag(0) == tagText(RowSelectionTag);
}

int firstSourceColumn(const ImportGrid &grid)
{
    return hasSelectionColumn(grid) ? 1 : 0;
}

bool insertMappingRow(ImportGrid &grid)
{
    const UpdateGuard update(grid);
    if (hasSelectionColumn(grid)) {
        grid.moveColumn(0, grid.columnCount() - 1);
        grid.setColumnCount(grid.columnCount() - 1);
        grid.setFixedColumns(0);
    }
    if (grid.rowCount() > 0 && grid.rowTag(0).compare(tagText(MappingTag), Qt::CaseInsensitive) == 0)
        return false;

    grid.insertRow(0);
    grid.setRowTag(0, tagText(MappingTag));
    CellStyle style;
    style.foreColor = Black;
    style.backColor = LightGrey;
    style.bold = false;
    style.fontSize = MappingFontSize;
    const QString ignore = tagText(IgnoreChoice);
    for (int column = 0; column < grid.columnCount(); ++column) {
        grid.setStyle(0, column, style);
        grid.setText(0, column, ignore);
    }
    return true;
}

void addSelectionColumn(ImportGrid &grid)
{
    const UpdateGuard update(grid);
    if (hasSelectionColumn(grid))
        return;
    grid.addColumn();
    grid.moveColumn(grid.columnCount() - 1, 0);
    grid.setColumnTag(0, tagText(RowSelectionTag));
    grid.setFixedColumns(1);
}

void colourMappingCell(ImportGrid &grid, int column)
{
    CellStyle style = grid.style(0, column);
    const bool ignored = grid.text(0, column).compare(tagText(IgnoreChoice), Qt::CaseInsensitive)
                         == 0;
    style.foreColor = ignored ? Grey : Blue;
    grid.setStyle(0, column, style);
}

void flipCheck(ImportGrid &grid, qsizetype row)
{
    const bool checked = grid.checkState(row, 0) == CheckState::Checked;
    grid.setCheckState(row, 0, checked ? CheckState::Unchecked : CheckState::Checked);
}

void setAllChecks(ImportGrid &grid, CheckState state)
{
    const UpdateGuard update(grid);
    for (qsizetype row = 1; row < grid.rowCount(); ++row)
        grid.setCheckState(row, 0, state);
}

void toggleSelectedRows(ImportGrid &grid)
{
    const UpdateGuard update(grid);
    const qsizetype from = grid.selectionFirstRow();
    const qsizetype to = grid.selectionLastRow();
    const qsizetype first = std::min(from, to);
    const qsizetype last = std::max(from, to);
    if (first < 0)
        return;
    for (qsizetype row = first; row <= last && row < grid.rowCount(); ++row)
        flipCheck(grid, row);
}

qsizetype checkedRowCount(const ImportGrid &grid)
{
    qsizetype count = 0;
    for (qsizetype row = 1; row < grid.rowCount(); ++row) {
        if (grid.checkState(row, 0) == CheckState::Checked)
            ++count;
    }
    return count;
}

} // namespace MGImport8::GridRules
