#pragma once

#include "nodestore/inventorystore.h"

#include <QAbstractTableModel>
#include <QList>

namespace NodeInventory {

/// The inventory's nodes as a table: IP, name, description, location, contact.
class NodeTableModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit NodeTableModel(QObject *parent = nullptr);

    /// Shows `nodes` in place of what the table showed.
    void setNodes(QList<Node> nodes);
    const QList<Node> &nodes() const { return m_nodes; }

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    QList<Node> m_nodes;
};

} // namespace NodeInventory
