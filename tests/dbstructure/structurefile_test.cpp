// The structure file reader:
// - Boolean flags, AllowNulls, Length and CreateDate each keep their own reading rule, and
//   halfway percentages round to even;
// - any child name under Tables, UDFs and Views is an object, and the export's spellings are
//   left unread;
// - a key's and an index's statement is their leading text, "<Data></Data>" is no data.
#include "dbstructure/columnspelling.h"
#include "dbstructure/structurefile.h"
#include "dbstructure/structuremaintenance.h"

#include "testsupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace MGImport8::DbStructure;

TEST(StructureFile, EachValueKeepsItsOwnRule)
{
    const struct
    {
        QString text;
        bool boolean;
        bool allowNulls;
        qint16 length;
    } values[] = {
        {u"TRUE"_s, true, true, 0},         {u"1"_s, true, false, 1},
        {u"FaLsE"_s, false, false, 0},      {u"yes"_s, false, false, 0},
        {u" 50 chars"_s, false, false, 50}, {u"12.5"_s, true, false, 12},
        {u"13.5"_s, true, false, 14},       {u"70000"_s, true, false, 0},
        {u"-1"_s, true, false, -1},
    };
    for (const auto &c : values) {
        SCOPED_TRACE(c.text.toStdString());
        EXPECT_EQ(structureBoolean(c.text), c.boolean);
        EXPECT_EQ(structureAllowNulls(c.text), c.allowNulls);
        EXPECT_EQ(structureLength(c.text), c.length);
    }
    const struct
    {
        QString text;
        QDate date;
    } dates[] = {
        {u"2007-11-28 23:59:59"_s, QDate(2007, 11, 28)},
        {u"2007-02-30"_s, QDate(2007, 3, 2)},
        {u"95-1-2"_s, QDate(1995, 1, 2)},
        {u"07-1-2"_s, QDate(2007, 1, 2)},
        {u"28/11/2007"_s, zeroDate()},
        {u"99999999-1-1"_s, zeroDate()},
    };
    for (const auto &c : dates)
        EXPECT_EQ(structureDate(c.text), c.date) << c.text.toStdString();
    EXPECT_LT(zeroDate(), QDate(1900, 1, 1));
    EXPECT_EQ(StructureMaintenance::percentOf(1, 8), 12);
    EXPECT_EQ(StructureMaintenance::percentOf(3, 8), 38);
    EXPECT_EQ(columnTypeDeclaration(u"nvarchar"_s, -1, true), u"nvarchar(max)"_s);
    EXPECT_EQ(columnTypeDeclaration(u"text"_s, -1, false), u"text"_s);
}

TEST(StructureFile, ReadsEveryNodeTheWayTheMaintenanceDoes)
{
    MGImport8::Test::TempFolder folder;
    const QString path = folder.write(u"s.xml"_s, R"xml(<DatabaseStructure><Database>
<UDFs><Anything Name="f1" CreateDate="2007-11-28 10:00:00"><SQL><Function>CREATE FUNCTION f1()</Function></SQL></Anything></UDFs>
<Tables>
 <Table Name="Nodes">
  <SQL><PrimaryKey Name="PK_Nodes" Clustered="1">ALTER TABLE Nodes ADD PRIMARY KEY (ID)<Columns><Column Name="ID"/><Column Name="Sub"/></Columns></PrimaryKey></SQL>
  <Columns><Col Name="ID" Identity="1" AllowNulls="1" IsRowGuidCol="True" IsComputed="0" ComputedText="x"/>
   <Column Name="Expr" IsComputed="true" ComputedText="([ID]+1)" AllowNulls="true"/></Columns>
  <Indexes><Index Name="IX_A">CREATE INDEX IX_A ON Nodes (B, A)<IndexedColumn Name="B"/><IndexedColumn Name="A"/></Index></Indexes>
  <Data></Data>
 </Table>
 <Tbl Name="Other"><Data KeyColumn="ID"/></Tbl>
</Tables>
<Views><V Name="v1" CreateDate=""/></Views>
</Database></DatabaseStructure>)xml");
    const StructureFile file = StructureFile::load(path);
    ASSERT_TRUE(file.loaded());
    ASSERT_EQ(file.functions().size(), 1u);
    const RoutineTemplate function = readRoutine(file.functions()[0].node(), "SQL/Function");
    EXPECT_EQ((QStringList{function.name, function.createDate.toString(Qt::ISODate),
                           function.statement}),
              (QStringList{u"f1"_s, u"2007-11-28"_s, u"CREATE FUNCTION f1()"_s}));
    EXPECT_EQ(readRoutine(file.views()[0].node(), "SQL/View").createDate, zeroDate());

    ASSERT_EQ(file.tables().size(), 2u);
    const pugi::xml_node nodes = file.tables()[0].node();
    const PrimaryKeyTemplate key = readPrimaryKey(nodes);
    EXPECT_TRUE(key.present && key.clustered);
    EXPECT_EQ(key.columns, (QStringList{u"ID"_s, u"Sub"_s}));
    EXPECT_EQ(key.statement, u"ALTER TABLE Nodes ADD PRIMARY KEY (ID)"_s);
    EXPECT_FALSE(readPrimaryKey(file.tables()[1].node()).present);

    const auto columns = nodes.select_nodes("Columns/*");
    ASSERT_EQ(columns.size(), 2u);
    const ColumnTemplate id = readColumn(columns[0].node());
    // "1" allows no nulls; the export's IsRowGuidCol is not the reader's IsRowGuid.
    EXPECT_TRUE(id.identity && !id.allowNulls && !id.isRowGuid && id.computedText.isEmpty());
    const ColumnTemplate expr = readColumn(columns[1].node());
    EXPECT_TRUE(expr.isComputed && expr.allowNulls);
    EXPECT_EQ(expr.computedText, u"([ID]+1)"_s);

    const IndexTemplate index = readIndex(nodes.select_node("Indexes/*").node());
    EXPECT_EQ(index.columns, (QStringList{u"B"_s, u"A"_s}));
    EXPECT_EQ(index.statement, u"CREATE INDEX IX_A ON Nodes (B, A)"_s);
    EXPECT_FALSE(seedData(nodes));
    EXPECT_TRUE(seedData(file.tables()[1].node()));
}
