#include "dbstructure/structurefile.h"

#include "common/xmlnodes.h"

#include <QFile>

#include <cmath>
#include <limits>
#include <optional>

using namespace Qt::StringLiterals;

namespace MGImport8::DbStructure {

namespace {

// Two-digit years of a date fall in this window, as the legacy date functions read them.
constexpr int twoDigitYearPivot = 30;

// The numeric prefix of a text as the legacy Val() reads it: leading blanks, a sign, digits, a
// decimal point and an exponent; nothing numeric gives 0.
double numericPrefix(const QString &text)
{
    qsizetype at = 0;
    while (at < text.size() && (text.at(at) == u' ' || text.at(at) == u'\t'))
        ++at;
    const qsizetype start = at;
    if (at < text.size() && (text.at(at) == u'+' || text.at(at) == u'-'))
        ++at;
    while (at < text.size() && text.at(at).isDigit() && text.at(at).unicode() < 128)
        ++at;
    if (at < text.size() && text.at(at) == u'.') {
        ++at;
        while (at < text.size() && text.at(at).isDigit() && text.at(at).unicode() < 128)
            ++at;
    }
    if (at < text.size() && (text.at(at) == u'e' || text.at(at) == u'E')) {
        qsizetype exponent = at + 1;
        if (exponent < text.size() && (text.at(exponent) == u'+' || text.at(exponent) == u'-'))
            ++exponent;
        const qsizetype digits = exponent;
        while (exponent < text.size() && text.at(exponent).isDigit()
               && text.at(exponent).unicode() < 128)
            ++exponent;
        if (exponent > digits)
            at = exponent;
    }
    bool ok = false;
    const double value = text.mid(start, at - start).toDouble(&ok);
    return ok && std::isfinite(value) ? value : 0.0;
}

// A whole number as the legacy CInt() takes it: digits with an optional sign, rounded half to even.
std::optional<int> wholeNumber(const QString &text)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value) || std::fabs(value) > std::numeric_limits<qint16>::max())
        return std::nullopt;
    return static_cast<int>(std::nearbyint(value));
}

} // namespace

QDate zeroDate()
{
    return QDate(1899, 12, 30);
}

bool structureBoolean(const QString &text)
{
    const QString word = text.trimmed();
    if (word.compare(u"true"_s, Qt::CaseInsensitive) == 0)
        return true;
    if (word.compare(u"false"_s, Qt::CaseInsensitive) == 0 || word.isEmpty())
        return false;
    bool ok = false;
    const double value = word.toDouble(&ok);
    return ok && value != 0.0;
}

bool structureAllowNulls(const QString &text)
{
    return text.toUpper() == u"TRUE"_s;
}

qint16 structureLength(const QString &text)
{
    const double rounded = std::nearbyint(numericPrefix(text));
    if (rounded < std::numeric_limits<qint16>::min() || rounded > std::numeric_limits<qint16>::max())
        return 0;
    return static_cast<qint16>(rounded);
}

QDate structureDate(const QString &text)
{
    const QString day = text.section(u' ', 0, 0);
    const QStringList parts = day.split(u'-');
    if (parts.size() < 3)
        return zeroDate();
    const std::optional<int> year = wholeNumber(parts.at(0));
    const std::optional<int> month = wholeNumber(parts.at(1));
    const std::optional<int> dayOfMonth = wholeNumber(parts.at(2));
    if (!year || !month || !dayOfMonth || *year < 0)
        return zeroDate();
    int fullYear = *year;
    if (fullYear < 100)
        fullYear += fullYear < twoDigitYearPivot ? 2000 : 1900;
    // Month and day roll over from the first of the year, so 2007-13-01 is 2008-01-01.
    const QDate date = QDate(fullYear, 1, 1).addMonths(*month - 1).addDays(*dayOfMonth - 1);
    return date.isValid() ? date : zeroDate();
}

StructureFile StructureFile::load(const QString &path)
{
    StructureFile file;
    QFile input(path);
    if (!input.open(QIODevice::ReadOnly)) {
        file.m_loadError = input.errorString();
        return file;
    }
    const QByteArray bytes = input.readAll();
    if (input.error() != QFileDevice::NoError) {
        file.m_loadError = input.errorString();
        return file;
    }
    return fromBytes(bytes);
}

StructureFile StructureFile::fromBytes(const QByteArray &bytes)
{
    StructureFile file;
    const pugi::xml_parse_result parsed = file.m_document->load_buffer(bytes.constData(),
                                                                       static_cast<size_t>(
                                                                           bytes.size()));
    if (!parsed) {
        // A text that is not XML leaves nothing to select, not a half-read tree.
        file.m_document->reset();
        file.m_parseError = QString::fromUtf8(parsed.description()) + u" at offset "_s
                            + QString::number(parsed.offset);
    }
    return file;
}

QString StructureFile::createDatabaseStatement() const
{
    return nodeText(*m_document, "/DatabaseStructure/Database/SQL/Database");
}

pugi::xpath_node_set StructureFile::functions() const
{
    return m_document->select_nodes("/DatabaseStructure/Database/UDFs/*");
}

pugi::xpath_node_set StructureFile::tables() const
{
    return m_document->select_nodes("/DatabaseStructure/Database/Tables/*");
}

pugi::xpath_node_set StructureFile::views() const
{
    return m_document->select_nodes("/DatabaseStructure/Database/Views/*");
}

QString nodeText(const pugi::xml_node &node, const char *xpath)
{
    return GetNodeText(node, QString::fromLatin1(xpath));
}

QString attributeText(const pugi::xml_node &node, const char *name)
{
    return QString::fromUtf8(node.attribute(name).value());
}

QString leadingText(const pugi::xml_node &node)
{
    const pugi::xml_node first = node.first_child();
    if (first.type() != pugi::node_pcdata && first.type() != pugi::node_cdata)
        return {};
    return QString::fromUtf8(first.value());
}

ColumnTemplate readColumn(const pugi::xml_node &column)
{
    ColumnTemplate read;
    read.name = nodeText(column, "@Name");
    read.dataType = nodeText(column, "@DataType");
    read.length = structureLength(nodeText(column, "@Length"));
    read.defaultText = nodeText(column, "@Default");
    read.identity = structureBoolean(nodeText(column, "@Identity"));
    read.isComputed = structureBoolean(nodeText(column, "@IsComputed"));
    read.isRowGuid = structureBoolean(nodeText(column, "@IsRowGuid"));
    if (read.isComputed)
        read.computedText = nodeText(column, "@ComputedText");
    read.allowNulls = structureAllowNulls(nodeText(column, "@AllowNulls"));
    return read;
}

PrimaryKeyTemplate readPrimaryKey(const pugi::xml_node &table)
{
    PrimaryKeyTemplate key;
    const pugi::xml_node element = table.select_node("SQL/PrimaryKey").node();
    if (!element)
        return key;
    key.present = true;
    key.name = attributeText(element, "Name");
    key.clustered = structureBoolean(attributeText(element, "Clustered"));
    for (const pugi::xpath_node &column : element.select_nodes("Columns/Column"))
        key.columns.append(attributeText(column.node(), "Name"));
    key.statement = leadingText(element);
    return key;
}

IndexTemplate readIndex(const pugi::xml_node &index)
{
    IndexTemplate read;
    read.name = nodeText(index, "@Name");
    for (const pugi::xml_node &column : index.children("IndexedColumn"))
        read.columns.append(attributeText(column, "Name"));
    read.statement = leadingText(index);
    return read;
}

RoutineTemplate readRoutine(const pugi::xml_node &routine, const char *sqlPath)
{
    return {nodeText(routine, "@Name"), structureDate(nodeText(routine, "@CreateDate")),
            nodeText(routine, sqlPath)};
}

pugi::xml_node seedData(const pugi::xml_node &table)
{
    const pugi::xml_node data = table.select_node("Data").node();
    if (!data || (!data.first_attribute() && !data.first_child()))
        return {};
    return data;
}

} // namespace MGImport8::DbStructure
