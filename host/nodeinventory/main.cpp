// Node Inventory: a small network-monitoring host that keeps its nodes in SQLite, or in the
// monitoring database on a server, and imports them through the MGImport8 Import Wizard.
//
//   node-inventory [--store STORE]          the window (needs a display)
//   node-inventory [--store STORE] --list   prints the inventory, no display needed
//   node-inventory --store-path             prints where the inventory is kept
//
// STORE is an SQLite file, postgresql://user@host/database or sqlserver://user@host/database.
#include "nodeinventory/mainwindow.h"
#include "nodestore/inventorystore.h"
#include "nodestore/nodestore.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTextStream>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

bool wantsWindow(int argc, char **argv)
{
    for (int index = 1; index < argc; ++index) {
        if (std::strcmp(argv[index], "--list") == 0 || std::strcmp(argv[index], "--store-path") == 0
            || std::strcmp(argv[index], "--help") == 0 || std::strcmp(argv[index], "-h") == 0)
            return false;
    }
    return true;
}

void printInventory(const NodeInventory::InventoryStore &store)
{
    QTextStream out(stdout);
    const QList<NodeInventory::Node> nodes = store.nodes();
    const QStringList headers{u"IP address"_s, u"Name"_s, u"Description"_s, u"Location"_s};
    QList<qsizetype> widths;
    for (const QString &header : headers)
        widths.append(header.size());
    for (const NodeInventory::Node &node : nodes) {
        const QStringList cells{node.ip, node.name, node.description, node.location};
        for (qsizetype column = 0; column < cells.size(); ++column)
            widths[column] = std::max(widths[column], cells.at(column).size());
    }
    const auto printRow = [&](const QStringList &cells) {
        QString line;
        for (qsizetype column = 0; column < cells.size(); ++column)
            line += cells.at(column).leftJustified(widths.at(column) + 2);
        out << line.trimmed() << '\n';
    };
    out << "Node Inventory: " << nodes.size() << " nodes\n";
    printRow(headers);
    for (const NodeInventory::Node &node : nodes)
        printRow({node.ip, node.name, node.description, node.location});
}

} // namespace

int main(int argc, char **argv)
{
    std::unique_ptr<QCoreApplication> application;
    if (wantsWindow(argc, argv))
        application = std::make_unique<QApplication>(argc, argv);
    else
        application = std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName(u"Node Inventory"_s);

    QCommandLineParser parser;
    parser.setApplicationDescription(u"Keeps network nodes and imports them with MGImport8."_s);
    parser.addHelpOption();
    const QCommandLineOption
        storeOption(u"store"_s,
                    u"The inventory: an SQLite file, or postgresql://user@host/database, or "
                    u"sqlserver://user@host/database."_s,
                    u"STORE"_s, NodeInventory::NodeStore::defaultPath());
    const QCommandLineOption listOption(u"list"_s, u"Prints the inventory and exits."_s);
    const QCommandLineOption pathOption(u"store-path"_s,
                                        u"Prints where the inventory is kept and exits."_s);
    parser.addOptions({storeOption, listOption, pathOption});
    parser.process(*application);

    const QString path = parser.value(storeOption);
    if (parser.isSet(pathOption)) {
        QTextStream(stdout) << path << '\n';
        return 0;
    }
    QString error;
    const std::unique_ptr<NodeInventory::InventoryStore> store
        = NodeInventory::openInventoryStore(path, &error);
    if (!store) {
        QTextStream(stderr) << "node-inventory: cannot open " << path << ": " << error << '\n';
        return 1;
    }
    if (parser.isSet(listOption)) {
        printInventory(*store);
        return 0;
    }
    NodeInventory::MainWindow window(*store);
    // Installed, the library lies in the lib folder beside bin; in the build tree, in lib/.
    const QString libDir = QCoreApplication::applicationDirPath() + u"/../"_s;
    window.setStructureFolder(
        QFileInfo::exists(libDir + QStringLiteral(NODEINVENTORY_LIBDIR))
            ? QDir(libDir + QStringLiteral(NODEINVENTORY_LIBDIR)).absolutePath()
            : QDir(libDir + u"lib"_s).absolutePath());
    window.show();
    return QApplication::exec();
}
