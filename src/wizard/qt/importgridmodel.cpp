#include "wizard/qt/importgridmodel.h"

#include "wizard/gridrules.h"

#include <QFont>

#include <algorithm>
#include <limits>

namespace MGImport8 {

namespace {

constexpr quint32 ChannelMask = 0xFF;
constexpr int GreenShift = 8;
constexpr int BlueShift = 16;

} // namespace

ImportGridModel::ImportGridModel(ImportGrid &grid, QObject *parent)
    : QAbstractTableModel(parent)
    , m_grid(grid)
    , m_rows(gridRows())
    , m_columns(grid.columnCount())
{
    m_grid.setObserver([this](const ImportGrid::Change &change) { gridChanged(change); });
}

ImportGridModel::~ImportGridModel()
{
    m_grid.setObserver({});
}

QString ImportGridModel::tickHeading()
{
    return tr("Import");
}

QColor ImportGridModel::color(GridColor value)
{
    return QColor(int(value & ChannelMask), int((value >> GreenShift) & ChannelMask),
                  int((value >> BlueShift) & ChannelMask));
}

int ImportGridModel::gridRows() const
{
    // A view addresses rows with int; lines beyond that stay in the grid (and are imported) but
    // cannot be shown.
    return int(std::min<qsizetype>(m_grid.rowCount(), std::numeric_limits<int>::max()));
}

bool ImportGridModel::holds(const QModelIndex &index) const
{
    // Views ask about invalid indexes (the root) as a matter of course: no warning for them.
    return index.isValid() && index.model() == this && index.row() < m_rows
           && index.column() < m_columns;
}

int ImportGridModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

int ImportGridModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_columns;
}

QVariant ImportGridModel::data(const QModelIndex &index, int role) const
{
    if (!holds(index))
        return {};
    const qsizetype row = index.row();
    const int column = index.column();
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return m_grid.text(row, column);
    case Qt::CheckStateRole:
        switch (m_grid.checkState(row, column)) {
        case CheckState::None:
            return {};
        case CheckState::Checked:
            return Qt::Checked;
        case CheckState::Unchecked:
            return Qt::Unchecked;
        }
        return {};
    case Qt::ForegroundRole:
        if (const auto colour = m_grid.style(row, column).foreColor)
            return color(*colour);
        return {};
    case Qt::BackgroundRole:
        if (const auto colour = m_grid.style(row, column).backColor)
            return color(*colour);
        return {};
    case Qt::FontRole: {
        const CellStyle style = m_grid.style(row, column);
        if (!style.bold && !style.fontSize)
            return {};
        QFont font;
        font.setBold(style.bold);
        if (style.fontSize && *style.fontSize > 0)
            font.setPointSizeF(*style.fontSize);
        return font;
    }
    default:
        return {};
    }
}

QVariant ImportGridModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if ((role != Qt::DisplayRole && role != Qt::ToolTipRole) || section < 0)
        return {};
    if (orientation == Qt::Vertical)
        return section < m_rows && role == Qt::DisplayRole ? QVariant(section + 1) : QVariant();
    if (section >= m_columns)
        return {};
    // A column is named by its place in the source on every panel: the tick column, when there is
    // one, has a heading of its own and does not shift the numbers.
    const bool ticks = GridRules::hasSelectionColumn(m_grid);
    if (ticks && section == 0)
        return role == Qt::DisplayRole ? tickHeading() : tr("Tick the rows to import");
    const int sourceColumn = section - (ticks ? 1 : 0) + 1;
    if (role == Qt::ToolTipRole)
        return tr("Source column %1").arg(sourceColumn);
    return sourceColumn;
}

Qt::ItemFlags ImportGridModel::flags(const QModelIndex &index) const
{
    if (!holds(index))
        return Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    // Only the top row can ever be edited (the mapping row); the wizard decides whether it may be
    // now, when the editor is asked for.
    if (index.row() == 0)
        flags |= Qt::ItemIsEditable;
    return flags;
}

void ImportGridModel::gridChanged(const ImportGrid::Change &change)
{
    const int rows = gridRows();
    const int columns = m_grid.columnCount();
    if (change.kind == ImportGrid::Change::Structure || rows != m_rows || columns != m_columns) {
        beginResetModel();
        m_rows = rows;
        m_columns = columns;
        endResetModel();
        return;
    }
    if (m_rows == 0 || m_columns == 0)
        return;
    const int firstRow = int(std::clamp<qsizetype>(change.firstRow, 0, m_rows - 1));
    const int lastRow = int(std::clamp<qsizetype>(change.lastRow, 0, m_rows - 1));
    const int firstColumn = std::clamp(change.firstColumn, 0, m_columns - 1);
    const int lastColumn = std::clamp(change.lastColumn, 0, m_columns - 1);
    if (change.lastRow < change.firstRow || change.lastColumn < change.firstColumn)
        return;
    Q_EMIT dataChanged(index(firstRow, firstColumn), index(lastRow, lastColumn));
}

} // namespace MGImport8
