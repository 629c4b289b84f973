// The wizard's database path against a real PostgreSQL cluster and a loopback SQL Server Browser:
// - a walk from the method list through server, login, database and table reads the table, nulls
//   as empty values, views and catalogue tables never offered;
// - the connection string the panel builds is the family's, and a table text starting with
//   "select " runs as written while a plain name reads at most 5000 records; a database that
//   cannot be opened leaves the table list as it was;
// - tables and databases whose names hold quotes, brackets and semicolons are read by those
//   names, quoted as each server reads them, and every other table is still there afterwards;
//   only a NUL, which no quoting carries, is refused;
// - database names that cannot be opened and empty tables give their exact messages, and no
//   message holds the password;
// - server discovery lists the network's instances then the registered servers once each, and
//   when it cannot start leaves its status showing and the list as it was (the login name asked
//   for first under SQL security is the window test's).
#include "wizardfixture.h"

#include "common/connectionstring.h"

#include "wizard/sources/serversourcereader.h"

#include "pgcluster.h"
#include "ssrpresponder.h"

#include <MGImport8/importtypes.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

const QString login = u"importer"_s;
const QString password = u"Imp'ort;er [pw]"_s;

const QByteArray postgresMethod = R"(<?xml version="1.0"?>
<ImportMethods>
  <ImportMethod NAME="PostgreSQL" METHOD="IMPORTPOSTGRESQL" DISABLED="NO" ICON="SQL"
    PANELS="MethodPanel,DatabasePanel,TablePanel,MapPanel,PreviewPanel,OptionsPanel,ImportPanel"/>
  <ImportMethod NAME="Query" METHOD="IMPORTPOSTGRESQL" DISABLED="NO" ICON="SQL"
    TABLE="select ip, name from devices where name like 'core%' order by 1"
    PANELS="MethodPanel,DatabasePanel,MapPanel,PreviewPanel,OptionsPanel,ImportPanel"/>
</ImportMethods>
)";

bool prepare(PgCluster *cluster)
{
    static const bool done = [cluster] {
        return cluster->psqlSteps({
            {u"postgres"_s, u"CREATE ROLE importer LOGIN PASSWORD 'Imp''ort;er [pw]'"_s},
            {u"postgres"_s, u"CREATE DATABASE \"Inventory\""_s},
            {u"Inventory"_s,
             u"CREATE TABLE devices (name text, ip text, location text);"
             "INSERT INTO devices VALUES ('core-1', '10.0.0.1', 'Hall A'), "
             "('core-2', '10.0.0.2', NULL), ('edge-1', '10.0.1.1', 'Roof');"
             "CREATE VIEW device_view AS SELECT * FROM devices;"
             "CREATE TABLE empty_table (ip text);"
             "CREATE TABLE many AS SELECT '10.1.' || (g / 250) || '.' || (g % 250 + 1) AS ip "
             "FROM generate_series(0, 5999) g;"
             "GRANT SELECT ON ALL TABLES IN SCHEMA public TO importer"_s},
        });
    }();
    return done;
}

class DatabasePath : public WizardFixture
{
protected:
    void SetUp() override
    {
        folder.write(u"methods/postgres.ImportMethods"_s, postgresMethod);
        WizardFixture::SetUp();
    }

    // Method panel to database panel, logged in as the test's login on `server`, with
    // `database` chosen when one is given.
    void openDatabasePanel(const QString &method, const QString &server,
                           const QString &pass = password, const QString &database = {})
    {
        chooseMethod(method);
        wizard->next();
        ASSERT_EQ(panel(), Panel::DatabasePanel);
        wizard->setServerName(u"  "_s + server + u" "_s);
        wizard->setIntegratedSecurity(false);
        wizard->setLoginName(login);
        wizard->setLoginPassword(pass);
        if (!database.isEmpty())
            wizard->setDatabaseName(database);
    }
};

// The records imported from a server table or query are the command line's test, beside psql;
// a closed port or a wrong password are the command line's and SQLAdmin's.
TEST_F(DatabasePath, walksFromServerToTablesQueriesAndRefusals)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    // Without a table panel the method's own query is read when the database panel is left.
    openDatabasePanel(u"Query"_s, cluster->tcpServerName(), password, u"Inventory"_s);
    wizard->next();
    ASSERT_EQ(panel(), Panel::MapPanel) << messageTexts().join(u'\n').toStdString();

    restart();
    openDatabasePanel(u"PostgreSQL"_s, cluster->tcpServerName());
    wizard->openDatabaseList();
    ASSERT_TRUE(view.messages().isEmpty()) << messageTexts().join(u'\n').toStdString();
    EXPECT_TRUE(wizard->state().databases.contains(u"Inventory"_s));
    EXPECT_TRUE(wizard->state().statusMessage.isEmpty());
    wizard->setDatabaseName(u"Inventory"_s);
    wizard->next();
    ASSERT_EQ(panel(), Panel::TablePanel) << messageTexts().join(u'\n').toStdString();
    EXPECT_EQ(wizard->chosenMethod()->ConnectionString(),
              u"Provider=SQLOLEDB.1;User ID='importer';Password='"_s + password
                  + u"';Persist Security Info=False;Initial Catalog=Inventory;Data Source="_s
                  + cluster->tcpServerName()
                  + u";Use Procedure for Prepare=1;Auto Translate=True;Packet Size=4096;"
                    "Workstation ID=Marrowgate;Use Encryption for Data=FALSE;Tag with column "
                    "collation when possible=False"_s);
    const QStringList tables{u"devices"_s, u"empty_table"_s, u"many"_s};
    EXPECT_EQ(wizard->state().databaseTables, tables);
    EXPECT_EQ(wizard->state().selectTableDescription,
              u"Which table in 'Inventory' should we use ?"_s);

    // Nulls read as empty values; a plain name reads at most 5000 records, a query all it gives.
    wizard->selectTable(u"devices"_s);
    ASSERT_EQ(grid().rowCount(), 4);
    EXPECT_EQ(grid().rowTag(0), u"FieldHeader"_s);
    EXPECT_EQ(rowTexts(2), (QStringList{u"core-2"_s, u"10.0.0.2"_s, QString()}));
    wizard->selectTable(u"many"_s);
    EXPECT_EQ(grid().rowCount(), 5001);
    wizard->selectTable(u"  SeLeCt ip FROM many WHERE ip LIKE '10.1.0.%'  "_s);
    EXPECT_EQ(grid().rowCount(), 251);
    EXPECT_TRUE(view.messages().isEmpty()) << messageTexts().join(u'\n').toStdString();

    wizard->selectTable(u"empty_table"_s);
    EXPECT_EQ(takeExclamation(),
              u"There are no records in the 'empty_table' table within 'Inventory'"_s);
    EXPECT_EQ(grid().rowCount(), 1);
    wizard->next();
    EXPECT_EQ(takeExclamation(), u"Please select a Database Table with data in it."_s);
    wizard->selectTable(u"no_such_table"_s);
    ASSERT_EQ(view.messages().size(), 1);
    EXPECT_TRUE(view.messages().first().text.startsWith(
        u"Cannot open 'no_such_table' table within 'Inventory'\r\n"_s));
    view.clearMessages();

    // A database that cannot be opened leaves the table list as it was, beside the message. A
    // name that reads like more of the connection string is still one name, asked for on the
    // chosen server; only a NUL, which no quoting carries, is refused before.
    wizard->back();
    ASSERT_EQ(panel(), Panel::DatabasePanel);
    const std::pair<QString, QString> refused[] = {
        {u"Nowhere"_s, u"Cannot open 'Nowhere'' on '"_s + cluster->tcpServerName() + u"\r\n"_s},
        {u"Inventory;Data Source=elsewhere"_s,
         u"Cannot open 'Inventory;Data Source=elsewhere'' on '"_s + cluster->tcpServerName()
             + u"\r\n"_s},
        {u"Inven\0tory"_s,
         u"The database name 'Inven\\0tory' cannot be used: it holds a NUL character (shown as "
         "\\0), which no statement or connection string can carry."_s},
    };
    for (const auto &[database, expectedStart] : refused) {
        wizard->setDatabaseName(database);
        wizard->next();
        EXPECT_EQ(panel(), Panel::DatabasePanel);
        const QString text = takeExclamation();
        EXPECT_TRUE(text.startsWith(expectedStart)) << text.toStdString();
        EXPECT_FALSE(text.contains(password));
        EXPECT_EQ(wizard->state().databaseTables, tables);
    }
}

// Names that would end a bracket, a quote or a connection string entry if put in as they stand.
TEST_F(DatabasePath, readsTablesWhoseNamesHoldQuotesBracketsAndSemicolons)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    const QString database = u"Stock; Data Source=elsewhere"_s;
    static const bool created = cluster->psqlSteps({
        {u"postgres"_s, u"CREATE DATABASE \"Stock; Data Source=elsewhere\""_s},
        {u"Stock; Data Source=elsewhere"_s,
         u"CREATE TABLE \"Bob's nodes\" (ip text); INSERT INTO \"Bob's nodes\" VALUES ('10.2.0.1');"
         "CREATE TABLE \"a]b\" (ip text); INSERT INTO \"a]b\" VALUES ('10.2.0.2');"
         "CREATE TABLE \"x\"\"; drop table y; --\" (ip text);"
         "INSERT INTO \"x\"\"; drop table y; --\" VALUES ('10.2.0.3');"
         "CREATE TABLE y (ip text); INSERT INTO y VALUES ('10.2.0.4');"
         "GRANT SELECT ON ALL TABLES IN SCHEMA public TO importer"_s},
    });
    ASSERT_TRUE(created);
    openDatabasePanel(u"PostgreSQL"_s, cluster->tcpServerName(), password, database);
    wizard->next();
    ASSERT_EQ(panel(), Panel::TablePanel) << messageTexts().join(u'\n').toStdString();
    EXPECT_EQ(ConnectionString::parse(wizard->chosenMethod()->ConnectionString())
                  .text(u"Initial Catalog"_s),
              database);
    QStringList listed = wizard->state().databaseTables;
    listed.sort();
    EXPECT_EQ(listed, (QStringList{u"Bob's nodes"_s, u"a]b"_s, u"x\"; drop table y; --"_s, u"y"_s}));
    const std::pair<QString, QString> cases[] = {
        {u"Bob's nodes"_s, u"10.2.0.1"_s},
        {u" a]b "_s, u"10.2.0.2"_s},
        {u"x\"; drop table y; --"_s, u"10.2.0.3"_s},
    };
    for (const auto &[table, ip] : cases) {
        wizard->selectTable(table);
        EXPECT_TRUE(view.messages().isEmpty()) << messageTexts().join(u'\n').toStdString();
        EXPECT_EQ(rowTexts(1), QStringList{ip}) << table.toStdString();
        view.clearMessages();
    }

    // Every table is still there, with its row.
    QString output;
    ASSERT_TRUE(cluster->psql(database,
                              u"SELECT (SELECT count(*) FROM \"Bob's nodes\") || ',' || "
                              "(SELECT count(*) FROM \"a]b\") || ',' || "
                              "(SELECT count(*) FROM \"x\"\"; drop table y; --\") || ',' || "
                              "(SELECT count(*) FROM y)"_s,
                              &output));
    EXPECT_EQ(output.trimmed(), u"1,1,1,1"_s);
}

TEST_F(DatabasePath, discoversNetworkThenRegisteredServersOnceEach)
{
    TempFolder config;
    config.write(u"MGImport8/RegisteredServers.xml"_s,
                 R"(<RegisteredServers><ServerGroup Name="G">
                      <Server Name="HOST\SALES"/><Server Name="backup"/>
                    </ServerGroup></RegisteredServers>)");
    ScopedEnv xdg("XDG_CONFIG_HOME", config.path().toLocal8Bit());
    SsrpResponder responder({SsrpResponder::reply(
        "ServerName;host;InstanceName;MSSQLSERVER;IsClustered;No;Version;15.0.2000.5;tcp;1433;;"
        "ServerName;host;InstanceName;Sales;IsClustered;No;Version;15.0.2000.5;tcp;50000;;")});
    ScopedEnv targets("MGIMPORT8_SSRP_TARGETS", responder.target());
    ScopedEnv window("MGIMPORT8_SSRP_WINDOW_MS", "300");

    chooseMethod(u"SQL"_s);
    wizard->next();
    ASSERT_EQ(panel(), Panel::DatabasePanel);
    QStringList statuses;
    view.setStateObserver([&](const WizardState &state) {
        if (statuses.value(statuses.size() - 1) != state.statusMessage)
            statuses.append(state.statusMessage);
    });

    wizard->openServerList();
    EXPECT_TRUE(view.messages().isEmpty()) << messageTexts().join(u'\n').toStdString();
    EXPECT_EQ(wizard->state().servers, (QStringList{u"host"_s, u"host\\Sales"_s, u"backup"_s}));
    EXPECT_TRUE(statuses.contains(u"Discovering SQL Servers on network ..."_s));
    EXPECT_TRUE(wizard->state().statusMessage.isEmpty());

    // A target the discovery socket cannot send to: discovery cannot start, so it never says it
    // is discovering and leaves the list the user had.
    ScopedEnv unusable("MGIMPORT8_SSRP_TARGETS", "::1:1434");
    statuses.clear();
    wizard->openServerList();
    EXPECT_EQ(statuses,
              QStringList{
                  u"Unable to load create SQL DMO Objects, please contact Marrowgate Support"_s});
    EXPECT_EQ(wizard->state().servers, (QStringList{u"host"_s, u"host\\Sales"_s, u"backup"_s}));
}

TEST_F(DatabasePath, buildsEachServersReadStatement)
{
    const ImportType &sqlServer = *wizard->catalogue().Item(u"SQL"_s);
    const ImportType &postgres = *wizard->catalogue().Item(u"PostgreSQL"_s);
    const std::tuple<const ImportType *, QString, std::optional<QString>> cases[] = {
        {&sqlServer, u" My Nodes "_s, u"Select TOP 5000 * From [My Nodes]"_s},
        {&sqlServer, u"select ip from nodes"_s, u"select ip from nodes"_s},
        // Only "SELECT" and a blank make a query; anything else is a name.
        {&postgres, u"SELECT\tip"_s, u"Select * From \"SELECT\tip\" LIMIT 5000"_s},
        {&sqlServer, u"SELECTED"_s, u"Select TOP 5000 * From [SELECTED]"_s},
        // Names are quoted as each server reads them back, whatever they hold (PostgreSQL's are
        // read back from real tables above); only a NUL, which no quoting carries, has none.
        {&sqlServer, u"[Bob's]] ; --"_s, u"Select TOP 5000 * From [[Bob's]]]] ; --]"_s},
        {&sqlServer, u"a\0b"_s, std::nullopt},
        {&postgres, u"a\0b"_s, std::nullopt},
    };
    for (const auto &[method, table, statement] : cases)
        EXPECT_EQ(ServerSourceReader::tableStatement(*method, table), statement)
            << table.toStdString();
}

// A cluster of its own, stopped between listing the tables and reading one.
TEST_F(DatabasePath, reportsAServerThatWentAwayBeforeTheRead)
{
    QString why;
    std::unique_ptr<PgCluster> cluster = PgCluster::create(&why);
    if (!cluster)
        GTEST_SKIP() << "PostgreSQL is not available: " << why.toStdString();
    ASSERT_TRUE(cluster->psql(u"postgres"_s, u"CREATE TABLE t (ip text); INSERT INTO t VALUES "
                                             "('10.0.0.1')"_s));
    ServerSourceReader reader(view);
    ImportType &method = *wizard->catalogue().Item(u"PostgreSQL"_s);
    const ServerLogin login{cluster->socketServerName(), true, {}, {}};
    const std::optional<QString> connection = reader.serverConnectionString(method, login,
                                                                            u"postgres"_s);
    ASSERT_TRUE(connection);
    method.setConnectionString(*connection);
    method.setFilename(u"postgres"_s);
    QStringList tables;
    ASSERT_TRUE(reader.listTables(method, tables));
    EXPECT_EQ(tables, QStringList{u"t"_s});

    ASSERT_TRUE(cluster->stop());
    ImportGrid grid;
    EXPECT_FALSE(reader.readTable(method, u"t"_s, grid));
    ASSERT_EQ(view.messages().size(), 1);
    EXPECT_TRUE(view.messages().first().text.startsWith(u"Cannot open 'postgres'\r\n"_s))
        << view.messages().first().text.toStdString();
    EXPECT_EQ(grid.rowCount(), 0);
}

// The same walk on a real SQL Server through FreeTDS, when MGIMPORT8_TEST_MSSQL holds a FreeTDS
// connection string (SERVER, PORT, UID, PWD); skipped otherwise.
TEST_F(DatabasePath, walksARealSqlServer)
{
    const QString target = qEnvironmentVariable("MGIMPORT8_TEST_MSSQL");
    if (target.isEmpty())
        GTEST_SKIP() << "MGIMPORT8_TEST_MSSQL names no SQL Server (a FreeTDS connection string)";
    const ConnectionString entries = ConnectionString::parse(target);
    QString server = entries.text(u"SERVER"_s);
    if (!entries.text(u"PORT"_s).isEmpty())
        server += u',' + entries.text(u"PORT"_s);
    chooseMethod(u"SQL"_s);
    wizard->next();
    ASSERT_EQ(panel(), Panel::DatabasePanel);
    wizard->setServerName(server);
    wizard->setIntegratedSecurity(entries.text(u"UID"_s).isEmpty());
    wizard->setLoginName(entries.text(u"UID"_s));
    wizard->setLoginPassword(entries.text(u"PWD"_s));
    wizard->openDatabaseList();
    ASSERT_TRUE(view.messages().isEmpty()) << messageTexts().join(u'\n').toStdString();
    wizard->setDatabaseName(u"master"_s);
    wizard->next();
    ASSERT_EQ(panel(), Panel::TablePanel) << messageTexts().join(u'\n').toStdString();
    wizard->selectTable(u"SELECT name FROM sys.databases ORDER BY database_id"_s);
    ASSERT_GE(grid().rowCount(), 2) << messageTexts().join(u'\n').toStdString();
    EXPECT_EQ(grid().text(1, 0), u"master"_s);
    // The "]" is doubled inside the brackets, so the server looks for the whole name.
    wizard->selectTable(u"spt]values"_s);
    ASSERT_EQ(view.messages().size(), 1);
    EXPECT_TRUE(view.messages().first().text.contains(u"Invalid object name 'spt]values'"_s));
}

} // namespace

} // namespace MGImport8::Test
