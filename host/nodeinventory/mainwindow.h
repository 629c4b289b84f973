#pragma once

#include "nodeinventory/nodetablemodel.h"
#include "nodestore/inventorystore.h"

#include <QMainWindow>

#include <memory>

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
    ~MainWindow() override;

    /// Where the "Database..." dialog finds the monitoring database's structure files.
    void setStructureFolder(const QString &folder) { m_structureFolder = folder; }
    /// Opens the "Database..." dialog; when the user picks a database, imports go there.
    void chooseDatabase();
    /// Keeps the nodes at `location` from now on. False, with the reason shown, when it cannot
    /// be opened; the current store stays in use.
    bool useStore(const QString &location);

    /// Runs the Import Wizard and shows what it changed.
    void importNodes();
    /// Shows the store's nodes again.
    void refresh();

private:
    InventoryStore *m_store;
    std::unique_ptr<InventoryStore> m_ownStore;
    QString m_structureFolder;
    NodeTableModel *m_model = nullptr;
    QTableView *m_table = nullptr;
    QLabel *m_status = nullptr;
};

} // namespace NodeInventory
