#include "nodeinventory/mainwindow.h"

#include "nodeinventory/databasedialog.h"
#include "nodeinventory/nodeimporter.h"

#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QStatusBar>
#include <QTableView>
#include <QToolBar>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace NodeInventory {

MainWindow::MainWindow(InventoryStore &store, QWidget *parent)
    : QMainWindow(parent)
    , m_store(&store)
    , m_model(new NodeTableModel(this))
    , m_table(new QTableView(this))
    , m_status(new QLabel(this))
{
    setWindowTitle(u"Node Inventory"_s);
    setObjectName(u"NodeInventory"_s);

    auto *toolBar = addToolBar(u"Nodes"_s);
    toolBar->setMovable(false);
    auto *importButton = new QPushButton(u"&Import Nodes..."_s, toolBar);
    importButton->setObjectName(u"cmdImport"_s);
    toolBar->addWidget(importButton);
    connect(importButton, &QPushButton::clicked, this, &MainWindow::importNodes);
    auto *databaseButton = new QPushButton(u"&Database..."_s, toolBar);
    databaseButton->setObjectName(u"cmdDatabase"_s);
    toolBar->addWidget(databaseButton);
    connect(databaseButton, &QPushButton::clicked, this, &MainWindow::chooseDatabase);

    m_table->setObjectName(u"Nodes"_s);
    m_table->setModel(m_model);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setAlternatingRowColors(true);
    m_table->verticalHeader()->hide();
    m_table->horizontalHeader()->setStretchLastSection(true);
    setCentralWidget(m_table);

    m_status->setObjectName(u"Status"_s);
    statusBar()->addWidget(m_status, 1);
    resize(820, 480);
    refresh();
}

MainWindow::~MainWindow() = default;

void MainWindow::chooseDatabase()
{
    DatabaseDialog dialog(m_structureFolder, this);
    if (dialog.exec() == QDialog::Accepted && !dialog.location().isEmpty())
        useStore(dialog.location());
}

bool MainWindow::useStore(const QString &location)
{
    QString error;
    std::unique_ptr<InventoryStore> store = openInventoryStore(location, &error);
    if (!store) {
        QMessageBox::critical(this, windowTitle(),
                              u"The inventory could not be opened; the current one stays in "
                              u"use.\n\n"_s
                                  + error);
        return false;
    }
    m_ownStore = std::move(store);
    m_store = m_ownStore.get();
    refresh();
    return true;
}

void MainWindow::refresh()
{
    m_model->setNodes(m_store->nodes());
    m_table->resizeColumnsToContents();
    m_status->setText(u"%1 nodes"_s.arg(m_model->rowCount()));
}

void MainWindow::importNodes()
{
    NodeImporter importer(*m_store);
    connect(&importer, &NodeImporter::waiting, this, [this](const QString &status) {
        m_status->setText(status);
        m_status->repaint();
    });
    const ImportSummary summary = importer.run(this);
    refresh();
    if (!summary.stopped.isEmpty()) {
        // The wizard showed the store's reason when it stopped; the status keeps it in view.
        m_status->setText(
            u"Import failed: the inventory is unchanged. %1 nodes"_s.arg(m_model->rowCount()));
        return;
    }
    if (!summary.error.isEmpty()) {
        QMessageBox::critical(this, windowTitle(),
                              u"The imported nodes could not be saved; the inventory is "
                              u"unchanged.\n\n"_s
                                  + summary.error);
        return;
    }
    if (!summary.completed) {
        m_status->setText(
            u"Import cancelled: the inventory is unchanged. %1 nodes"_s.arg(m_model->rowCount()));
        return;
    }
    m_status->setText(u"Imported: %1 added, %2 updated, %3 skipped. %4 nodes"_s.arg(summary.added)
                          .arg(summary.updated)
                          .arg(summary.skipped)
                          .arg(m_model->rowCount()));
}

} // namespace NodeInventory
