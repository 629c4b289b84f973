// The structure file reader:
// - Boolean flags, AllowNulls, Length and CreateDate each keep their own reading rule;
// - any child name under Tables, UDFs and Views is an object, and the export's spellings are
//   left unread;
// - a key's and an index's statement is their leading text, "<Data></Data>" is no data;
#include "dbstructure/columnspelling.h"
#include "dbstructure/structurefile.h"
#include "dbstructure/structuremaintenance.h"

#include "testsupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace MGImport8::DbStructure;

namespace {

struct TextCase
{
    const char *name;
    QString text;
    bool boolean;
    bool allowNulls;
    qint16 length;
};

class ValueForms : public testing::TestWithParam<TextCase>
{};

TEST_P(ValueForms, EachAttributeKeepsItsOwnRule)
{
    const TextCase &c = GetParam();
    EXPECT_EQ(structureBoolean(c.text), c.boolean);
    EXPECT_EQ(structureAllowNulls(c.text), c.allowNulls);
    EXPECT_EQ(structureLength(c.text), c.length);
}

INSTANTIATE_TEST_SUITE_P(
    StructureFile, ValueForms,
    testing::Values(TextCase{"true_lower", u"true"_s, true, true, 0},
                    TextCase{"true_upper", u"TRUE"_s, true, true, 0},
                    TextCase{"one", u"1"_s, true, false, 1},
                    TextCase{"zero", u"0"_s, false, false, 0},
                    TextCase{"minus_one", u"-1"_s, true, false, -1},
                    TextCase{"false_mixed", u"FaLsE"_s, false, false, 0},
                    TextCase{"empty", u""_s, false, false, 0},
                    TextCase{"yes_is_not_boolean", u"yes"_s, false, false, 0},
                    TextCase{"numeric_prefix", u" 50 chars"_s, false, false, 50},
                    TextCase{"half_to_even_down", u"12.5"_s, true, false, 12},
                    TextCase{"half_to_even_up", u"13.5"_s, true, false, 14},
                    TextCase{"too_long", u"70000"_s, true, false, 0},
                    TextCase{"max", u"-1"_s, true, false, -1}),
    [](const testing::TestParamInfo<TextCase> &param) { return std::string(param.param.name); });

TEST(StructureFile, DatesAreReadByTheDay)
{
    const struct
    {
        QString text;
        QDate date;
    } cases[] = {
        {u"2007-11-28 23:59:59"_s, QDate(2007, 11, 28)},
        {u"2007-11-28"_s, QDate(2007, 11, 28)},
        {u"2007-13-01"_s, QDate(2008, 1, 1)},
        {u"2007-02-30"_s, QDate(2007, 3, 2)},
        {u"07-1-2"_s, QDate(2007, 1, 2)},
        {u"95-1-2"_s, QDate(1995, 1, 2)},
        {u""_s, zeroDate()},
        {u"28/11/2007"_s, zeroDate()},
        {u"2007-xx-28"_s, zeroDate()},
        {u"99999999-1-1"_s, zeroDate()},
    };
    for (const auto &c : cases)
        EXPECT_EQ(structureDate(c.text), c.date) << c.text.toStdString();
    EXPECT_LT(zeroDate(), QDate(1900, 1, 1));
}

TEST(StructureFile, HalfwayPercentagesRoundToEven)
{
    EXPECT_EQ(StructureMaintenance::percentOf(1, 8), 12);
    EXPECT_EQ(StructureMaintenance::percentOf(3, 8), 38);
    EXPECT_EQ(StructureMaintenance::percentOf(1, 3), 33);
    EXPECT_EQ(StructureMaintenance::percentOf(2, 3), 67);
    EXPECT_EQ(StructureMaintenance::percentOf(1, 200), 0);
    EXPECT_EQ(StructureMaintenance::percentOf(3, 200), 2);
}

TEST(StructureFile, ReadsEveryNodeTheWayTheMaintenanceDoes)
{
    MGImport8::Test::TempFolder folder;
    const QString path = folder.write(u"s.xml"_s, R"xml(<?xml version="1.0"?>
<DatabaseStructure><Database>
<SQL><Database>CREATE DATABASE [%DatabaseName%]</Database></SQL>
<UDFs><Anything Name="f1" CreateDate="2007-11-28 10:00:00"><SQL><Function>CREATE FUNCTION f1()</Function></SQL></Anything></UDFs>
<Tables>
 <Table Name="Nodes">
  <SQL><Table>CREATE TABLE Nodes (ID int)</Table>
   <PrimaryKey Name="PK_Nodes" Clustered="1">ALTER TABLE Nodes ADD CONSTRAINT PK_Nodes PRIMARY KEY (ID)<Columns><Column Name="ID"/><Column Name="Sub"/></Columns></PrimaryKey>
  </SQL>
  <Columns><Col Name="ID" DataType="int" Length="4" Identity="1" AllowNulls="1" IsRowGuidCol="True" IsComputed="0" ComputedText="x"/>
   <Column Name="Expr" DataType="int" IsComputed="true" ComputedText="([ID]+1)" AllowNulls="true"/></Columns>
  <Indexes><Index Name="IX_A">CREATE INDEX IX_A ON Nodes (B, A) ON [PRIMARY]<IndexedColumn Name="B"/><IndexedColumn Name="A"/></Index></Indexes>
  <Data></Data>
 </Table>
 <Tbl Name="Other"><Data KeyColumn="ID"/></Tbl>
 <Tbl Name="Third"><Data KeyColumn="ID"><Rows><row ID="1"/></Rows></Data></Tbl>
</Tables>
<Views><V Name="v1" CreateDate=""/></Views>
</Database></DatabaseStructure>)xml");
    const StructureFile file = StructureFile::load(path);
    ASSERT_TRUE(file.loaded());
    EXPECT_EQ(file.createDatabaseStatement(), u"CREATE DATABASE [%DatabaseName%]"_s);

    ASSERT_EQ(file.functions().size(), 1u);
    const RoutineTemplate function = readRoutine(file.functions()[0].node(), "SQL/Function");
    EXPECT_EQ(function.name, u"f1"_s);
    EXPECT_EQ(function.createDate, QDate(2007, 11, 28));
    EXPECT_EQ(function.statement, u"CREATE FUNCTION f1()"_s);
    EXPECT_EQ(readRoutine(file.views()[0].node(), "SQL/View").createDate, zeroDate());

    ASSERT_EQ(file.tables().size(), 3u);
    const pugi::xml_node nodes = file.tables()[0].node();
    const PrimaryKeyTemplate key = readPrimaryKey(nodes);
    EXPECT_TRUE(key.present);
    EXPECT_EQ(key.name, u"PK_Nodes"_s);
    EXPECT_TRUE(key.clustered);
    EXPECT_EQ(key.columns, (QStringList{u"ID"_s, u"Sub"_s}));
    EXPECT_EQ(key.statement, u"ALTER TABLE Nodes ADD CONSTRAINT PK_Nodes PRIMARY KEY (ID)"_s);
    EXPECT_FALSE(readPrimaryKey(file.tables()[1].node()).present);

    const auto columns = nodes.select_nodes("Columns/*");
    ASSERT_EQ(columns.size(), 2u);
    const ColumnTemplate id = readColumn(columns[0].node());
    EXPECT_TRUE(id.identity);
    EXPECT_FALSE(id.allowNulls);
    // The export's IsRowGuidCol is not the reader's IsRowGuid.
    EXPECT_FALSE(id.isRowGuid);
    EXPECT_EQ(id.computedText, QString());
    const ColumnTemplate expr = readColumn(columns[1].node());
    EXPECT_TRUE(expr.isComputed);
    EXPECT_TRUE(expr.allowNulls);
    EXPECT_EQ(expr.computedText, u"([ID]+1)"_s);
    EXPECT_EQ(expr.length, 0);

    const IndexTemplate index = readIndex(nodes.select_node("Indexes/*").node());
    EXPECT_EQ(index.columns, (QStringList{u"B"_s, u"A"_s}));
    EXPECT_EQ(index.statement, u"CREATE INDEX IX_A ON Nodes (B, A) ON [PRIMARY]"_s);

    EXPECT_FALSE(seedData(nodes));
    EXPECT_TRUE(seedData(file.tables()[1].node()));
    EXPECT_TRUE(seedData(file.tables()[2].node()));
}

TEST(ColumnSpelling, CharacterTypesCarryTheirLength)
{
    EXPECT_EQ(columnTypeDeclaration(u"character varying"_s, 120, false),
              u"character varying(120)"_s);
    EXPECT_EQ(columnTypeDeclaration(u"nvarchar"_s, -1, true), u"nvarchar(max)"_s);
    EXPECT_EQ(columnTypeDeclaration(u"text"_s, -1, false), u"text"_s);
    EXPECT_EQ(columnTypeDeclaration(u"integer"_s, 4, false), u"integer"_s);
    MGImport8::SqlAdmin::ColumnInfo column;
    column.typeName = u"character varying"_s;
    column.length = 40;
    EXPECT_EQ(spellColumn(column).length, u"40"_s);
}

} // namespace
