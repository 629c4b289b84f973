#include "inventorystore.h"

#include "nodestore/nodestore.h"
#include "nodestore/servernodestore.h"
#include <MGImport8/ipaddress.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

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

void sortByAddress(QList<Node> &nodes)
{
    auto key = [](const QString &ip) {
        quint32 value = 0;
        for (QStringView part : QStringView(ip).split(u'.'))
            value = value << 8 | part.toUInt();
        return value;
    };
    std::stable_sort(nodes.begin(), nodes.end(),
                     [&](const Node &a, const Node &b) { return key(a.ip) < key(b.ip); });
}

} // namespace NodeInventory
