// The data dictionary against a real PostgreSQL database, element by element:
// - WriteDataDictionary writes Dictionary/Database/Tables/Table/Columns/Column with the eight
//   attributes in their order, for the user tables only, types as the server spells them;
// - UpdateDataDictionary on that file creates /Dictionary/Tables beside Database, matches the
//   list without case and without trimming, logs with four and eight spaces, adds only what is
//   missing and never changes a field edited by hand; a second run adds nothing;
// - a name holding a double quote, or a file that is not XML, ends it through the error exit
//   with the exact message and the file as it was; a file that is missing starts afresh.
#include <MGImport8/sqladmin.h>

#include "admintesting.h"
#include "pgcluster.h"
#include "testsupport.h"

#include <pugixml.hpp>

#include <gtest/gtest.h>

// Compares two texts and shows them, not their code units, when they differ.
#define EXPECT_TEXT(actual, expected)                                                              \
    EXPECT_EQ(QString(actual).toStdString(), QString(expected).toStdString())

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::Test::fileBytes;
using MGImport8::Test::PgCluster;
using MGImport8::Test::TempFolder;

namespace {

const QString crlf = u"\r\n"_s;

bool prepare(PgCluster *cluster)
{
    static const bool done = [cluster] {
        return cluster->psqlSteps({
            {u"postgres"_s, u"CREATE DATABASE dictionary"_s},
            {u"dictionary"_s,
             u"CREATE TABLE \"NODES\" (id int, \"Name\" varchar(50), note text); "
             u"CREATE TABLE \"Interfaces\" (ifindex int, speed bigint, descr character(8)); "
             u"CREATE SCHEMA inventory; CREATE TABLE inventory.racks (id int); "
             u"CREATE TABLE \"odd\"\"name\" (x int); CREATE VIEW vw AS SELECT 1 AS a"_s},
        });
    }();
    return done;
}

std::unique_ptr<SQLAdmin> connected(PgCluster *cluster)
{
    auto admin = MGImport8::Test::postgresAdmin(cluster->socketServerName());
    EXPECT_TRUE(admin->Connect(false)) << admin->LastError().toStdString();
    return admin;
}

/// The elements of a file, one per line, indented by depth, with their attributes in order.
QString outline(const QString &path)
{
    pugi::xml_document document;
    const pugi::xml_parse_result parsed = document.load_file(path.toStdString().c_str());
    if (!parsed)
        return u"not XML: "_s + QString::fromUtf8(parsed.description());
    QString text;
    const auto walk = [&text](auto &self, const pugi::xml_node &node, int depth) -> void {
        for (const pugi::xml_node &child : node.children()) {
            if (child.type() != pugi::node_element)
                continue;
            text += QString(depth, u' ') + QString::fromUtf8(child.name());
            for (const pugi::xml_attribute &attribute : child.attributes())
                text += u' ' + QString::fromUtf8(attribute.name()) + u"=\""_s
                        + QString::fromUtf8(attribute.value()) + u'"';
            text += u'\n';
            self(self, child, depth + 1);
        }
    };
    walk(walk, document, 0);
    return text;
}

QString column(const QString &name, const QString &length, const QString &type)
{
    return u"     Column Name=\""_s + name
           + u"\" Parse=\"\" Format=\"\" Template=\"\" Units=\"\" Length=\""_s + length
           + u"\" DataType=\""_s + type + u"\" Description=\"\"\n"_s;
}

QString field(const QString &name, const QString &type, const QString &length,
              const QString &hidden = u"TRUE"_s)
{
    return u"    Field Name=\""_s + name + u"\" Priority=\"10\" Hidden=\""_s + hidden
           + u"\" Editable=\"FALSE\" ValidRange=\"\" Parser=\"\" Selection=\""_s + name
           + u"\" Header=\""_s + name
           + u"\" Alignment=\"\" Format=\"\" Units=\"\" Hyperlink=\"\" DataType=\""_s + type
           + u"\" Length=\""_s + length + u"\" Width=\"\" Description=\"\"\n"_s;
}

// The log of one table's update: its line, then one per field added.
QString updating(const QString &table, const QStringList &added = {})
{
    QString log = u"    Updating Table: "_s + table + crlf;
    for (const QString &name : added)
        log += u"        Added Field: "_s + name + crlf;
    return log;
}

// In the server's order: by schema, then name.
const QString writtenTables = u"  Tables\n"_s
                              u"   Table Name=\"inventory.racks\"\n    Columns\n"_s
                              + column(u"id"_s, u"4"_s, u"integer"_s)
                              + u"   Table Name=\"Interfaces\"\n    Columns\n"_s
                              + column(u"ifindex"_s, u"4"_s, u"integer"_s)
                              + column(u"speed"_s, u"8"_s, u"bigint"_s)
                              + column(u"descr"_s, u"8"_s, u"character"_s)
                              + u"   Table Name=\"NODES\"\n    Columns\n"_s
                              + column(u"id"_s, u"4"_s, u"integer"_s)
                              + column(u"Name"_s, u"50"_s, u"character varying"_s)
                              + column(u"note"_s, u"-1"_s, u"text"_s)
                              + u"   Table Name=\"odd\"name\"\n    Columns\n"_s
                              + column(u"x"_s, u"4"_s, u"integer"_s);

} // namespace

TEST(DictionaryPostgres, WrittenTemplateThenUpdatedBesideIt)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = connected(cluster);
    TempFolder folder;
    const QString file = folder.path() + u"/dictionary.xml"_s;
    ASSERT_TRUE(admin->WriteDataDictionary(u"dictionary"_s, file))
        << admin->LastError().toStdString();
    // The system schemas and the view are not tables of the dictionary; the odd name is written
    // as it is, escaped by the XML writer.
    EXPECT_TEXT(outline(file), u"Dictionary\n Database Name=\"dictionary\"\n"_s + writtenTables);

    // A blank after the comma belongs to the next name: " inventory.racks" selects nothing.
    QString log = u"kept\r\n"_s;
    ASSERT_TRUE(admin->UpdateDataDictionary(u"dictionary"_s, u"nodes,INTERFACES, inventory.racks"_s,
                                            file, log))
        << admin->LastError().toStdString();
    EXPECT_TEXT(log, u"kept\r\n"_s
                         + updating(u"Interfaces"_s, {u"ifindex"_s, u"speed"_s, u"descr"_s})
                         + updating(u"NODES"_s, {u"id"_s, u"Name"_s, u"note"_s}));
    const QString updatedTables = u" Tables\n  Table Name=\"Interfaces\"\n   Fields\n"_s
                                  + field(u"ifindex"_s, u"integer"_s, u"4"_s)
                                  + field(u"speed"_s, u"bigint"_s, u"8"_s)
                                  + field(u"descr"_s, u"character"_s, u"8"_s)
                                  + u"  Table Name=\"NODES\"\n   Fields\n"_s
                                  + field(u"id"_s, u"integer"_s, u"4"_s)
                                  + field(u"Name"_s, u"character varying"_s, u"50"_s)
                                  + field(u"note"_s, u"text"_s, u"-1"_s);
    EXPECT_TEXT(outline(file),
                u"Dictionary\n Database Name=\"dictionary\"\n"_s + writtenTables + updatedTables);

    // Again: only the table lines, and the file as it was.
    const QByteArray before = fileBytes(file);
    log.clear();
    ASSERT_TRUE(admin->UpdateDataDictionary(u"dictionary"_s, u"NODES"_s, file, log));
    EXPECT_TEXT(log, updating(u"NODES"_s));
    EXPECT_EQ(fileBytes(file), before);
}

TEST(DictionaryPostgres, HandEditsStayAndMissingFieldsComeBack)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = connected(cluster);
    TempFolder folder;
    // Edited by hand: one field shown and renamed in its header, one removed, a comment kept.
    const QString file = folder.write(
        u"edited.xml"_s,
        "<?xml version=\"1.0\" encoding=\"windows-1252\"?>\n<!-- kept -->\n<Dictionary><Tables>"
        "<Table Name=\"NODES\"><Fields><Field Name=\"Name\" Hidden=\"FALSE\" Header=\"Node\"/>"
        "</Fields></Table><Table Name=\"Other\"/></Tables></Dictionary>");
    QString log;
    ASSERT_TRUE(admin->UpdateDataDictionary(u"dictionary"_s, u"nodes"_s, file, log))
        << admin->LastError().toStdString();
    EXPECT_TEXT(log, updating(u"NODES"_s, {u"id"_s, u"note"_s}));
    EXPECT_TEXT(outline(file), u"Dictionary\n Tables\n  Table Name=\"NODES\"\n   Fields\n"_s
                               u"    Field Name=\"Name\" Hidden=\"FALSE\" Header=\"Node\"\n"_s
                                   + field(u"id"_s, u"integer"_s, u"4"_s)
                                   + field(u"note"_s, u"text"_s, u"-1"_s)
                                   + u"  Table Name=\"Other\"\n"_s);
    const QByteArray saved = fileBytes(file);
    EXPECT_TRUE(saved.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>")) << saved.data();
    EXPECT_TRUE(saved.contains("<!-- kept -->"));
}

TEST(DictionaryPostgres, ErrorExitLeavesTheFileAsItWas)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = connected(cluster);
    TempFolder folder;
    const QString file = folder.path() + u"/dictionary.xml"_s;
    ASSERT_TRUE(admin->WriteDataDictionary(u"dictionary"_s, file));
    const QByteArray written = fileBytes(file);
    const QString prefix = u"Cannot create Data Dictionary Template ("_s + file + u")"_s + crlf;

    QString log;
    EXPECT_FALSE(admin->UpdateDataDictionary(u"dictionary"_s, u"NODES,odd\"name"_s, file, log));
    EXPECT_TEXT(admin->LastError(),
                prefix
                    + u"The XPath expression /Dictionary/Tables/Table[@Name=\"odd\"name\"] cannot "
                      u"be evaluated: the name holds a double quote."_s);
    EXPECT_TRUE(log.startsWith(updating(u"NODES"_s)));
    EXPECT_TRUE(log.endsWith(updating(u"odd\"name"_s)));
    EXPECT_EQ(fileBytes(file), written);

    // A file that is not XML starts afresh, its old bytes kept aside first.
    const QString broken = folder.write(u"broken.xml"_s, "<Dictionary><Tables>");
    log.clear();
    EXPECT_TRUE(admin->UpdateDataDictionary(u"dictionary"_s, u"NODES"_s, broken, log))
        << admin->LastError().toStdString();
    EXPECT_EQ(fileBytes(broken + u".unreadable"_s), QByteArray("<Dictionary><Tables>"));
    EXPECT_TRUE(fileBytes(broken).contains("<Table Name=\"NODES\""));
    EXPECT_FALSE(admin->WriteDataDictionary(u"missing"_s, file));
    EXPECT_TEXT(admin->LastError(), prefix + u"Database 'missing' does not exist on the server."_s);
    EXPECT_EQ(fileBytes(file), written);
}
