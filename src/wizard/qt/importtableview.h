#pragma once

#include <QTableView>

namespace MGImport8 {

class ImportGridModel;

/// The view of the working grid (`ImportTable`). Built to stay quick over millions of lines: every
/// row has the same fixed height except the mapping row, nothing is measured per row when a table
/// arrives, and column widths come from a sample of rows. Clicks, typed characters and the
/// selection range are handed on as signals; the wizard decides what they do.
class ImportTableView : public QTableView
{
    Q_OBJECT

public:
    /// Rows whose contents size the columns: those in view and about this many more.
    static constexpr int ColumnSampleRows = 200;

    explicit ImportTableView(QWidget *parent = nullptr);

    /// Takes the grid's model: sizes columns from the sample and heightens the mapping row whenever
    /// the table is replaced or reshaped.
    void setGridModel(ImportGridModel *model);
    /// Columns sized to the sampled contents, the mapping row one and a half lines high.
    void fitToContents();
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
    void selectionChanged(const QItemSelection &selected, const QItemSelection &deselected) override;

private:
    ImportGridModel *m_gridModel = nullptr;
    bool m_syncing = false;
};

} // namespace MGImport8
