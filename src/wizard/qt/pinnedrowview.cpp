#include "wizard/qt/pinnedrowview.h"

#include "wizard/qt/mappingkeys.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QScrollBar>

namespace MGImport8 {

PinnedRowView::PinnedRowView(QTableView *grid)
    : QTableView(grid)
    , m_grid(grid)
{
    setObjectName(QStringLiteral("PinnedMappingRow"));
    setAccessibleName(tr("Mapping row"));
    setAccessibleDescription(tr("The field each column is imported into; stays in sight."));
    horizontalHeader()->hide();
    verticalHeader()->hide();
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    setWordWrap(false);
    setSelectionMode(QAbstractItemView::ContiguousSelection);
    hide();

    connect(grid->horizontalScrollBar(), &QScrollBar::valueChanged, horizontalScrollBar(),
            &QScrollBar::setValue);
    connect(grid->horizontalHeader(), &QHeaderView::sectionResized, this,
            [this](int column, int, int width) { setColumnWidth(column, width); });
    connect(this, &QAbstractItemView::clicked, this, [this](const QModelIndex &index) {
        if (index.row() == 0)
            Q_EMIT cellClicked(index.column());
    });
}

void PinnedRowView::follow()
{
    if (model() != m_grid->model())
        setModel(m_grid->model());
    setEditTriggers(m_grid->editTriggers());
    if (!model())
        return;
    for (int column = 0; column < model()->columnCount(); ++column)
        setColumnWidth(column, m_grid->columnWidth(column));
    if (model()->rowCount() > 0)
        setRowHeight(0, m_grid->rowHeight(0));
    horizontalScrollBar()->setRange(m_grid->horizontalScrollBar()->minimum(),
                                    m_grid->horizontalScrollBar()->maximum());
    horizontalScrollBar()->setValue(m_grid->horizontalScrollBar()->value());
}

void PinnedRowView::place(bool pinned)
{
    if (!pinned) {
        if (isVisible())
            hide();
        return;
    }
    setEditTriggers(m_grid->editTriggers());
    const QRect area = m_grid->viewport()->geometry();
    setGeometry(area.x(), area.y(), area.width(), m_grid->rowHeight(0));
    if (isHidden()) {
        follow();
        show();
        raise();
    }
}

void PinnedRowView::keyPressEvent(QKeyEvent *event)
{
    if (opensMappingChoice(*event) && currentIndex().isValid()) {
        edit(currentIndex());
        event->accept();
        return;
    }
    QTableView::keyPressEvent(event);
}

} // namespace MGImport8
