// The shipped SQL Server flavour of the monitoring database, through the statements it sends (SQL
// Server cannot run here; tests/host runs it on a real one with MGIMPORT8_TEST_MSSQL):
// - BuildDatabase on an empty server puts the name and the data folder into the CREATE, then
//   creates the function, the seed rows of both seeded tables and the view, with no failure in
//   the trace; its tables, keys and indexes agree with the file's own column descriptions, so a
//   table read back as described needs no change.
#include <MGImport8/sqladmin.h>

#include "dbstructure/structurefile.h"
#include "scriptedsession.h"
#include "sqladmin/admin/sqladmin_p.h"

#include "testsupport.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::SqlAdmin::SQLAdminAccess;
using MGImport8::Test::ScriptedServer;

TEST(MonitoringStructureSqlServer, BuildSendsEveryObjectOfTheShippedFile)
{
    ScriptedServer server;
    SQLAdmin admin;
    QStringList changes;
    SQLAdminAccess::of(admin).factory = server.factory();
    SQLAdminAccess::of(admin).structureStatement = [&changes](const QString &text) {
        changes.append(text);
    };
    admin.setServerName(u"SQLBOX"_s);
    admin.setUseIntegratedNTSecurity(false);
    admin.setLoginName(u"sa"_s);
    admin.setLoginPassword(u"pw"_s);
    server.answers = {
        {u"SUSER_SNAME()"_s, {{u"sa"_s}}, {}, {}},
        {u"IS_SRVROLEMEMBER"_s, {{1}}, {}, {}},
        {u"sys.databases"_s, {{u"master"_s}, {u"monitoring"_s}}, {}, {}},
        {u"sp_getapplock"_s, {{1}}, {}, {}},
    };
    // The scripted catalogue cannot grow, so the tables are there from the start, each reading
    // back as the file describes it: the run then sends no table change, and every seed row.
    const QString file = QStringLiteral(MGIMPORT8_SHIPPED_FILES
                                        "/MonitoringDatabase.SQLServer.xml");
    const auto structure = MGImport8::DbStructure::StructureFile::load(file);
    MGImport8::SqlAdmin::Rows tables;
    for (const pugi::xpath_node &node : structure.tables()) {
        const pugi::xml_node table = node.node();
        const QString name = MGImport8::DbStructure::attributeText(table, "Name");
        tables.append({u"dbo"_s, name});
        const QVariantList where = {u"dbo"_s, name};
        MGImport8::SqlAdmin::Rows columns;
        for (const pugi::xpath_node &column : table.select_nodes("Columns/*")) {
            const auto definition = MGImport8::DbStructure::readColumn(column.node());
            columns.append(
                {definition.name, definition.dataType, definition.length,
                 definition.allowNulls ? 1 : 0, 0,
                 definition.defaultText.isEmpty() ? QVariant() : QVariant(definition.defaultText),
                 QVariant()});
        }
        server.answers.append({u"FROM sys.columns c JOIN sys.types"_s, columns, {}, where});
        const auto key = MGImport8::DbStructure::readPrimaryKey(table);
        MGImport8::SqlAdmin::Rows keyRows;
        for (const QString &column : key.columns)
            keyRows.append({key.name, 1, column});
        server.answers.append({u"sys.key_constraints"_s, keyRows, {}, where});
        MGImport8::SqlAdmin::Rows indexRows;
        for (const pugi::xpath_node &index : table.select_nodes("Indexes/*")) {
            const auto definition = MGImport8::DbStructure::readIndex(index.node());
            for (const QString &column : definition.columns)
                indexRows.append({definition.name, 0, 0, 0, column});
        }
        server.answers.append({u"FROM sys.indexes i"_s, indexRows, {}, where});
    }
    server.answers.append({u"FROM sys.tables t"_s, tables, {}, {}});
    ASSERT_TRUE(admin.Connect(true)) << admin.LastError().toStdString();
    ASSERT_TRUE(admin.BuildDatabase(u"monitoring"_s, u"D:\\Data"_s, file))
        << admin.LastError().toStdString();
    const QStringList texts = server.texts();
    const auto create = std::find_if(texts.begin(), texts.end(), [](const QString &text) {
        return text.startsWith(u"CREATE DATABASE"_s);
    });
    ASSERT_NE(create, texts.end());
    EXPECT_EQ(*create,
              u"CREATE DATABASE [monitoring] ON PRIMARY (NAME = N'monitoring_Data', FILENAME = "
              u"N'D:\\Data\\monitoring_Data.mdf') LOG ON (NAME = N'monitoring_Log', FILENAME = "
              u"N'D:\\Data\\monitoring_Log.ldf')"_s);
    EXPECT_FALSE(admin.UpdateTrace().contains(u"Cannot"_s))
        << admin.UpdateTrace().toStdString() << server.texts().join(u"\n"_s).toStdString();

    const QString sent = changes.join(u"\n"_s);
    EXPECT_TRUE(changes.value(0).startsWith(u"CREATE DATABASE [monitoring]"_s));
    EXPECT_TRUE(changes.value(1).startsWith(u"CREATE FUNCTION dbo.NodeInterfaceCount"_s));
    EXPECT_TRUE(sent.endsWith(u"CREATE VIEW dbo.NodeSummary AS SELECT n.IP, n.Name, t.TypeName, "
                              u"(SELECT COUNT(*) FROM dbo.Interfaces i WHERE i.IP = n.IP) AS "
                              u"Interfaces FROM dbo.Nodes n LEFT JOIN dbo.NodeTypes t ON "
                              u"t.NodeType = n.NodeType"_s))
        << sent.toStdString();
    for (const QString &change : {u"CREATE TABLE"_s, u"ALTER TABLE"_s, u"CREATE INDEX"_s})
        EXPECT_FALSE(sent.contains(change)) << change.toStdString();
    // Seed values travel as bound values, the service ports one row at a time.
    QStringList seeded;
    for (const auto &statement : server.sent) {
        for (const QVariant &value : statement.values) {
            if (value.toString() == u"Access point"_s || value.toString() == u"ms-sql-s"_s)
                seeded.append(value.toString());
        }
    }
    seeded.sort();
    EXPECT_EQ(seeded, (QStringList{u"Access point"_s, u"ms-sql-s"_s}));
}
