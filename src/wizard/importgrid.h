#pragma once

#include "wizard/table/texttable.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace MGImport8 {

/// A colour as the host family stores it: 0x00BBGGRR.
using GridColor = quint32;

/// How one cell looks. Unset colours and sizes mean "the view's default".
struct CellStyle
{
    std::optional<GridColor> foreColor;
    std::optional<GridColor> backColor;
    bool bold = false;
    std::optional<double> fontSize;
};

/// Check state of a check cell.
enum class CheckState : int { None = 0, Checked = 1, Unchecked = 2 };

/// The wizard's one working table: text cells addressed by row and column (both from 0), with check
/// states, styles, row and column tags, a fixed-column count, a drop-down list for edits and the
/// current selection. Source readers fill it with a `TextTable` (compact: one buffer and offsets,
/// no object per cell); the wizard then inserts the mapping row, adds the selection column, edits
/// cells and reads them back. Text is converted to QString only when asked for.
///
/// Edits never copy the source table: they live in overlays keyed by the row's and column's
/// identity, so inserting the mapping row or moving a column costs nothing per cell.
class ImportGrid
{
public:
    /// What changed, for a view that mirrors the grid. `Structure` covers rows or columns added,
    /// removed or moved, and a new table; `Cells` names a rectangle whose text, checks or styles
    /// changed.
    struct Change
    {
        enum Kind { Structure, Cells } kind = Structure;
        qsizetype firstRow = 0, lastRow = -1;
        int firstColumn = 0, lastColumn = -1;
    };
    using Observer = std::function<void(const Change &)>;

    /// The widest table the grid takes: a worksheet's width. Every source refuses a wider one
    /// before it reaches the grid, so one line of millions of fields costs a message, not
    /// gigabytes of column bookkeeping.
    static constexpr int MaxColumns = 16384;
    /// The first row of `table` wider than `MaxColumns`; -1 when every row fits.
    static qsizetype firstRowTooWide(const TextTable &table);

    ImportGrid();
    ~ImportGrid();
    ImportGrid(const ImportGrid &) = delete;
    ImportGrid &operator=(const ImportGrid &) = delete;

    /// No rows, no columns, no fixed columns, no tags, styles, checks, drop-down list or selection.
    void clear();
    /// Replaces everything with the rows of `table`, as many columns as its widest row.
    void setTable(std::shared_ptr<const TextTable> table);

    qsizetype rowCount() const;
    int columnCount() const;
    int fixedColumns() const;
    void setFixedColumns(int count);

    /// Cell text; empty for a cell that was never given any.
    QString text(qsizetype row, int column) const;
    /// The same text as UTF-8, for scans over millions of cells (IP detection, row selection):
    /// a cell still holding the source's text is handed out as stored, without conversion; an
    /// edited cell is converted into `scratch`. The view is valid until the grid or `scratch`
    /// changes.
    QByteArrayView utf8(qsizetype row, int column, QByteArray &scratch) const;
    void setText(qsizetype row, int column, const QString &text);
    CheckState checkState(qsizetype row, int column) const;
    void setCheckState(qsizetype row, int column, CheckState state);
    CellStyle style(qsizetype row, int column) const;
    void setStyle(qsizetype row, int column, const CellStyle &style);

    QString rowTag(qsizetype row) const;
    void setRowTag(qsizetype row, const QString &tag);
    /// Whether a row is hidden: it stays in the grid with its cells and check, but the import
    /// passes it over (a row filter hides the rows it does not keep).
    bool rowHidden(qsizetype row) const;
    void setRowHidden(qsizetype row, bool hidden);

    QString columnTag(int column) const;
    void setColumnTag(int column, const QString &tag);

    /// Adds an empty row at the bottom.
    void addRow();
    /// Inserts an empty row before `row` (0..rowCount()).
    void insertRow(qsizetype row);
    void removeRow(qsizetype row);
    /// Adds an empty column at the right.
    void addColumn();
    /// Moves a column with its cells, checks, styles and tag to another position.
    void moveColumn(int from, int to);
    /// Lowers (or raises) the column count; columns beyond it are dropped with their contents.
    void setColumnCount(int count);

    /// The "|"-separated list the grid offers when a cell is edited.
    QString comboList() const;
    void setComboList(const QString &list);

    /// The current selection range, rows and columns inclusive; (-1, -1) when nothing is selected.
    qsizetype selectionFirstRow() const;
    qsizetype selectionLastRow() const;
    void setSelection(qsizetype firstRow, qsizetype lastRow);

    /// Called after every change of what the cells show (texts, checks, styles, tags, rows and
    /// columns); the drop-down list and the selection are read when needed and not announced.
    /// One observer at a time (the view's model).
    void setObserver(Observer observer);
    /// Between these, changes are gathered and the observer hears of them once, at the last
    /// endUpdate(): one rectangle covering all cell changes, or `Structure` when any change was
    /// structural. Pairs nest.
    void beginUpdate();
    void endUpdate();

    /// Bytes held for cell text and offsets, for the benchmarks' memory figures.
    qsizetype memoryUsage() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace MGImport8
