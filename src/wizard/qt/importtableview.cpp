#include "wizard/qt/importtableview.h"

#include "wizard/gridrules.h"
#include "wizard/qt/importgridmodel.h"

#include <QHeaderView>
#include <QKeyEvent>

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

    QHeaderView *rows = verticalHeader();
    rows->setSectionResizeMode(QHeaderView::Fixed);
    rows->setDefaultSectionSize(fontMetrics().height() + RowPadding);
    rows->hide();
    QHeaderView *columns = horizontalHeader();
    columns->setResizeContentsPrecision(ColumnSampleRows);
    columns->setHighlightSections(false);

    connect(this, &QAbstractItemView::clicked, this,
            [this](const QModelIndex &index) { Q_EMIT cellClicked(index.row(), index.column()); });
}

void ImportTableView::setGridModel(ImportGridModel *model)
{
    m_gridModel = model;
    setModel(model);
    connect(model, &QAbstractItemModel::modelReset, this, &ImportTableView::fitToContents);
    fitToContents();
}

void ImportTableView::fitToContents()
{
    if (!m_gridModel)
        return;
    resizeColumnsToContents();
    const ImportGrid &grid = m_gridModel->grid();
    if (m_gridModel->rowCount() > 0
        && grid.rowTag(0).compare(QStringView(GridRules::MappingTag), Qt::CaseInsensitive) == 0) {
        verticalHeader()->resizeSection(0,
                                        int(std::lround(MappingRowLines * fontMetrics().height())));
    }
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
