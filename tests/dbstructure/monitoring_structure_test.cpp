// The monitoring database's shipped structure files:
// - each server type's flavours describe the same tables, views and functions, and each current
//   file differs from its previous version by exactly Nodes' new column and new index;
// - a database built on PostgreSQL from the previous version and its nodes come through the
//   upgrade, which adds only the column and the index, and leaves a database that matches a fresh
//   build; a second verification of either changes nothing.
#include <MGImport8/sqladmin.h>

#include "dbstructure/structurefile.h"

#include "pgcluster.h"
#include "testsupport.h"

#include <QSet>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::Test::PgCluster;
namespace DbStructure = MGImport8::DbStructure;

namespace {

QString shipped(const QString &name)
{
    return QStringLiteral(MGIMPORT8_SHIPPED_FILES "/") + name;
}

const QString pgCurrent = shipped(u"MonitoringDatabase.PostgreSQL.xml"_s);
const QString pgPrevious = shipped(u"MonitoringDatabase.PostgreSQL.1.xml"_s);
const QString msCurrent = shipped(u"MonitoringDatabase.SQLServer.xml"_s);
const QString msPrevious = shipped(u"MonitoringDatabase.SQLServer.1.xml"_s);

// A structure file as names: "table NAME", "column TABLE.NAME TYPE", "index TABLE.NAME",
// "key TABLE(COLS)", "seed TABLE N", "view NAME", "function NAME", all upper-cased so that the
// two servers' spellings compare.
QSet<QString> outline(const QString &path, bool withTypes)
{
    const DbStructure::StructureFile file = DbStructure::StructureFile::load(path);
    EXPECT_TRUE(file.loaded()) << file.loadError().toStdString();
    EXPECT_EQ(file.parseError(), QString()) << path.toStdString();
    QSet<QString> names;
    for (const pugi::xpath_node &node : file.tables()) {
        const pugi::xml_node table = node.node();
        const QString name = DbStructure::attributeText(table, "Name").toUpper();
        names.insert(u"table "_s + name);
        for (const pugi::xpath_node &column : table.select_nodes("Columns/*")) {
            const DbStructure::ColumnTemplate definition = DbStructure::readColumn(column.node());
            names.insert(u"column "_s + name + u'.' + definition.name.toUpper()
                         + (withTypes ? u' ' + definition.dataType : QString()));
        }
        for (const pugi::xpath_node &index : table.select_nodes("Indexes/*"))
            names.insert(u"index "_s + name + u'.'
                         + DbStructure::readIndex(index.node()).columns.join(u',').toUpper());
        const DbStructure::PrimaryKeyTemplate key = DbStructure::readPrimaryKey(table);
        names.insert(u"key "_s + name + u'(' + key.columns.join(u',').toUpper() + u')');
        const auto rows = table.select_nodes("Data/Rows/row");
        names.insert(u"seed "_s + name + u' ' + QString::number(rows.size()));
    }
    for (const pugi::xpath_node &view : file.views())
        names.insert(u"view "_s + DbStructure::attributeText(view.node(), "Name").toUpper());
    for (const pugi::xpath_node &function : file.functions())
        names.insert(u"function "_s + DbStructure::attributeText(function.node(), "Name").toUpper());
    return names;
}

QStringList sorted(const QSet<QString> &set)
{
    QStringList list(set.begin(), set.end());
    list.sort();
    return list;
}

} // namespace

TEST(MonitoringStructureFiles, FlavoursAgreeAndEachVersionAddsOneColumnAndOneIndex)
{
    // Names without the servers' type spellings, and without the routines' names, whose style
    // follows each server's habits (node_summary, NodeSummary).
    auto comparable = [](const QString &path) {
        QSet<QString> names;
        for (const QString &name : outline(path, false)) {
            if (!name.startsWith(u"view "_s) && !name.startsWith(u"function "_s))
                names.insert(QString(name).remove(u'_'));
        }
        return names;
    };
    EXPECT_EQ(sorted(comparable(pgCurrent)), sorted(comparable(msCurrent)));
    EXPECT_EQ(sorted(comparable(pgPrevious)), sorted(comparable(msPrevious)));

    // The SQL Server flavour's versions differ as the PostgreSQL upgrade below shows its own do.
    const QSet<QString> before = outline(msPrevious, true);
    const QSet<QString> after = outline(msCurrent, true);
    EXPECT_EQ(sorted(before - after), QStringList());
    QStringList added = sorted(after - before);
    for (QString &name : added)
        name = name.section(u' ', 0, 1);
    EXPECT_EQ(added, (QStringList{u"column NODES.LASTSEEN"_s, u"index NODES.NAME"_s}));
}

namespace {

QString query(PgCluster *cluster, const QString &database, const QString &sql)
{
    QString output;
    EXPECT_TRUE(cluster->psql(database, sql, &output)) << output.toStdString();
    return output.trimmed();
}

// What a team would compare after a run: the columns, keys and indexes of the public schema, the
// views and functions, and the rows of every table.
QString contentOf(PgCluster *cluster, const QString &database)
{
    QString content;
    for (const QString &sql :
         {u"SELECT string_agg(table_name || '.' || column_name || ' ' || data_type || ' ' || "
          u"coalesce(column_default, ''), E'\\n' ORDER BY table_name, column_name) FROM "
          u"information_schema.columns WHERE table_schema = 'public'"_s,
          u"SELECT string_agg(indexname, ',' ORDER BY indexname) FROM pg_indexes WHERE "
          u"schemaname = 'public'"_s,
          u"SELECT string_agg(port || servicename || enabled || system, ',' ORDER BY port) FROM "
          u"serviceports"_s,
          u"SELECT string_agg(nodetype || typename, ',' ORDER BY nodetype) FROM nodetypes"_s,
          u"SELECT string_agg(ip || '=' || coalesce(name, ''), ',' ORDER BY ip) FROM nodes"_s,
          u"SELECT string_agg(proname, ',') FROM pg_proc WHERE pronamespace = "
          u"'public'::regnamespace"_s,
          u"SELECT string_agg(viewname, ',') FROM pg_views WHERE schemaname = 'public'"_s})
        content += query(cluster, database, sql) + u'\n';
    return content;
}

// The trace lines of a verification that changed something.
QStringList verify(SQLAdmin &admin, const QString &database)
{
    const qsizetype start = admin.UpdateTrace().size();
    EXPECT_TRUE(admin.UpdateDatabaseStructure(admin.GetDatabase(database), pgCurrent))
        << admin.LastError().toStdString();
    QStringList lines;
    for (const QString &line : admin.UpdateTrace().mid(start).split(u"\r\n"_s)) {
        if (line.startsWith(u"Add"_s) || line.startsWith(u"Removing"_s)
            || line.startsWith(u"Changing"_s) || line.startsWith(u"Data Added"_s)
            || line.startsWith(u"Cannot"_s) || line.startsWith(u"Error"_s))
            lines.append(line);
    }
    return lines;
}

} // namespace

// A database built from the previous version and one built from the current one, with the same
// nodes: the upgrade adds only the column and the index and then matches the fresh build, and a
// second verification of either changes nothing (the service ports stay one row a port).
TEST(MonitoringStructurePostgres, UpgradeMatchesAFreshBuildAndASecondRunChangesNothing)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    SQLAdmin admin;
    admin.setServerType(SQLAdmin::PostgreSqlType);
    admin.setServerName(cluster->socketServerName());
    ASSERT_TRUE(admin.Connect(false)) << admin.LastError().toStdString();
    ASSERT_TRUE(admin.BuildDatabase(u"monitoring_upgraded"_s, u"/tmp"_s, pgPrevious))
        << admin.LastError().toStdString();
    ASSERT_TRUE(admin.BuildDatabase(u"monitoring_fresh"_s, u"/tmp"_s, pgCurrent));
    EXPECT_EQ(admin.LastError(), QString()) << admin.UpdateTrace().toStdString();
    const QString nodes = u"INSERT INTO nodes (ip, name, nodetype) VALUES ('10.0.0.1', 'core', 1), "
                          u"('192.0.2.2', 'edge', 1); INSERT INTO interfaces (ip, ifindex) "
                          u"VALUES ('10.0.0.1', 1), ('10.0.0.1', 2);"_s;
    ASSERT_TRUE(
        cluster->psqlSteps({{u"monitoring_upgraded"_s, nodes}, {u"monitoring_fresh"_s, nodes}}));
    EXPECT_EQ(query(cluster, u"monitoring_fresh"_s, u"SELECT count(*) FROM serviceports"_s),
              u"38"_s);
    // The view and the function work over the inventory's rows.
    EXPECT_EQ(query(cluster, u"monitoring_fresh"_s,
                    u"SELECT name || typename || interfaces || node_interface_count(ip) FROM "
                    u"node_summary WHERE ip = '10.0.0.1'"_s),
              u"coreRouter22"_s);

    EXPECT_EQ(verify(admin, u"monitoring_upgraded"_s),
              (QStringList{u"Added Nodes.lastseen to Database"_s,
                           u"Adding Index to Database Table Nodes"_s,
                           u"Added Index (nodes_name_idx) to Nodes"_s}));
    const QString fresh = contentOf(cluster, u"monitoring_fresh"_s);
    EXPECT_EQ(contentOf(cluster, u"monitoring_upgraded"_s), fresh);
    for (const QString &database : {u"monitoring_upgraded"_s, u"monitoring_fresh"_s})
        EXPECT_EQ(verify(admin, database), QStringList()) << database.toStdString();
    EXPECT_EQ(contentOf(cluster, u"monitoring_fresh"_s), fresh);
}
