#include "common/xmlnodes.h"

#include "common/xmltext.h"

#include <QDate>
#include <QDateTime>
#include <QLocale>
#include <QTime>

#include <exception>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

bool isSafeXmlNameChar(QChar c)
{
    const char16_t upper = c.toUpper().unicode();
    return (upper >= u'A' && upper <= u'Z') || (upper >= u'0' && upper <= u'9') || upper == u'_'
           || upper == u'-' || upper == u'.' || upper == u'@';
}

QString isoTime(QTime time)
{
    return time.toString(time.msec() == 0 ? Qt::ISODate : Qt::ISODateWithMs);
}

// Collects the text of descendant text and CDATA nodes; a walker rather than recursion, so deep
// documents cannot exhaust the stack.
class TextCollector : public pugi::xml_tree_walker
{
public:
    bool for_each(pugi::xml_node &node) override
    {
        if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata)
            text += node.value();
        return true;
    }

    std::string text;
};

} // namespace

QString SafeXMLName(QStringView name, QStringView fallback)
{
    if (name.isEmpty())
        return fallback.toString();
    QString safe(name.size(), Qt::Uninitialized);
    for (qsizetype i = 0; i < name.size(); ++i)
        safe[i] = isSafeXmlNameChar(name[i]) ? name[i] : QChar(u'_');
    return safe;
}

QString xmlTextOf(const QVariant &value)
{
    if (value.isNull())
        return {};
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool() ? u"True"_s : u"False"_s;
    case QMetaType::Double:
        return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    case QMetaType::Float:
        return QString::number(value.toFloat(), 'g', QLocale::FloatingPointShortest);
    case QMetaType::QDate:
        return value.toDate().toString(Qt::ISODate);
    case QMetaType::QTime:
        return isoTime(value.toTime());
    case QMetaType::QDateTime: {
        const QDateTime dateTime = value.toDateTime();
        return dateTime.date().toString(Qt::ISODate) + u'T' + isoTime(dateTime.time());
    }
    case QMetaType::QByteArray:
        return QString::fromUtf8(value.toByteArray());
    default:
        return value.toString();
    }
}

pugi::xml_node AddElement(pugi::xml_document & /*document*/, pugi::xml_node parent,
                          QStringView name, QStringView text)
{
    pugi::xml_node element = parent.append_child(
        Xml::toXml(SafeXMLName(name, emptyXmlNameFallback)).constData());
    if (element && !text.isEmpty())
        element.text().set(Xml::toXml(text).constData());
    return element;
}

pugi::xml_attribute AddAttribute(pugi::xml_document & /*document*/, pugi::xml_node element,
                                 QStringView name, const QVariant &value)
{
    if (element.type() != pugi::node_element)
        return {};
    const QByteArray safeName = Xml::toXml(SafeXMLName(name, emptyXmlNameFallback));
    pugi::xml_attribute attribute = element.attribute(safeName.constData());
    if (!attribute)
        attribute = element.append_attribute(safeName.constData());
    attribute.set_value(Xml::toXml(xmlTextOf(value)).constData());
    return attribute;
}

void SetAttribute(pugi::xml_document &document, pugi::xml_node element, QStringView name,
                  const QVariant &value)
{
    // An attribute of exactly that name, as a file read from elsewhere may hold ("a:b"), is
    // updated where it stands; only a missing one is added under the safe form of the name.
    if (element.type() == pugi::node_element) {
        if (pugi::xml_attribute existing = element.attribute(Xml::toXml(name).constData())) {
            existing.set_value(Xml::toXml(xmlTextOf(value)).constData());
            return;
        }
    }
    AddAttribute(document, element, name, value);
}

QString GetNodeText(const pugi::xml_node &node, QStringView xpath)
{
    try {
        const pugi::xpath_node match = node.select_node(Xml::toXml(xpath).constData());
        if (const pugi::xml_attribute attribute = match.attribute())
            return Xml::fromXml(attribute.value());
        pugi::xml_node found = match.node();
        if (!found)
            return {};
        if (found.type() != pugi::node_element && found.type() != pugi::node_document)
            return Xml::fromXml(found.value());
        TextCollector collector;
        found.traverse(collector);
        return QString::fromStdString(collector.text);
    } catch (const std::exception &) {
        // An invalid expression, one that yields no node set, or memory running out: no text.
        return {};
    }
}

} // namespace MGImport8
