#include "sqladmin/discovery/registeredservers.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <pugixml.hpp>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

QString text(const pugi::char_t *value)
{
    return QString::fromUtf8(value).trimmed();
}

bool named(const pugi::xml_node &node, const char *name)
{
    return QByteArrayView(node.name()).compare(name, Qt::CaseInsensitive) == 0;
}

QString nameAttribute(const pugi::xml_node &node)
{
    for (const pugi::xml_attribute &attribute : node.attributes()) {
        if (QByteArrayView(attribute.name()).compare("Name", Qt::CaseInsensitive) == 0)
            return text(attribute.value());
    }
    return {};
}

Error cannotRead(const QString &path, const QString &reason)
{
    return Error{u"Cannot read the registered servers from (%1): %2"_s.arg(path, reason)};
}

} // namespace

QString RegisteredServers::userFile()
{
    const QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return config.isEmpty() ? QString() : config + u"/MGImport8/RegisteredServers.xml"_s;
}

Result<QList<RegisteredServers::Group>> RegisteredServers::load()
{
    const QString path = userFile();
    if (path.isEmpty())
        return QList<Group>();
    return load(path);
}

Result<QList<RegisteredServers::Group>> RegisteredServers::load(const QString &path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return QList<Group>();
    if (info.size() > MaxFileSize)
        return cannotRead(path, u"the file is larger than %1 bytes"_s.arg(MaxFileSize));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return cannotRead(path, file.errorString());
    return parse(file.readAll(), path);
}

Result<QList<RegisteredServers::Group>> RegisteredServers::parse(const QByteArray &xml,
                                                                 const QString &pathForMessages)
{
    pugi::xml_document document;
    const pugi::xml_parse_result parsed = document.load_buffer(xml.constData(),
                                                               static_cast<size_t>(xml.size()));
    if (!parsed) {
        return cannotRead(pathForMessages,
                          u"%1 at byte %2"_s.arg(QString::fromUtf8(parsed.description()))
                              .arg(parsed.offset));
    }
    const pugi::xml_node root = document.document_element();
    if (!named(root, "RegisteredServers"))
        return cannotRead(pathForMessages, u"the root element is not RegisteredServers"_s);
    QList<Group> groups;
    for (const pugi::xml_node &groupNode : root.children()) {
        if (groupNode.type() != pugi::node_element || !named(groupNode, "ServerGroup"))
            continue;
        Group group{nameAttribute(groupNode), {}};
        for (const pugi::xml_node &serverNode : groupNode.children()) {
            if (serverNode.type() != pugi::node_element || !named(serverNode, "Server"))
                continue;
            const QString name = nameAttribute(serverNode);
            if (!name.isEmpty())
                group.servers.append(name);
        }
        groups.append(std::move(group));
    }
    return groups;
}

} // namespace MGImport8
