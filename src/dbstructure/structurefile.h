#pragma once

#include <QDate>
#include <QString>
#include <QStringList>

#include <pugixml.hpp>

#include <memory>

namespace MGImport8::DbStructure {

/// The date an unreadable `CreateDate` leaves behind: the zero date of the legacy date type. It
/// is earlier than every real date, so an object whose template date is unreadable is left alone.
QDate zeroDate();

/// Boolean text of `Identity`, `IsComputed` and `IsRowGuid`: "True" or "False" in any case, or a
/// number (zero false, any other true); anything else, and the empty text, is false.
bool structureBoolean(const QString &text);
/// `AllowNulls`: true only for "TRUE" in any case. Deliberately not structureBoolean(): "1" is
/// false here.
bool structureAllowNulls(const QString &text);
/// `Length`: the numeric prefix of the text ("50", " 12.5 chars"), rounded half to even to a 16-bit
/// integer; 0 when there is no number or it does not fit.
qint16 structureLength(const QString &text);
/// `CreateDate` and the server's creation dates: the text up to the first blank split at "-" into
/// year, month and day; a month or day out of range rolls over as calendar arithmetic does, and a
/// two-digit year means 1930 to 2029. zeroDate() when the text is not of that form.
QDate structureDate(const QString &text);

/// One column element of a table.
struct ColumnTemplate
{
    QString name;
    QString dataType;
    qint16 length = 0;
    QString defaultText;
    bool identity = false;
    bool isComputed = false;
    bool isRowGuid = false;
    QString computedText;
    bool allowNulls = false;
};

/// The `SQL/PrimaryKey` element of a table.
struct PrimaryKeyTemplate
{
    bool present = false;
    QString name;
    bool clustered = false;
    QStringList columns;
    /// The element's leading text: the statement that adds the key.
    QString statement;
};

struct IndexTemplate
{
    QString name;
    QStringList columns;
    /// The element's leading text: the complete CREATE INDEX statement.
    QString statement;
};

/// A function or a view.
struct RoutineTemplate
{
    QString name;
    QDate createDate;
    QString statement;
};

/// A loaded structure file. Every value is read as the text of a node selected by XPath, and a
/// node that is missing reads as "".
class StructureFile
{
public:
    /// Loads the file whole. A file that cannot be read is an error (`loadError()` set); a file
    /// that is read but is not well-formed XML loads as an empty document, whose selections find
    /// nothing.
    static StructureFile load(const QString &path);
    /// The same from the file's bytes.
    static StructureFile fromBytes(const QByteArray &bytes);

    bool loaded() const { return m_loadError.isEmpty(); }
    /// Why the file could not be read; empty when it was.
    QString loadError() const { return m_loadError; }
    /// Why the text was not XML; empty when it was (or was not read at all).
    QString parseError() const { return m_parseError; }

    /// The text of `/DatabaseStructure/Database/SQL/Database`.
    QString createDatabaseStatement() const;
    pugi::xpath_node_set functions() const;
    pugi::xpath_node_set tables() const;
    pugi::xpath_node_set views() const;

    const pugi::xml_document &document() const { return *m_document; }

private:
    std::shared_ptr<pugi::xml_document> m_document = std::make_shared<pugi::xml_document>();
    QString m_loadError;
    QString m_parseError;
};

/// The text of the first node `xpath` selects under `node`, or "" (the one node-text read).
QString nodeText(const pugi::xml_node &node, const char *xpath);
/// The value of an attribute read through the element's attribute map.
QString attributeText(const pugi::xml_node &node, const char *name);
/// The text of the element's first child node when that is text: the leading statement of a
/// `PrimaryKey` or `Index` element.
QString leadingText(const pugi::xml_node &node);

ColumnTemplate readColumn(const pugi::xml_node &column);
PrimaryKeyTemplate readPrimaryKey(const pugi::xml_node &table);
IndexTemplate readIndex(const pugi::xml_node &index);
/// A `UDFs` or `Views` child; `sqlPath` is "SQL/Function" or "SQL/View".
RoutineTemplate readRoutine(const pugi::xml_node &routine, const char *sqlPath);
/// The `Data` element of a table when it holds seed rows: missing, or with neither attributes nor
/// children (as "<Data></Data>" is), it does not.
pugi::xml_node seedData(const pugi::xml_node &table);

} // namespace MGImport8::DbStructure
