#pragma once

#include <QTableView>

namespace MGImport8 {

/// The mapping row kept in sight: a one-row view laid over the top of the working grid while the
/// grid is scrolled down, so the user always sees which column goes where. It shares the grid's
/// model and gets a delegate of the same kind, so its cells are the mapping row itself
/// (same drop-down, same colours, same edit rule). Its selection is its own: a pick there must not
/// move the grid's current cell, which would scroll the grid back to the top. At the top of the table it hides and the grid's own row 0 shows.
class PinnedRowView : public QTableView
{
    Q_OBJECT

public:
    /// `grid` is the view it lies over; it becomes the parent.
    explicit PinnedRowView(QTableView *grid);

    /// Follows the grid: model, edit triggers, column widths and the horizontal scroll.
    void follow();
    /// Shows or hides itself over the top of the grid's viewport.
    void place(bool pinned);

Q_SIGNALS:
    /// The mapping cell in this column was clicked.
    void cellClicked(int column);

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    QTableView *m_grid;
};

} // namespace MGImport8
