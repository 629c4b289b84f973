#include "inventorystore.h"

#include "nodestore/nodestore.h"
#include "nodestore/servernodestore.h"
#include <MGImport8/ipaddress.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlDatabase>
#include <QSqlQuery>

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;

namespace NodeInventory {

namespace {

const QString IgnoreColumn = u"<ignore>"_s;

} // namespace

bool isServerLocation(const QString &location)
{
    return ServerNodeStore::kindOf(location) != ServerNodeStore::Kind::None;
}

std::unique_ptr<InventoryStore> openInventoryStore(const QString &location, QString *error)
{
    if (isServerLocation(location)) {
        auto store = std::make_unique<ServerNodeStore>();
        if (store->open(location))
            return store;
        *error = store->lastError();
        return nullptr;
    }
    auto store = std::make_unique<NodeStore>();
    if (store->open(location))
        return store;
    *error = store->lastError();
    return nullptr;
}

NodeFields nodeFieldsOf(const MGImport8::ImportRow &row, const QString &ipColumn)
{
    NodeFields fields;
    const MGImport8::ImportColumn *ipCell = row.Item(ipColumn);
    fields.node.ip = ipCell ? MGImport8::IPAddress::Canonical(ipCell->Data().toString().trimmed())
                            : QString();
    fields.valid = !fields.node.ip.isEmpty();
    QJsonObject extra;
    for (const MGImport8::ImportColumn *column : row) {
        const QString name = column->Column();
        if (name.compare(IgnoreColumn, Qt::CaseInsensitive) == 0
            || name.compare(ipColumn, Qt::CaseInsensitive) == 0)
            continue;
        const QString value = column->Data().toString();
        if (name.compare(u"Name"_s, Qt::CaseInsensitive) == 0)
            fields.node.name = value;
        else if (name.compare(u"Description"_s, Qt::CaseInsensitive) == 0)
            fields.node.description = value;
        else if (name.compare(u"Location"_s, Qt::CaseInsensitive) == 0)
            fields.node.location = value;
        else if (name.compare(u"Contact"_s, Qt::CaseInsensitive) == 0)
            fields.node.contact = value;
        else
            extra[name] = value;
    }
    if (!extra.isEmpty())
        fields.node.extra = QString::fromUtf8(QJsonDocument(extra).toJson(QJsonDocument::Compact));
    return fields;
}

QList<Node> readNodes(const QString &connection)
{
    QList<Node> result;
    QSqlQuery query(QSqlDatabase::database(connection, false));
    if (!query.exec(u"SELECT ip, name, description, location, contact, extra FROM nodes"_s))
        return result;
    // Each address is read into its number once, not at every comparison of the sort.
    std::vector<std::pair<quint32, Node>> keyed;
    while (query.next()) {
        Node node{query.value(0).toString(), query.value(1).toString(), query.value(2).toString(),
                  query.value(3).toString(), query.value(4).toString(), query.value(5).toString()};
        quint32 key = 0;
        for (QStringView part : QStringView(node.ip).split(u'.'))
            key = key << 8 | part.toUInt();
        keyed.emplace_back(key, std::move(node));
    }
    std::stable_sort(keyed.begin(), keyed.end(),
                     [](const auto &a, const auto &b) { return a.first < b.first; });
    result.reserve(qsizetype(keyed.size()));
    for (auto &[key, node] : keyed)
        result.append(std::move(node));
    return result;
}

int countNodes(const QString &connection)
{
    QSqlQuery query(QSqlDatabase::database(connection, false));
    if (!query.exec(u"SELECT COUNT(*) FROM nodes"_s) || !query.next())
        return 0;
    return query.value(0).toInt();
}

} // namespace NodeInventory
