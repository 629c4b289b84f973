#include "wizard/workbook/sheetcells.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

QString tooLargeArea()
{
    return u"The worksheet's used area holds more than %1 cells, more than can be imported"_s.arg(
        SheetLimits::MaxGridCells);
}

} // namespace

WorkbookStatus SheetCells::add(std::uint32_t row, std::uint32_t column, std::string_view text)
{
    if (text.empty())
        return true;
    if (row > SheetLimits::MaxRow || column > SheetLimits::MaxColumn)
        return WorkbookError{WorkbookErrorNumber::InvalidFileFormat,
                             u"A cell lies outside the sheet (row %1, column %2)"_s.arg(row + 1).arg(
                                 column + 1)};
    if (m_text.size() + text.size() > SheetLimits::MaxTextBytes)
        return WorkbookError{WorkbookErrorNumber::GridTooLarge,
                             u"The worksheet holds more text than can be imported"_s};
    if (m_cells.size() >= SheetLimits::MaxGridCells)
        return WorkbookError{WorkbookErrorNumber::GridTooLarge, tooLargeArea()};
    if (!m_cells.empty()) {
        const Cell &last = m_cells.back();
        if (row < last.row || (row == last.row && column <= last.column))
            m_sorted = false;
    }
    m_cells.push_back({row, column, std::uint32_t(m_text.size()), std::uint32_t(text.size())});
    m_text.append(text);
    return true;
}

void SheetCells::addMerge(const SheetRange &range)
{
    if (range.firstRow == range.lastRow && range.firstColumn == range.lastColumn)
        return;
    m_merges.push_back(range);
}

void SheetCells::sortCells()
{
    if (m_sorted)
        return;
    // Stable, so that of two cells at one position the later one stays last and wins.
    std::stable_sort(m_cells.begin(), m_cells.end(), [](const Cell &a, const Cell &b) {
        return a.row != b.row ? a.row < b.row : a.column < b.column;
    });
    std::vector<Cell> unique;
    unique.reserve(m_cells.size());
    for (const Cell &cell : m_cells) {
        if (!unique.empty() && unique.back().row == cell.row && unique.back().column == cell.column)
            unique.back() = cell;
        else
            unique.push_back(cell);
    }
    m_cells.swap(unique);
    m_sorted = true;
}

// Every cell of a merged area but its top-left one loses its text. Work is bounded: the cells
// visited are those in the area's rows, found by binary search.
WorkbookStatus SheetCells::blankMerges()
{
    std::uint64_t work = 0;
    auto before = [](const Cell &cell, std::pair<std::uint32_t, std::uint32_t> at) {
        return cell.row != at.first ? cell.row < at.first : cell.column < at.second;
    };
    for (const SheetRange &merge : m_merges) {
        auto it = std::lower_bound(m_cells.begin(), m_cells.end(),
                                   std::pair{merge.firstRow, merge.firstColumn}, before);
        while (it != m_cells.end() && it->row <= merge.lastRow) {
            if (++work > SheetLimits::MaxMergeWork)
                return WorkbookError{WorkbookErrorNumber::GridTooLarge,
                                     u"The worksheet has more merged cells than can be imported"_s};
            if (it->column > merge.lastColumn) {
                // Skip to the merge's first column in the next row.
                it = std::lower_bound(it, m_cells.end(), std::pair{it->row + 1, merge.firstColumn},
                                      before);
                continue;
            }
            if (it->column >= merge.firstColumn
                && (it->row != merge.firstRow || it->column != merge.firstColumn))
                it->length = 0;
            ++it;
        }
    }
    return true;
}

WorkbookResult<std::shared_ptr<const TextTable>> SheetCells::finish()
{
    sortCells();
    if (const WorkbookStatus blanked = blankMerges(); !blanked)
        return blanked.failure();
    std::erase_if(m_cells, [](const Cell &cell) { return cell.length == 0; });

    TextTable::Builder builder;
    if (m_cells.empty()) {
        m_text.clear();
        return builder.finish();
    }
    std::uint32_t firstColumn = SheetLimits::MaxColumn;
    for (const Cell &cell : m_cells)
        firstColumn = std::min(firstColumn, cell.column);
    const std::uint32_t firstRow = m_cells.front().row;

    // Cells the grid receives: each row up to its last cell, empty ones included.
    std::uint64_t gridCells = 0;
    for (size_t i = 0; i < m_cells.size(); ++i) {
        if (i + 1 == m_cells.size() || m_cells[i + 1].row != m_cells[i].row)
            gridCells += m_cells[i].column - firstColumn + 1;
    }
    if (gridCells > SheetLimits::MaxGridCells)
        return WorkbookError{WorkbookErrorNumber::GridTooLarge, tooLargeArea()};

    std::uint32_t row = firstRow;
    std::uint32_t column = firstColumn;
    builder.addRow();
    for (const Cell &cell : m_cells) {
        while (row < cell.row) {
            builder.addRow();
            ++row;
            column = firstColumn;
        }
        for (; column < cell.column; ++column)
            builder.addCell(QByteArrayView());
        builder.addCell(QByteArrayView(m_text.data() + cell.offset, cell.length));
        ++column;
    }
    m_cells.clear();
    m_text.clear();
    m_merges.clear();
    return builder.finish();
}

bool parseCellReference(std::string_view text, std::uint32_t &row, std::uint32_t &column)
{
    size_t i = 0;
    if (i < text.size() && text[i] == '$')
        ++i;
    std::uint64_t col = 0;
    size_t letters = 0;
    for (; i < text.size(); ++i, ++letters) {
        char c = text[i];
        if (c >= 'a' && c <= 'z')
            c = char(c - 'a' + 'A');
        if (c < 'A' || c > 'Z' || letters >= 3)
            break;
        col = col * 26 + std::uint64_t(c - 'A' + 1);
    }
    if (letters == 0 || letters > 3)
        return false;
    if (i < text.size() && text[i] == '$')
        ++i;
    std::uint64_t number = 0;
    size_t digits = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9' && digits < 8; ++i, ++digits)
        number = number * 10 + std::uint64_t(text[i] - '0');
    if (digits == 0 || i != text.size() || number == 0 || number - 1 > SheetLimits::MaxRow
        || col - 1 > SheetLimits::MaxColumn)
        return false;
    row = std::uint32_t(number - 1);
    column = std::uint32_t(col - 1);
    return true;
}

bool parseRangeReference(std::string_view text, SheetRange &range)
{
    const size_t colon = text.find(':');
    const std::string_view first = text.substr(0, colon);
    const std::string_view last = colon == std::string_view::npos ? first : text.substr(colon + 1);
    if (!parseCellReference(first, range.firstRow, range.firstColumn)
        || !parseCellReference(last, range.lastRow, range.lastColumn))
        return false;
    if (range.firstRow > range.lastRow)
        std::swap(range.firstRow, range.lastRow);
    if (range.firstColumn > range.lastColumn)
        std::swap(range.firstColumn, range.lastColumn);
    return true;
}

} // namespace MGImport8
