#include "dbstructure/datadictionary.h"

#include "dbstructure/columnspelling.h"

#include "sqladmin/dialect.h"
#include "sqladmin/manageddatabase.h"

#include <QFile>
#include <QSaveFile>

#include <pugixml.hpp>

#include <sstream>

using namespace Qt::StringLiterals;

namespace MGImport8::DbStructure {

using SqlAdmin::ColumnInfo;
using SqlAdmin::ManagedDatabase;
using SqlAdmin::ObjectName;
using SqlAdmin::ServerKind;

namespace {

const QString crlf = u"\r\n"_s;
/// Dictionaries are a few hundred kilobytes; anything far larger is not one.
constexpr qint64 maxDictionaryFileSize = 64 * 1024 * 1024;

std::string utf8(const QString &text)
{
    return text.toStdString();
}

pugi::xml_node appendElement(pugi::xml_node parent, const char *name)
{
    return parent.append_child(name);
}

void appendAttribute(pugi::xml_node element, const char *name, const QString &value)
{
    element.append_attribute(name).set_value(utf8(value).c_str());
}

/// A selection whose names go in between double quotes as they stand, as the file format's
/// look-ups always did. A name holding a double quote would end the string early and change the
/// expression, so it fails the look-up instead.
Result<pugi::xml_node> selectNamed(pugi::xml_node context, const QString &prefix,
                                   const QString &name)
{
    const QString expression = prefix + u'"' + name + u"\"]"_s;
    if (name.contains(u'"')) {
        return Error{u"The XPath expression "_s + expression
                     + u" cannot be evaluated: the name holds a double quote."_s};
    }
    try {
        return context.select_node(utf8(expression).c_str()).node();
    } catch (const pugi::xpath_exception &error) {
        return Error{u"The XPath expression "_s + expression + u" cannot be evaluated: "_s
                     + QString::fromUtf8(error.what())};
    }
}

Result<bool> save(pugi::xml_document &document, const QString &fileName)
{
    pugi::xml_node declaration = document.first_child();
    if (declaration.type() != pugi::node_declaration) {
        declaration = document.prepend_child(pugi::node_declaration);
        declaration.append_attribute("version").set_value("1.0");
    }
    // The file is written as UTF-8 whatever the loaded one declared.
    if (pugi::xml_attribute encoding = declaration.attribute("encoding"))
        encoding.set_value("UTF-8");
    else
        declaration.append_attribute("encoding").set_value("UTF-8");
    std::ostringstream text;
    document.save(text, "\t", pugi::format_default, pugi::encoding_utf8);
    const std::string bytes = text.str();
    // Written beside the file and moved over it in one step: a failure leaves it as it was.
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly)
        || file.write(bytes.data(), qint64(bytes.size())) != qint64(bytes.size())
        || !file.commit()) {
        return Error{file.errorString()};
    }
    return true;
}

/// The dictionary as it stands, or an empty document when there is no file yet or the file
/// cannot be read as XML: the update then starts afresh, as it always has. Whatever a person had
/// written in such a file is first copied to FILE.unreadable beside it, so starting afresh loses
/// nothing; when even the copy fails the update stops and the file stays as it was.
Result<bool> load(pugi::xml_document &document, const QString &fileName)
{
    QFile file(fileName);
    if (!file.exists())
        return true;
    if (file.size() > maxDictionaryFileSize)
        return Error{u"The file is too large to be a data dictionary."_s};
    if (!file.open(QIODevice::ReadOnly))
        return Error{file.errorString()};
    const QByteArray bytes = file.readAll();
    if (bytes.trimmed().isEmpty())
        return true;
    const pugi::xml_parse_result parsed = document.load_buffer(bytes.constData(),
                                                               size_t(bytes.size()),
                                                               pugi::parse_full);
    if (!parsed) {
        const QString reason = QString::fromUtf8(parsed.description()) + u" at offset "_s
                               + QString::number(parsed.offset);
        QSaveFile copy(fileName + u".unreadable"_s);
        if (!copy.open(QIODevice::WriteOnly) || copy.write(bytes) != bytes.size()
            || !copy.commit()) {
            return Error{reason + u"; the file could not be kept aside before starting afresh: "_s
                         + copy.errorString()};
        }
        document.reset();
    }
    return true;
}

Result<bool> fillUpdate(ManagedDatabase &database, ServerKind kind, const QStringList &wanted,
                        pugi::xml_document &document, QString &log)
{
    pugi::xml_node dictionary = document.select_node("/Dictionary").node();
    if (!dictionary) {
        if (document.document_element())
            return Error{u"Only one top level element is allowed in an XML document."_s};
        dictionary = appendElement(document, "Dictionary");
    }
    pugi::xml_node tables = document.select_node("/Dictionary/Tables").node();
    if (!tables)
        tables = appendElement(dictionary, "Tables");

    Result<QList<ObjectName>> all = database.tables();
    if (!all)
        return Error{all.error()};
    for (const ObjectName &object : std::as_const(all.value())) {
        const QString name = dictionaryTableName(kind, object);
        if (!wanted.contains(name, Qt::CaseInsensitive))
            continue;
        log += u"    Updating Table: "_s + name + crlf;
        Result<pugi::xml_node> table = selectNamed(document, u"/Dictionary/Tables/Table[@Name="_s,
                                                   name);
        if (!table)
            return Error{table.error()};
        if (!table.value()) {
            table = appendElement(tables, "Table");
            appendAttribute(table.value(), "Name", name);
        }
        pugi::xml_node fields = table.value().child("Fields");
        if (!fields)
            fields = appendElement(table.value(), "Fields");

        Result<QList<ColumnInfo>> columns = database.columns(object);
        if (!columns)
            return Error{columns.error()};
        for (const ColumnInfo &column : std::as_const(columns.value())) {
            Result<pugi::xml_node> existing = selectNamed(fields, u"Field[@Name="_s, column.name);
            if (!existing)
                return Error{existing.error()};
            if (existing.value())
                continue;
            log += u"        Added Field: "_s + column.name + crlf;
            // "DataType" and "Length" are spelled as the structure export spells them.
            const ColumnSpelling type = spellColumn(column);
            pugi::xml_node field = appendElement(fields, "Field");
            appendAttribute(field, "Name", column.name);
            appendAttribute(field, "Priority", u"10"_s);
            appendAttribute(field, "Hidden", u"TRUE"_s);
            appendAttribute(field, "Editable", u"FALSE"_s);
            appendAttribute(field, "ValidRange", {});
            appendAttribute(field, "Parser", {});
            appendAttribute(field, "Selection", column.name);
            appendAttribute(field, "Header", column.name);
            appendAttribute(field, "Alignment", {});
            appendAttribute(field, "Format", {});
            appendAttribute(field, "Units", {});
            appendAttribute(field, "Hyperlink", {});
            appendAttribute(field, "DataType", type.dataType);
            appendAttribute(field, "Length", type.length);
            appendAttribute(field, "Width", {});
            appendAttribute(field, "Description", {});
        }
    }
    return true;
}

Error templateError(const QString &fileName, const QString &reason)
{
    return Error{u"Cannot create Data Dictionary Template ("_s + fileName + u")"_s + crlf + reason};
}

} // namespace

QString dictionaryTableName(ServerKind kind, const ObjectName &table)
{
    if (table.schema == SqlAdmin::Dialect::create(kind)->defaultSchema())
        return table.name;
    return table.schema + u'.' + table.name;
}

Result<bool> writeDataDictionary(ManagedDatabase &database, ServerKind kind, const QString &fileName)
{
    pugi::xml_document document;
    pugi::xml_node databaseElement = appendElement(appendElement(document, "Dictionary"),
                                                   "Database");
    appendAttribute(databaseElement, "Name", database.name());
    pugi::xml_node tables = appendElement(databaseElement, "Tables");
    Result<QList<ObjectName>> all = database.tables();
    if (!all)
        return templateError(fileName, all.error());
    for (const ObjectName &object : std::as_const(all.value())) {
        pugi::xml_node table = appendElement(tables, "Table");
        appendAttribute(table, "Name", dictionaryTableName(kind, object));
        pugi::xml_node columns = appendElement(table, "Columns");
        Result<QList<ColumnInfo>> read = database.columns(object);
        if (!read)
            return templateError(fileName, read.error());
        for (const ColumnInfo &info : std::as_const(read.value())) {
            const ColumnSpelling type = spellColumn(info);
            pugi::xml_node column = appendElement(columns, "Column");
            appendAttribute(column, "Name", info.name);
            appendAttribute(column, "Parse", {});
            appendAttribute(column, "Format", {});
            appendAttribute(column, "Template", {});
            appendAttribute(column, "Units", {});
            appendAttribute(column, "Length", type.length);
            appendAttribute(column, "DataType", type.dataType);
            appendAttribute(column, "Description", {});
        }
    }
    if (Result<bool> saved = save(document, fileName); !saved)
        return templateError(fileName, saved.error());
    return true;
}

Result<bool> updateDataDictionary(ManagedDatabase &database, ServerKind kind,
                                  const QString &tableNames, const QString &fileName, QString &log)
{
    const QStringList wanted = tableNames.split(u',');
    pugi::xml_document document;
    if (Result<bool> loaded = load(document, fileName); !loaded)
        return templateError(fileName, loaded.error());
    if (Result<bool> filled = fillUpdate(database, kind, wanted, document, log); !filled)
        return templateError(fileName, filled.error());
    if (Result<bool> saved = save(document, fileName); !saved)
        return templateError(fileName, saved.error());
    return true;
}

} // namespace MGImport8::DbStructure
