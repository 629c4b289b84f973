// SQLAdmin on SQL Server, through the statements it sends and the catalogue rows it is answered:
// - Connect logs in to master and decides by the sysadmin and identity answers, exact messages;
// - a missing driver stack says "not installed"; a failed login leaves its description;
// - database order and case, the version's first line, the data path cut at its last backslash;
//   RestartServer never stops a server nothing here could start again;
// - catalogue rows become columns, keys, grouped indexes and dated routines, names sent as values;
// - the data dictionary takes types, lengths and schema-qualified names as the server reports;
// - CreateUserID creates or updates the login, re-creates the user and grants the roles there
//   are, in order, with ] and ' doubled; a refusal part-way stops the rest, password unshown;
// - DoesAccountExist compares exactly and repairs; ChangeUserPassword keeps LastError for an
//   unknown login; with MGIMPORT8_TEST_MSSQL, the account is built on a real server.
#include <MGImport8/sqladmin.h>

#include "admintesting.h"
#include "common/connectionstring.h"
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
using MGImport8::SqlAdmin::SQLAdminAccess;
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

const QString loginsQuery = u"FROM sys.server_principals WHERE type IN"_s;
const QString usersQuery = u"sp.name FROM sys.database_principals"_s;
const QString rolesQuery = u"sys.database_role_members"_s;
const QString password = u"pa'ss;{x}\"é]"_s;
const QString passwordLiteral = u"N'pa''ss;{x}\"é]'"_s;

// A login, its database user and the database's roles as the catalogue has them.
struct Account : Fixture
{
    explicit Account(Rows logins, Rows users = {})
    {
        server.answers = QList<ScriptedServer::Answer>{{loginsQuery, std::move(logins), {}},
                                                       {usersQuery, std::move(users), {}},
                                                       {rolesQuery,
                                                        {{u"public"_s, QVariant()},
                                                         {u"db_owner"_s, u"dbo"_s},
                                                         {u"db_datareader"_s, QVariant()},
                                                         {u"db_datawriter"_s, QVariant()},
                                                         {u"db_ddladmin"_s, QVariant()},
                                                         {u"db_backupoperator"_s, QVariant()}},
                                                        {}}}
                         + server.answers;
        EXPECT_TRUE(admin.Connect(false));
        server.sent.clear();
    }
    void refuse(const QString &contains, const QString &error)
    {
        server.answers.prepend({contains, {}, error});
    }
    /// What changed the server: every statement but the catalogue reads.
    QStringList changes() const
    {
        QStringList result;
        for (const QString &text : server.texts()) {
            if (!text.startsWith(u"SELECT"_s))
                result.append(text);
        }
        return result;
    }
};

QStringList roleGrants(const QString &quoted)
{
    QStringList grants;
    for (const char *role : {"db_owner", "db_datareader", "db_datawriter", "db_ddladmin"})
        grants.append(u"ALTER ROLE ["_s + QLatin1StringView(role) + u"] ADD MEMBER "_s + quoted);
    return grants;
}

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
        EXPECT_EQ((QStringList{login.server, login.database, QString::number(login.loginTimeout),
                               QString::number(login.integrated), login.password}),
                  (QStringList{u"SQLBOX\\NODES"_s, u"master"_s, u"20"_s,
                               QString::number(c.integrated), u"Secret;1'"_s}));
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

TEST(SQLAdminSqlServer, CatalogueRowsBecomeTheManagementObjectsWithTheServersDates)
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

    // Routines keep the dates the server reports, roles their members.
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

TEST(LoginsSqlServer, CreateUserIDBuildsTheAccountWithQuotedNames)
{
    struct Case
    {
        const char *name;
        QString login;
        QString quoted;
        bool loginExists;
        QString userName; // the user the database has already, if any
    };
    const Case cases[] = {
        {"new_login_with_quote", u"O'Brien"_s, u"[O'Brien]"_s, false, {}},
        {"existing_login_and_user", u"dom\\user"_s, u"[dom\\user]"_s, true, u"dom\\user"_s},
        {"bracket_in_name", u"a]b; DROP LOGIN sa--"_s, u"[a]]b; DROP LOGIN sa--]"_s, false, {}},
        // A user that only differs in case is another user: it stays.
        {"user_differing_in_case", u"Monitor"_s, u"[Monitor]"_s, true, u"monitor"_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Account account(c.loginExists ? Rows{{c.login, u"SQL_LOGIN"_s}} : Rows{},
                        c.userName.isEmpty() ? Rows{} : Rows{{c.userName, c.userName}});
        ASSERT_TRUE(account.admin.CreateUserID(u"NODES"_s, c.login, password))
            << account.admin.LastError().toStdString();
        QStringList expected;
        if (!c.loginExists)
            expected << u"CREATE LOGIN "_s + c.quoted + u" WITH PASSWORD = "_s + passwordLiteral
                            + u", DEFAULT_DATABASE = [NODES]"_s;
        expected << u"ALTER LOGIN "_s + c.quoted + u" WITH PASSWORD = "_s + passwordLiteral
                 << u"ALTER LOGIN "_s + c.quoted + u" WITH DEFAULT_DATABASE = [NODES]"_s;
        if (c.userName == c.login)
            expected << u"DROP USER "_s + c.quoted;
        expected << u"CREATE USER "_s + c.quoted + u" FOR LOGIN "_s + c.quoted
                 << roleGrants(c.quoted);
        EXPECT_EQ(account.changes(), expected);
        // Statements about the user run in the database, those about the login on master.
        for (const auto &sent : std::as_const(account.server.sent)) {
            if (sent.text.startsWith(u"SELECT"_s))
                continue;
            const bool aboutLogin = sent.text.startsWith(u"CREATE LOGIN"_s)
                                    || sent.text.startsWith(u"ALTER LOGIN"_s);
            EXPECT_EQ(sent.database, aboutLogin ? u"master"_s : u"NODES"_s);
        }
        EXPECT_TRUE(account.admin.BuildConnectionString(u"S"_s, u"D"_s)
                        .startsWith(u"Provider=SQLOLEDB.1;User ID='"_s + c.login + u"';Password='"_s
                                    + password + u"';"_s));
    }
}

TEST(LoginsSqlServer, CreateUserIDStopsAtARefusalAndKeepsWhatWasDone)
{
    struct Case
    {
        const char *name;
        QString refused;
        qsizetype changesSent;
        bool remembered;
    };
    const Case cases[] = {
        {"no_right_to_create_logins", u"CREATE LOGIN"_s, 1, false},
        {"no_right_in_the_database", u"CREATE USER"_s, 4, true},
        {"role_refused", u"ALTER ROLE [db_datareader]"_s, 6, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Account account({});
        // The server's message may quote the statement, password and all.
        const QString refusal = u"User does not have permission to perform this action. ("_s
                                + passwordLiteral + u")"_s;
        account.refuse(c.refused, refusal);
        EXPECT_FALSE(account.admin.CreateUserID(u"NODES"_s, u"monitor"_s, password));
        EXPECT_TRUE(account.admin.LastError().startsWith(
            u"User does not have permission to perform this action."_s));
        EXPECT_FALSE(account.admin.LastError().contains(u"pa''ss"_s));
        EXPECT_FALSE(account.admin.LastError().contains(password));
        EXPECT_EQ(account.changes().size(), c.changesSent);
        EXPECT_TRUE(account.changes().last().contains(c.refused));
        EXPECT_EQ(SQLAdminAccess::of(account.admin).databaseUserId,
                  c.remembered ? u"monitor"_s : QString());
    }
}

TEST(LoginsSqlServer, DoesAccountExistComparesExactlyAndRepairs)
{
    struct Case
    {
        const char *name;
        QString database;
        QString login;
        Rows logins;
        Rows users;
        bool exists;
        QStringList changes;
    };
    const Rows monitorLogin = {{u"monitor"_s, u"SQL_LOGIN"_s, false, u"master"_s}};
    const Rows monitorUser = {{u"monitor"_s, u"monitor"_s}};
    const Case cases[] = {
        {"no_login", u"NODES"_s, u"monitor"_s, {}, monitorUser, false, {}},
        {"login_differs_in_case", u"NODES"_s, u"Monitor"_s, monitorLogin, monitorUser, false, {}},
        {"database_differs_in_case", u"nodes"_s, u"monitor"_s, monitorLogin, monitorUser, false, {}},
        {"no_user", u"NODES"_s, u"monitor"_s, monitorLogin, {{u"dbo"_s, u"sa"_s}}, false, {}},
        {"wrong_default_database", u"NODES"_s, u"monitor"_s, monitorLogin, monitorUser, true,
         QStringList{u"ALTER LOGIN [monitor] WITH DEFAULT_DATABASE = [NODES]"_s}
             + roleGrants(u"[monitor]"_s)},
        {"right_default_database",
         u"NODES"_s,
         u"monitor"_s,
         {{u"monitor"_s, u"SQL_LOGIN"_s, false, u"NODES"_s}},
         monitorUser,
         true,
         roleGrants(u"[monitor]"_s)},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Account account(c.logins, c.users);
        SQLAdminAccess::of(account.admin).lastError = u"earlier"_s;
        EXPECT_EQ(account.admin.DoesAccountExist(c.database, c.login), c.exists);
        EXPECT_EQ(account.changes(), c.changes);
        EXPECT_EQ(account.admin.LastError(), u"earlier"_s);
        EXPECT_EQ(SQLAdminAccess::of(account.admin).databaseUserId, c.exists ? c.login : QString());
    }
    // Memberships already held are not sent again: a second run changes nothing.
    Account member({{u"monitor"_s, u"SQL_LOGIN"_s, false, u"NODES"_s}}, monitorUser);
    member.server.answers.prepend(
        {rolesQuery, {{u"db_owner"_s, u"monitor"_s}, {u"db_datareader"_s, u"monitor"_s}}, {}});
    EXPECT_TRUE(member.admin.DoesAccountExist(u"NODES"_s, u"monitor"_s));
    EXPECT_TRUE(member.changes().isEmpty()) << member.changes().join(u'\n').toStdString();

    // A management error reaches the caller as false and its text.
    Account failing(monitorLogin, monitorUser);
    failing.refuse(u"ALTER ROLE"_s, u"Cannot alter the role 'db_owner'."_s);
    EXPECT_FALSE(failing.admin.DoesAccountExist(u"NODES"_s, u"monitor"_s));
    EXPECT_EQ(failing.admin.LastError(), u"Cannot alter the role 'db_owner'."_s);
}

TEST(LoginsSqlServer, ChangeUserPassword)
{
    Account account({{u"O'Brien"_s, u"SQL_LOGIN"_s}});
    SQLAdminAccess::of(account.admin).lastError = u"earlier"_s;
    EXPECT_FALSE(account.admin.ChangeUserPassword(u"o'brien"_s, password));
    EXPECT_EQ(account.admin.LastError(), u"earlier"_s);
    EXPECT_TRUE(account.changes().isEmpty());

    EXPECT_TRUE(account.admin.ChangeUserPassword(u"O'Brien"_s, password));
    EXPECT_EQ(account.changes(),
              QStringList{u"ALTER LOGIN [O'Brien] WITH PASSWORD = "_s + passwordLiteral});
    EXPECT_EQ(account.admin.LastError(), QString());
    // Changing a password does not make it the remembered account's.
    EXPECT_EQ(SQLAdminAccess::of(account.admin).databaseUserPassword, QString());

    account.refuse(u"ALTER LOGIN"_s, u"Password validation failed: "_s + password);
    EXPECT_FALSE(account.admin.ChangeUserPassword(u"O'Brien"_s, password));
    EXPECT_EQ(account.admin.LastError(), u"Password validation failed: ****"_s);
}

// With MGIMPORT8_TEST_MSSQL holding a FreeTDS connection string of a system administrator
// ("SERVER=host;PORT=1433;UID=sa;PWD=..."), the same account is built on that server for real.
TEST(LoginsSqlServer, RealServer)
{
    MGIMPORT8_REQUIRE_MSSQL(admin, server);
    ASSERT_TRUE(admin->Connect(true)) << admin->LastError().toStdString();
    const QString db = u"mgimport8_accounts"_s;
    const QString login = u"O'Brien]mgimport8"_s;
    const QString strong = u"Aa1'; {x} \"é\" "_s + password;
    if (!admin->DatabaseExist(db)) {
        ASSERT_TRUE(admin->SQLServer()->executeImmediate(u"CREATE DATABASE "_s + db));
    }
    ASSERT_TRUE(admin->CreateUserID(db, login, strong)) << admin->LastError().toStdString();
    EXPECT_TRUE(admin->DoesAccountExist(db, login)) << admin->LastError().toStdString();
    SQLAdmin tester;
    tester.setServerName(server);
    EXPECT_FALSE(tester.TestUserIDAndPassword(db, login, strong + u"x"_s));
    EXPECT_FALSE(tester.LastError().contains(strong));
    EXPECT_TRUE(tester.TestUserIDAndPassword(db, login, strong))
        << tester.LastError().toStdString();
    EXPECT_TRUE(admin->ChangeUserPassword(login, strong + u"2"_s));
    EXPECT_TRUE(tester.TestUserIDAndPassword(db, login, strong + u"2"_s));
    auto *database = admin->GetDatabase(db);
    ASSERT_NE(database, nullptr);
    EXPECT_TRUE(database->executeImmediate(u"DROP USER [O'Brien]]mgimport8]"_s));
    EXPECT_TRUE(admin->SQLServer()->executeImmediate(u"DROP LOGIN [O'Brien]]mgimport8]"_s));
}
