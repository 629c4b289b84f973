// SQLAdmin and the management layer on SQL Server, through the statements they send and the
// catalogue rows SQL Server answers with:
// - Connect logs in to master with the login timeout and decides by the sysadmin and identity
//   answers, with the exact messages (the NetName inside them, the stored login even when empty);
// - a missing driver stack gives the "not installed" message; a failed login its description;
// - database names keep the server's order, DatabaseExist compares without case;
// - the version's first line, the data path cut after the last backslash;
// - catalogue rows become columns, keys and grouped indexes, with names travelling as values so
//   that quotes and brackets in them cannot change a statement;
// - the data dictionary takes types and lengths as the server reports them (nvarchar in
//   characters, max as -1), dbo tables by their bare names and others with their schema;
// - RestartServer never stops a server that nothing here could start again: it sends nothing,
//   stays connected and says why.
#include <MGImport8/sqladmin.h>

#include "admintesting.h"
#include "scriptedsession.h"
#include "sqladmin/admin/sqladmin_p.h"
#include "sqladmin/manageddatabase.h"
#include "sqladmin/managementserver.h"
#include "testsupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::SqlAdmin::ObjectName;
using MGImport8::SqlAdmin::Rows;
using MGImport8::Test::describe;
using MGImport8::Test::ScriptedServer;

namespace {

struct Fixture
{
    ScriptedServer server;
    SQLAdmin admin;

    Fixture()
    {
        server.serve(admin, u"SQLBOX\\NODES"_s);
        admin.setUseIntegratedNTSecurity(false);
        admin.setLoginName(u"sa"_s);
        admin.setLoginPassword(u"Secret;1'"_s);
        server.answers = {{u"SERVERPROPERTY('MachineName')"_s, {{u"SQLBOX"_s}}, {}},
                          {u"SUSER_SNAME()"_s, {{u"sa"_s}}, {}},
                          {u"IS_SRVROLEMEMBER"_s, {{1}}, {}},
                          {u"sys.databases"_s,
                           {{u"master"_s}, {u"tempdb"_s}, {u"model"_s}, {u"NODES"_s}},
                           {}}};
    }
    void answer(const QString &contains, Rows rows)
    {
        server.answers.prepend({contains, std::move(rows), {}});
    }
};

} // namespace

TEST(SQLAdminSqlServer, ConnectDecidesByTheServersAnswers)
{
    struct Case
    {
        const char *name;
        bool requireSysAdmin;
        bool integrated;
        QVariant sysAdmin;
        QString identity;
        bool connected;
        QString error;
    };
    const Case cases[] = {
        {"identity", false, false, 0, u"sa"_s, true, {}},
        {"sysadmin", true, false, 1, u"sa"_s, true, {}},
        {"not_sysadmin", true, false, 0, u"sa"_s, false,
         u"sa does not have system administrator rights on this SQL Server (SQLBOX)"_s},
        {"not_sysadmin_integrated", true, true, 0, u"DOMAIN\\me"_s, false,
         u"sa does not have system administrator rights on this SQL Server (SQLBOX)"_s},
        {"no_identity", false, false, 0, QString(), false,
         u"Could not login to (SQLBOX) using 'sa'"_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        f.admin.setUseIntegratedNTSecurity(c.integrated);
        f.answer(u"IS_SRVROLEMEMBER('sysadmin')"_s, {{c.sysAdmin}});
        f.answer(u"SUSER_SNAME()"_s, {{c.identity}});
        EXPECT_EQ(f.admin.Connect(c.requireSysAdmin), c.connected);
        EXPECT_EQ(f.admin.Connected(), c.connected);
        EXPECT_EQ(f.admin.LastError(), c.error);
        ASSERT_EQ(f.server.logins.size(), 1);
        const auto &login = f.server.logins.first();
        EXPECT_EQ(login.server, u"SQLBOX\\NODES"_s);
        EXPECT_EQ(login.database, u"master"_s);
        EXPECT_EQ(login.loginTimeout, 20);
        EXPECT_EQ(login.integrated, c.integrated);
        EXPECT_EQ(login.password, u"Secret;1'"_s);
    }
}

TEST(SQLAdminSqlServer, ConnectFailuresLeaveTheirDescription)
{
    Fixture f;
    f.server.loginError = u"[FreeTDS][SQL Server]Login failed for user 'sa'."_s;
    EXPECT_FALSE(f.admin.Connect(false));
    EXPECT_EQ(f.admin.LastError(), f.server.loginError);
    EXPECT_FALSE(f.admin.Connected());

    f.server.loginError.clear();
    f.server.answers.prepend({u"SUSER_SNAME()"_s, {}, u"Communication link failure"_s});
    EXPECT_FALSE(f.admin.Connect(false));
    EXPECT_EQ(f.admin.LastError(), u"Communication link failure"_s);
    EXPECT_FALSE(f.admin.Connected());

    MGImport8::SqlAdmin::SQLAdminAccess::of(f.admin).probeLibrary = [](auto) {
        return MGImport8::ManagementLibraryProbe{};
    };
    f.admin.setServerType(u"PostgreSQL"_s); // a new kind needs its management object anew
    EXPECT_FALSE(f.admin.Connect(false));
    EXPECT_EQ(f.admin.LastError(),
              u"PostgreSQL Management objects are not installed on this machine.\r\n\r\nYou must "
              u"first install the PostgreSQL driver of Qt SQL (libqt6sql6-psql) on this machine."_s);
    f.admin.setServerType(u"SQLServer"_s);
    EXPECT_FALSE(f.admin.Connect(false));
    EXPECT_EQ(f.admin.LastError(),
              u"SQL Server Management objects are not installed on this machine.\r\n\r\nYou must "
              u"first install Microsoft SQL Server on this machine."_s);
}

TEST(SQLAdminSqlServer, ServerFactsAndDatabases)
{
    Fixture f;
    f.answer(u"@@VERSION"_s, {{u"Microsoft SQL Server 2019 (RTM) - 15.0.2000.5 (X64) \n\tSep 24 "
                               u"2019 13:48:23 \n\tCopyright (C) 2019 Microsoft Corporation\n"_s}});
    f.answer(u"sys.master_files"_s,
             {{u" C:\\Program Files\\Microsoft SQL Server\\MSSQL\\DATA\\master.mdf "_s}});
    f.answer(u"IsIntegratedSecurityOnly"_s, {{2}});
    EXPECT_TRUE(f.admin.Databases().isEmpty());
    EXPECT_FALSE(f.admin.DatabaseExist(u"master"_s));
    ASSERT_TRUE(f.admin.Connect(true)) << f.admin.LastError().toStdString();
    EXPECT_EQ(f.admin.Databases(), (QStringList{u"master"_s, u"tempdb"_s, u"model"_s, u"NODES"_s}));
    EXPECT_TRUE(f.admin.DatabaseExist(u"nodes"_s));
    EXPECT_FALSE(f.admin.DatabaseExist(u"node"_s));
    EXPECT_EQ(f.admin.SQlServerVersion(), u"Microsoft SQL Server 2019 (RTM) - 15.0.2000.5 (X64) "_s);
    EXPECT_EQ(f.admin.ServerNetName(), u"SQLBOX"_s);
    EXPECT_EQ(f.admin.DefaultDataPath(),
              u"C:\\Program Files\\Microsoft SQL Server\\MSSQL\\DATA\\"_s);
    EXPECT_EQ(f.admin.DatabaseSecurityMode(), 2);
    // Only blanks are trimmed; the path without a backslash comes back whole, and the look-up of
    // master clears an earlier error.
    (void)f.admin.GetDatabase(u"missing"_s);
    f.answer(u"sys.master_files"_s, {{u"\t/var/opt/mssql/data/master.mdf "_s}});
    EXPECT_EQ(f.admin.DefaultDataPath(), u"\t/var/opt/mssql/data/master.mdf"_s);
    EXPECT_EQ(f.admin.LastError(), QString());

    f.server.sent.clear();
    EXPECT_FALSE(f.admin.RestartServer());
    EXPECT_TRUE(f.server.sent.isEmpty());
    EXPECT_TRUE(f.admin.Connected());
    EXPECT_TRUE(f.admin.LastError().contains(u"has not been stopped"_s));
}

TEST(SQLAdminSqlServer, CatalogueRowsBecomeTheManagementObjects)
{
    Fixture f;
    ASSERT_TRUE(f.admin.Connect(true));
    EXPECT_EQ(f.admin.GetDatabase(u"missing"_s), nullptr);
    EXPECT_EQ(f.admin.LastError(), u"Database 'missing' does not exist on the server."_s);
    MGImport8::SqlAdmin::ManagedDatabase *db = f.admin.GetDatabase(u"nodes"_s);
    ASSERT_NE(db, nullptr);
    EXPECT_EQ(f.admin.LastError(), QString());
    EXPECT_EQ(db->name(), u"NODES"_s);

    const QString odd = u"No]des'; DROP TABLE x --"_s;
    f.answer(u"FROM sys.tables"_s, {{u"dbo"_s, odd}, {u"audit"_s, u"Nodes"_s}});
    f.answer(u"FROM sys.columns"_s,
             {{u"IP"_s, u"nvarchar"_s, 15, 0, 0, u"('0.0.0.0')"_s, QVariant()},
              {u"ID"_s, u"int"_s, 4, 0, 1, QVariant(), QVariant()},
              {u"Label"_s, u"nvarchar"_s, -1, 1, 0, QVariant(), u"([IP]+'x')"_s}});
    f.answer(u"FROM sys.key_constraints"_s,
             {{u"PK_Nodes"_s, 1, u"ID"_s}, {u"PK_Nodes"_s, 1, u"IP"_s}});
    f.answer(u"FROM sys.indexes"_s, {{u"PK_Nodes"_s, 1, 1, 1, u"ID"_s},
                                     {u"PK_Nodes"_s, 1, 1, 1, u"IP"_s},
                                     {u"IX_Label"_s, 0, 0, 0, u"Label"_s}});
    auto table = db->findTable(u"no]des'; drop table x --"_s);
    ASSERT_TRUE(table) << table.error().toStdString();
    EXPECT_EQ(table.value(), (ObjectName{u"dbo"_s, odd}));
    EXPECT_EQ(db->findTable(u"audit.Nodes"_s).value(), (ObjectName{u"audit"_s, u"Nodes"_s}));
    EXPECT_FALSE(db->findTable(u"Interfaces"_s));

    f.server.sent.clear();
    EXPECT_EQ(describe(db->columns(table.value()).value()),
              (QStringList{u"IP nvarchar 15 default=('0.0.0.0')"_s, u"ID int 4 identity"_s,
                           u"Label nvarchar -1 null computed=([IP]+'x')"_s}));
    auto key = db->primaryKey(table.value()).value();
    EXPECT_EQ(QStringList(key.name) << key.columns << QString::number(key.clustered),
              (QStringList{u"PK_Nodes"_s, u"ID"_s, u"IP"_s, u"1"_s}));
    EXPECT_EQ(describe(db->indexes(table.value()).value()),
              (QStringList{u"PK_Nodes(ID,IP) unique clustered primary"_s, u"IX_Label(Label)"_s}));
    // The odd name went as a value every time; no statement holds it.
    ASSERT_EQ(f.server.sent.size(), 3);
    for (const auto &sent : std::as_const(f.server.sent)) {
        EXPECT_EQ(sent.database, u"NODES"_s);
        EXPECT_EQ(sent.values, (QVariantList{u"dbo"_s, odd}));
        EXPECT_FALSE(sent.text.contains(u"DROP"_s));
    }
}

TEST(SQLAdminSqlServer, RoutinesUsersAndRolesKeepTheServersDates)
{
    Fixture f;
    ASSERT_TRUE(f.admin.Connect(true));
    auto *db = f.admin.GetDatabase(u"NODES"_s);
    ASSERT_NE(db, nullptr);
    const QDateTime created(QDate(2004, 3, 1), QTime(10, 20, 30));
    f.answer(u"FROM sys.views"_s, {{u"dbo"_s, u"vwNodes"_s, created, u"CREATE VIEW vwNodes"_s}});
    f.answer(u"'FN', 'IF'"_s, {{u"dbo"_s, u"fnIP"_s, created.addDays(1), u"CREATE FUNCTION"_s}});
    f.answer(u"sys.database_role_members"_s, {{u"db_owner"_s, u"dbo"_s},
                                              {u"db_owner"_s, u"monitor"_s},
                                              {u"db_datareader"_s, QVariant()}});
    f.answer(u"sp.name FROM sys.database_principals"_s,
             {{u"dbo"_s, u"sa"_s}, {u"guest"_s, QVariant()}});
    auto views = db->views();
    ASSERT_EQ(views.value().size(), 1);
    EXPECT_EQ(views.value()[0].created, created);
    EXPECT_EQ(db->functions().value()[0].created, created.addDays(1));
    auto roles = db->roles().value();
    ASSERT_EQ(roles.size(), 2);
    EXPECT_EQ(roles[0].members, (QStringList{u"dbo"_s, u"monitor"_s}));
    EXPECT_TRUE(roles[1].members.isEmpty());
    auto users = db->users().value();
    ASSERT_EQ(users.size(), 2);
    EXPECT_EQ(users[1].login, QString());
    // SQL Server keeps creation dates itself: a CREATE goes alone, without a transaction.
    f.server.sent.clear();
    ASSERT_TRUE(
        db->createRoutine(u'V', {u"dbo"_s, u"vwX"_s}, u"CREATE VIEW vwX AS SELECT 1 AS a"_s));
    EXPECT_EQ(f.server.texts(), QStringList{u"CREATE VIEW vwX AS SELECT 1 AS a"_s});
}

TEST(SQLAdminSqlServer, DataDictionaryTypesAndNamesAsTheServerReportsThem)
{
    Fixture f;
    f.answer(u"FROM sys.tables"_s, {{u"audit"_s, u"Log"_s}, {u"dbo"_s, u"Nodes"_s}});
    f.answer(u"FROM sys.columns"_s,
             {{u"IPAddress"_s, u"nvarchar"_s, 50, false, false, QVariant(), QVariant()},
              {u"Notes"_s, u"nvarchar"_s, -1, true, false, QVariant(), QVariant()},
              {u"NodeID"_s, u"int"_s, 4, false, true, QVariant(), QVariant()}});
    ASSERT_TRUE(f.admin.Connect(false));
    MGImport8::Test::TempFolder folder;
    const QString file = folder.path() + u"/nodes.xml"_s;
    ASSERT_TRUE(f.admin.WriteDataDictionary(u"nodes"_s, file)) << f.admin.LastError().toStdString();
    QString log;
    ASSERT_TRUE(f.admin.UpdateDataDictionary(u"NODES"_s, u"AUDIT.LOG"_s, file, log));
    EXPECT_EQ(log.count(u"Added Field"_s), 3);
    const QByteArray text = MGImport8::Test::fileBytes(file);
    for (const char *expected :
         {"<Database Name=\"NODES\">", "<Table Name=\"audit.Log\">", "<Table Name=\"Nodes\">",
          "<Column Name=\"IPAddress\" Parse=\"\" Format=\"\" Template=\"\" Units=\"\" "
          "Length=\"50\" DataType=\"nvarchar\" Description=\"\" />",
          "<Column Name=\"Notes\" Parse=\"\" Format=\"\" Template=\"\" Units=\"\" Length=\"-1\" "
          "DataType=\"nvarchar\" Description=\"\" />",
          "DataType=\"int\" Length=\"4\" Width=\"\""}) {
        EXPECT_TRUE(text.contains(expected)) << expected << "\n" << text.constData();
    }
    EXPECT_EQ(text.count("<Field "), 3);
}
