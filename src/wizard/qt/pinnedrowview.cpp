#include "wizard/qt/pinnedrowview.h"

#include "wizard/qt/mappingkeys.h"

#include <QAbstractTableModel>
#include <QHeaderView>
#include <QKeyEvent>
#include <QScrollBar>

namespace MGImport8 {

namespace {

/// The grid's model cut to its first row. A view over the whole model would keep a header section
/// for every one of millions of rows, which is most of what opening a large table costs. The
/// grid's model announces its changes as resets and cell changes only, and so does this one.
class FirstRowModel : public QAbstractTableModel
{
public:
    FirstRowModel(QAbstractItemModel *source, QObject *parent)
        : QAbstractTableModel(parent)
        , m_source(source)
    {
        connect(source, &QAbstractItemModel::modelAboutToBeReset, this,
                [this] { beginResetModel(); });
        connect(source, &QAbstractItemModel::modelReset, this, [this] { endResetModel(); });
        connect(source, &QAbstractItemModel::dataChanged, this,
                [this](const QModelIndex &topLeft, const QModelIndex &bottomRight,
                       const QList<int> &roles) {
                    if (topLeft.row() == 0 && rowCount() > 0)
                        Q_EMIT dataChanged(index(0, topLeft.column()),
                                           index(0, bottomRight.column()), roles);
                });
    }

    QAbstractItemModel *source() const { return m_source; }

    int rowCount(const QModelIndex &parent = {}) const override
    {
        return !parent.isValid() && m_source->rowCount() > 0 ? 1 : 0;
    }
    int columnCount(const QModelIndex &parent = {}) const override
    {
        return parent.isValid() ? 0 : m_source->columnCount();
    }
    QVariant data(const QModelIndex &index, int role) const override
    {
        return index.isValid() ? m_source->index(0, index.column()).data(role) : QVariant();
    }
    Qt::ItemFlags flags(const QModelIndex &index) const override
    {
        return index.isValid() ? m_source->flags(m_source->index(0, index.column()))
                               : Qt::NoItemFlags;
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override
    {
        return m_source->headerData(section, orientation, role);
    }

private:
    QAbstractItemModel *m_source;
};

} // namespace

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
    auto *firstRow = dynamic_cast<FirstRowModel *>(model());
    if (m_grid->model() && (!firstRow || firstRow->source() != m_grid->model())) {
        setModel(new FirstRowModel(m_grid->model(), this));
        if (firstRow)
            firstRow->deleteLater();
    }
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
        if (edit(currentIndex(), QAbstractItemView::EditKeyPressed, event))
            openDropDown(indexWidget(currentIndex()));
        event->accept();
        return;
    }
    QTableView::keyPressEvent(event);
}

} // namespace MGImport8
