#pragma once

#include <QTableView>

namespace MGImport8 {

class ImportGridModel;
class PinnedRowView;

/// The view of the working grid (`ImportTable`). Built to stay quick over millions of lines: every
/// row has the same fixed height except the mapping row, nothing is measured per row when a table
/// arrives, and column widths come from a sample of rows. Clicks, typed characters and the
/// selection range are handed on as signals; the wizard decides what they do.
class ImportTableView : public QTableView
{
    Q_OBJECT

public:
    /// Rows whose contents size the columns: this many from the start, the middle and the end of
    /// the table each, so a long name far down is seen when the table arrives.
    static constexpr int ColumnSampleRows = 100;

    explicit ImportTableView(QWidget *parent = nullptr);

    /// Takes the grid's model: sizes columns from the sample and heightens the mapping row whenever
    /// the table is replaced or reshaped.
    void setGridModel(ImportGridModel *model);
    /// Columns sized to the sampled contents, the mapping row one and a half lines high.
    void fitToContents();
    /// Widens (never narrows) the columns in sight to the rows in sight.
    void widenToVisible();
    /// Whether row 0 is the mapping row.
    bool hasMappingRow() const;
    /// The mapping row's copy that stays over the top while the grid is scrolled down.
    PinnedRowView *pinnedRow() const { return m_pinned; }
    /// The selection colours (text, background), 0x00BBGGRR as the engine stores them.
    void setSelectionColors(quint32 foreColor, quint32 backColor);
    /// Puts the view's selection on the grid's range when they differ (the wizard moved it).
    void showGridSelection();

Q_SIGNALS:
    /// A cell was clicked (row and column from 0).
    void cellClicked(qsizetype row, int column);
    /// The character code of a key typed in the grid.
    void characterTyped(int code);
    /// The selection now covers these rows (-1, -1 for none).
    void rowRangeSelected(qsizetype firstRow, qsizetype lastRow);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    bool viewportEvent(QEvent *event) override;
    void updateGeometries() override;
    void scrollContentsBy(int dx, int dy) override;
    void scrollTo(const QModelIndex &index, ScrollHint hint = EnsureVisible) override;
    void selectionChanged(const QItemSelection &selected, const QItemSelection &deselected) override;

private:
    /// The width a cell asks for, as the delegate draws it.
    int cellWidth(int row, int column) const;
    void measureTextPadding();
    void widenRows(int firstRow, int lastRow, int firstColumn, int lastColumn);
    void placePinnedRow();

    ImportGridModel *m_gridModel = nullptr;
    PinnedRowView *m_pinned = nullptr;
    /// The width the style adds to a plain cell's text; -1 until measured.
    int m_textPadding = -1;
    bool m_syncing = false;
};

} // namespace MGImport8
