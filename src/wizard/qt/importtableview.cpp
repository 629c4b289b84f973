#include "wizard/qt/importtableview.h"

#include "wizard/gridrules.h"
#include "wizard/qt/importgridmodel.h"
#include "wizard/qt/mappingkeys.h"
#include "wizard/qt/pinnedrowview.h"

#include <QHeaderView>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QScrollBar>
#include <QStyle>
#include <QStyleOptionViewItem>
#include <QToolTip>

#include <cmath>

namespace MGImport8 {

namespace {

/// The mapping row is one and a half times the height of a line of text.
constexpr double MappingRowLines = 1.5;
/// Space above and below the text of an ordinary row, in pixels.
constexpr int RowPadding = 4;

} // namespace

ImportTableView::ImportTableView(QWidget *parent)
    : QTableView(parent)
{
    setObjectName(QStringLiteral("ImportTable"));
    setSelectionMode(QAbstractItemView::ContiguousSelection);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::SelectedClicked
                    | QAbstractItemView::EditKeyPressed);
    setWordWrap(false);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    // Arrows move between cells; Tab leaves the grid for the buttons, so no keyboard user is
    // caught in a table of millions of cells.
    setTabKeyNavigation(false);

    QHeaderView *rows = verticalHeader();
    rows->setSectionResizeMode(QHeaderView::Fixed);
    rows->setDefaultSectionSize(fontMetrics().height() + RowPadding);
    rows->hide();
    QHeaderView *columns = horizontalHeader();
    columns->setHighlightSections(false);
    setAccessibleName(tr("Import rows"));

    m_pinned = new PinnedRowView(this);
    connect(this, &QAbstractItemView::clicked, this,
            [this](const QModelIndex &index) { Q_EMIT cellClicked(index.row(), index.column()); });
    connect(m_pinned, &PinnedRowView::cellClicked, this,
            [this](int column) { Q_EMIT cellClicked(0, column); });
    // Longer texts further down widen their columns as they come into sight.
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &ImportTableView::widenToVisible);
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, this,
            &ImportTableView::widenToVisible);
}

void ImportTableView::setGridModel(ImportGridModel *model)
{
    m_gridModel = model;
    setModel(model);
    connect(model, &QAbstractItemModel::modelReset, this, &ImportTableView::fitToContents);
    connect(model, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex &topLeft, const QModelIndex &bottomRight) {
                // A new binding in the mapping row may be longer than its column.
                if (topLeft.row() == 0)
                    widenRows(0, 0, topLeft.column(), bottomRight.column());
            });
    m_pinned->follow();
    fitToContents();
}

bool ImportTableView::hasMappingRow() const
{
    return m_gridModel && m_gridModel->rowCount() > 0
           && m_gridModel->grid().rowTag(0).compare(QStringView(GridRules::MappingTag),
                                                    Qt::CaseInsensitive)
                  == 0;
}

int ImportTableView::cellWidth(int row, int column) const
{
    // The grid line takes a pixel of the cell.
    const int gridLine = showGrid() ? 1 : 0;
    const ImportGrid &grid = m_gridModel->grid();
    // Plain text cells, nearly all of them, are measured with the font's cached advances: the
    // delegate's measure lays the text out, which would cost more than painting the screen.
    if (m_textPadding >= 0 && (row > 0 || !hasMappingRow())
        && grid.checkState(row, column) == CheckState::None) {
        const CellStyle style = grid.style(row, column);
        if (!style.bold && !style.fontSize) {
            const QString text = grid.text(row, column);
            return text.isEmpty()
                       ? 0
                       : fontMetrics().horizontalAdvance(text) + m_textPadding + gridLine;
        }
    }
    // The rest (the mapping row's font, tick boxes, bold) as the delegate draws them.
    return sizeHintForIndex(m_gridModel->index(row, column)).width() + gridLine;
}

void ImportTableView::measureTextPadding()
{
    // What the style adds around a line of text in a cell, measured once on a probe.
    const QString probe = QStringLiteral("Xg");
    QStyleOptionViewItem option;
    initViewItemOption(&option);
    option.text = probe;
    option.features |= QStyleOptionViewItem::HasDisplay;
    const int measured
        = style()->sizeFromContents(QStyle::CT_ItemViewItem, &option, QSize(), this).width();
    // One pixel more than the probe shows: a laid-out line may round up where advances do not.
    m_textPadding = std::max(0, measured - fontMetrics().horizontalAdvance(probe) + 1);
}

void ImportTableView::widenRows(int firstRow, int lastRow, int firstColumn, int lastColumn)
{
    if (!m_gridModel || firstRow < 0 || firstColumn < 0)
        return;
    lastRow = std::min(lastRow, m_gridModel->rowCount() - 1);
    lastColumn = std::min(lastColumn, m_gridModel->columnCount() - 1);
    for (int column = firstColumn; column <= lastColumn; ++column) {
        int widest = columnWidth(column);
        for (int row = firstRow; row <= lastRow; ++row)
            widest = std::max(widest, cellWidth(row, column));
        if (widest > columnWidth(column))
            setColumnWidth(column, widest);
    }
}

void ImportTableView::widenToVisible()
{
    if (!m_gridModel || m_gridModel->rowCount() == 0 || m_gridModel->columnCount() == 0)
        return;
    const int firstRow = std::max(0, rowAt(0));
    int lastRow = rowAt(viewport()->height() - 1);
    if (lastRow < 0)
        lastRow = m_gridModel->rowCount() - 1;
    const int firstColumn = std::max(0, columnAt(0));
    int lastColumn = columnAt(viewport()->width() - 1);
    if (lastColumn < 0)
        lastColumn = m_gridModel->columnCount() - 1;
    widenRows(firstRow, lastRow, firstColumn, lastColumn);
    if (hasMappingRow())
        widenRows(0, 0, firstColumn, lastColumn);
}

void ImportTableView::fitToContents()
{
    if (!m_gridModel)
        return;
    const int rows = m_gridModel->rowCount();
    const int columns = m_gridModel->columnCount();
    measureTextPadding();
    for (int column = 0; column < columns; ++column)
        setColumnWidth(column, horizontalHeader()->sectionSizeHint(column));
    // The start, the middle and the end of the table, so names far down count from the start.
    const int middle = rows / 2 - ColumnSampleRows / 2;
    widenRows(0, ColumnSampleRows - 1, 0, columns - 1);
    if (rows > ColumnSampleRows)
        widenRows(std::max(ColumnSampleRows, middle), middle + ColumnSampleRows - 1, 0, columns - 1);
    if (rows > 2 * ColumnSampleRows)
        widenRows(std::max(middle + ColumnSampleRows, rows - ColumnSampleRows), rows - 1, 0,
                  columns - 1);
    widenToVisible();
    if (hasMappingRow()) {
        verticalHeader()->resizeSection(0,
                                        int(std::lround(MappingRowLines * fontMetrics().height())));
    }
    m_pinned->follow();
    placePinnedRow();
}

void ImportTableView::placePinnedRow()
{
    if (!m_pinned)
        return; // the view is still being built
    m_pinned->place(hasMappingRow() && verticalScrollBar()->value() > 0);
}

void ImportTableView::updateGeometries()
{
    QTableView::updateGeometries();
    placePinnedRow();
}

void ImportTableView::scrollContentsBy(int dx, int dy)
{
    QTableView::scrollContentsBy(dx, dy);
    placePinnedRow();
}

void ImportTableView::scrollTo(const QModelIndex &index, ScrollHint hint)
{
    QTableView::scrollTo(index, hint);
    if (!index.isValid() || index.row() == 0 || !m_pinned || !m_pinned->isVisible())
        return;
    // A row that would sit under the pinned mapping row is brought out below it.
    const int covered = m_pinned->height() - visualRect(index).top();
    if (covered > 0) {
        const int rowHeight = std::max(1, verticalHeader()->defaultSectionSize());
        QScrollBar *bar = verticalScrollBar();
        bar->setValue(std::max(0, bar->value() - (covered + rowHeight - 1) / rowHeight));
    }
}

bool ImportTableView::viewportEvent(QEvent *event)
{
    if (event->type() == QEvent::ToolTip && m_gridModel) {
        // The full text of a cell its column cuts short.
        auto *help = static_cast<QHelpEvent *>(event);
        const QModelIndex index = indexAt(help->pos());
        if (index.isValid()
            && cellWidth(index.row(), index.column()) > columnWidth(index.column())) {
            QToolTip::showText(help->globalPos(), index.data(Qt::DisplayRole).toString(),
                               viewport(), visualRect(index));
        } else {
            QToolTip::hideText();
        }
        event->accept();
        return true;
    }
    return QTableView::viewportEvent(event);
}

void ImportTableView::setSelectionColors(quint32 foreColor, quint32 backColor)
{
    QPalette colours = palette();
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
        colours.setColor(group, QPalette::HighlightedText, ImportGridModel::color(foreColor));
        colours.setColor(group, QPalette::Highlight, ImportGridModel::color(backColor));
    }
    setPalette(colours);
}

void ImportTableView::showGridSelection()
{
    if (!m_gridModel || !selectionModel())
        return;
    const ImportGrid &grid = m_gridModel->grid();
    const qsizetype first = grid.selectionFirstRow();
    const qsizetype last = grid.selectionLastRow();
    if (first < 0 || last >= m_gridModel->rowCount() || m_gridModel->columnCount() == 0)
        return;
    // hasSelection(), not selectedIndexes(): a selection of every row would list millions.
    if (selectionModel()->hasSelection())
        return;
    m_syncing = true;
    // The rows' first cells: enough for the rows to count as selected, and the mapping row's
    // colours stay visible.
    const QItemSelection range(m_gridModel->index(int(first), 0), m_gridModel->index(int(last), 0));
    selectionModel()->select(range, QItemSelectionModel::ClearAndSelect);
    selectionModel()->setCurrentIndex(m_gridModel->index(int(first), 0),
                                      QItemSelectionModel::NoUpdate);
    m_syncing = false;
}

void ImportTableView::keyPressEvent(QKeyEvent *event)
{
    // Only while the mapping row may be edited: elsewhere the keys must not move the selection.
    if (opensMappingChoice(*event) && currentIndex().isValid()
        && editTriggers().testFlag(QAbstractItemView::EditKeyPressed)) {
        // The mapping cell of the current column; the wizard decides whether it may be edited.
        const QModelIndex mapping = m_gridModel->index(0, currentIndex().column());
        setCurrentIndex(mapping);
        if (edit(mapping, QAbstractItemView::EditKeyPressed, event))
            openDropDown(indexWidget(mapping));
        event->accept();
        return;
    }
    const QString text = event->text();
    if (state() != QAbstractItemView::EditingState && text.size() == 1 && text.at(0).isPrint()) {
        Q_EMIT characterTyped(text.at(0).unicode());
        if (event->key() == Qt::Key_Space) {
            // The space key belongs to the wizard (it ticks rows); it must not start an edit.
            event->accept();
            return;
        }
    }
    QTableView::keyPressEvent(event);
}

void ImportTableView::selectionChanged(const QItemSelection &selected,
                                       const QItemSelection &deselected)
{
    QTableView::selectionChanged(selected, deselected);
    if (m_syncing || !selectionModel())
        return;
    qsizetype first = -1;
    qsizetype last = -1;
    const QItemSelection ranges = selectionModel()->selection();
    for (const QItemSelectionRange &range : ranges) {
        if (first < 0 || range.top() < first)
            first = range.top();
        last = std::max<qsizetype>(last, range.bottom());
    }
    Q_EMIT rowRangeSelected(first, last);
}

} // namespace MGImport8
