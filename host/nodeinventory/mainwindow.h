#pragma once

#include "nodeinventory/nodetablemodel.h"
#include "nodestore/inventorystore.h"

#include <QMainWindow>

class QLabel;
class QTableView;

namespace NodeInventory {

/// Node Inventory's window: the nodes in a table, an Import button that opens the Import Wizard,
/// and a status line saying what the last import did.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(InventoryStore &store, QWidget *parent = nullptr);

    /// Runs the Import Wizard and shows what it changed.
    void importNodes();
    /// Shows the store's nodes again.
    void refresh();

private:
    InventoryStore &m_store;
    NodeTableModel *m_model = nullptr;
    QTableView *m_table = nullptr;
    QLabel *m_status = nullptr;
};

} // namespace NodeInventory
