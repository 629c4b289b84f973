#include "nodeinventory/nodetablemodel.h"

using namespace Qt::StringLiterals;

namespace NodeInventory {

namespace {

enum Column { IPColumn, NameColumn, DescriptionColumn, LocationColumn, ContactColumn, ColumnCount };

} // namespace

NodeTableModel::NodeTableModel(QObject *parent)
    : QAbstractTableModel(parent)
{}

void NodeTableModel::setNodes(QList<Node> nodes)
{
    beginResetModel();
    m_nodes = std::move(nodes);
    endResetModel();
}

int NodeTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_nodes.size());
}

int NodeTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant NodeTableModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)
        || role != Qt::DisplayRole)
        return {};
    const Node &node = m_nodes.at(index.row());
    switch (index.column()) {
    case IPColumn:
        return node.ip;
    case NameColumn:
        return node.name;
    case DescriptionColumn:
        return node.description;
    case LocationColumn:
        return node.location;
    case ContactColumn:
        return node.contact;
    }
    return {};
}

QVariant NodeTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (section) {
    case IPColumn:
        return u"IP address"_s;
    case NameColumn:
        return u"Name"_s;
    case DescriptionColumn:
        return u"Description"_s;
    case LocationColumn:
        return u"Location"_s;
    case ContactColumn:
        return u"Contact"_s;
    }
    return {};
}

} // namespace NodeInventory
