// SQLAdmin on SQL Server, through the statements it sends and the catalogue rows it is answered
// (the PostgreSQL suite runs the same routines' decisions on a real server):
// - Connect logs in to master and decides by the sysadmin and identity answers, exact messages;
//   a missing driver stack says "not installed";
// - the version's first line, the data path cut at its last backslash; RestartServer never stops
//   a server nothing here could start again; a CREATE goes without a transaction;
// - the account statements of CreateUserID and DoesAccountExist, ] and ' doubled; a refusal
//   part-way stops the rest;
// - with MGIMPORT8_TEST_MSSQL, SQLAdmin connects to a real server and builds the account there.
#include <MGImport8/sqladmin.h>

#include "admintesting.h"
#include "scriptedsession.h"
#include "sqladmin/manageddatabase.h"
#include "sqladmin/managementserver.h"

#include <QSqlQuery>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::SqlAdmin::Rows;
using MGImport8::SqlAdmin::SQLAdminAccess;
using MGImport8::Test::ScriptedServer;

namespace {

const QString rolesQuery = u"sys.database_role_members"_s;
const QString password = u"pa'ss;{x}\"é]"_s;
const QString passwordLiteral = u"N'pa''ss;{x}\"é]'"_s;

// A server with a login, its database user and the database's roles as the catalogue has them.
struct Fixture
{
    ScriptedServer server;
    SQLAdmin admin;

    explicit Fixture(Rows logins = {}, Rows users = {})
    {
        server.serve(admin, u"SQLBOX\\NODES"_s);
        admin.setUseIntegratedNTSecurity(false);
        admin.setLoginName(u"sa"_s);
        admin.setLoginPassword(u"Secret;1'"_s);
        server.answers = {{u"FROM sys.server_principals WHERE type IN"_s, logins, {}},
                          {u"sp.name FROM sys.database_principals"_s, users, {}},
                          {rolesQuery,
                           {{u"public"_s, QVariant()},
                            {u"db_owner"_s, u"dbo"_s},
                            {u"db_datareader"_s, QVariant()},
                            {u"db_datawriter"_s, QVariant()},
                            {u"db_ddladmin"_s, QVariant()}},
                           {}},
                          {u"SERVERPROPERTY('MachineName')"_s, {{u"SQLBOX"_s}}, {}},
                          {u"SUSER_SNAME()"_s, {{u"sa"_s}}, {}},
                          {u"IS_SRVROLEMEMBER"_s, {{1}}, {}},
                          {u"sys.databases"_s, {{u"master"_s}, {u"NODES"_s}}, {}}};
    }
    void answer(const QString &contains, Rows rows, const QString &error = {})
    {
        server.answers.prepend({contains, std::move(rows), error});
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
        QString identity;
        QString error;
    };
    const Case cases[] = {
        {"identity", false, false, u"sa"_s, {}},
        // The message names the login name even when the operating-system identity logged in.
        {"not_sysadmin_integrated", true, true, u"DOMAIN\\me"_s,
         u"sa does not have system administrator rights on this SQL Server (SQLBOX)"_s},
        {"no_identity", false, false, QString(), u"Could not login to (SQLBOX) using 'sa'"_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        f.admin.setUseIntegratedNTSecurity(c.integrated);
        f.answer(u"IS_SRVROLEMEMBER('sysadmin')"_s, {{0}});
        f.answer(u"SUSER_SNAME()"_s, {{c.identity}});
        EXPECT_EQ(f.admin.Connect(c.requireSysAdmin), c.error.isEmpty());
        EXPECT_EQ(f.admin.LastError(), c.error);
        ASSERT_EQ(f.server.logins.size(), 1);
        const auto &login = f.server.logins.first();
        EXPECT_EQ((QStringList{login.server, login.database, QString::number(login.loginTimeout)}),
                  (QStringList{u"SQLBOX\\NODES"_s, u"master"_s, u"20"_s}));
    }

    Fixture f;
    SQLAdminAccess::of(f.admin).probeLibrary = [](auto) {
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

TEST(SQLAdminSqlServer, ServerFactsRestartAndRoutines)
{
    Fixture f;
    f.answer(u"@@VERSION"_s, {{u"Microsoft SQL Server 2019 (RTM) - 15.0.2000.5 (X64) \n\tSep 24 "
                               u"2019 13:48:23 \n\tCopyright (C) 2019 Microsoft Corporation\n"_s}});
    f.answer(u"sys.master_files"_s,
             {{u" C:\\Program Files\\Microsoft SQL Server\\MSSQL\\DATA\\master.mdf "_s}});
    ASSERT_TRUE(f.admin.Connect(true)) << f.admin.LastError().toStdString();
    EXPECT_EQ(f.admin.SQlServerVersion(), u"Microsoft SQL Server 2019 (RTM) - 15.0.2000.5 (X64) "_s);
    EXPECT_EQ(f.admin.DefaultDataPath(),
              u"C:\\Program Files\\Microsoft SQL Server\\MSSQL\\DATA\\"_s);

    f.server.sent.clear();
    EXPECT_FALSE(f.admin.RestartServer());
    EXPECT_TRUE(f.server.sent.isEmpty());
    EXPECT_TRUE(f.admin.Connected());
    EXPECT_TRUE(f.admin.LastError().contains(u"has not been stopped"_s));

    // SQL Server keeps creation dates itself: a CREATE goes alone, without a transaction.
    MGImport8::SqlAdmin::ManagedDatabase *db = f.admin.GetDatabase(u"nodes"_s);
    ASSERT_NE(db, nullptr);
    ASSERT_TRUE(
        db->createRoutine(u'V', {u"dbo"_s, u"vwX"_s}, u"CREATE VIEW vwX AS SELECT 1 AS a"_s));
    EXPECT_EQ(f.changes(), QStringList{u"CREATE VIEW vwX AS SELECT 1 AS a"_s});
}

TEST(LoginsSqlServer, AccountStatements)
{
    const QString q = u"[a]]b'c]"_s;
    const QString alterPassword = u"ALTER LOGIN "_s + q + u" WITH PASSWORD = "_s + passwordLiteral;
    const QString alterDatabase = u"ALTER LOGIN "_s + q + u" WITH DEFAULT_DATABASE = [NODES]"_s;
    const QString createUser = u"CREATE USER "_s + q + u" FOR LOGIN "_s + q;
    const Rows login = {{u"a]b'c"_s, u"SQL_LOGIN"_s, false, u"master"_s}};
    const Rows user = {{u"a]b'c"_s, u"a]b'c"_s}};
    struct Case
    {
        const char *name;
        bool create; // CreateUserID, else DoesAccountExist
        QStringList changes;
        Rows logins = {};
        Rows users = {};
        QString login = u"a]b'c"_s;
    };
    const Case cases[] = {
        {"create_new_login", true,
         QStringList{u"CREATE LOGIN "_s + q + u" WITH PASSWORD = "_s + passwordLiteral
                         + u", DEFAULT_DATABASE = [NODES]"_s,
                     alterPassword, alterDatabase, createUser}
             + roleGrants(q)},
        {"create_over_login_and_user", true,
         QStringList{alterPassword, alterDatabase, u"DROP USER "_s + q, createUser} + roleGrants(q),
         login, user},
        {"exists_and_repairs", false, QStringList{alterDatabase} + roleGrants(q), login, user},
        {"exists_login_differs_in_case", false, {}, login, user, u"A]b'c"_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f(c.logins, c.users);
        ASSERT_TRUE(f.admin.Connect(false));
        f.server.sent.clear();
        EXPECT_EQ(c.create ? f.admin.CreateUserID(u"NODES"_s, c.login, password)
                           : f.admin.DoesAccountExist(u"NODES"_s, c.login),
                  !c.changes.isEmpty())
            << f.admin.LastError().toStdString();
        EXPECT_EQ(f.changes(), c.changes);
    }

    // A refusal part-way stops the rest, and the statement the server quotes keeps no password.
    Fixture refused;
    ASSERT_TRUE(refused.admin.Connect(false));
    refused.server.sent.clear();
    refused.answer(u"CREATE USER"_s, {}, u"No permission. ("_s + passwordLiteral + u")"_s);
    EXPECT_FALSE(refused.admin.CreateUserID(u"NODES"_s, u"monitor"_s, password));
    EXPECT_FALSE(refused.admin.LastError().contains(u"pa''ss"_s));
    EXPECT_EQ(refused.changes().size(), 4);
    EXPECT_TRUE(refused.changes().last().startsWith(u"CREATE USER"_s));
}

// With MGIMPORT8_TEST_MSSQL holding a FreeTDS connection string of a system administrator
// ("SERVER=host;PORT=1433;UID=sa;PWD=..."), the same account is built on that server for real.
TEST(LoginsSqlServer, RealServer)
{
    MGIMPORT8_REQUIRE_MSSQL(admin, server);
    ASSERT_TRUE(admin->Connect(true)) << admin->LastError().toStdString();
    EXPECT_TRUE(admin->SQlServerVersion().startsWith(u"Microsoft SQL Server"_s));
    EXPECT_TRUE(admin->DatabaseExist(u"MASTER"_s));
    {
        MGImport8::DatabaseHandle handle = admin->DatabaseConnection(server, u"master"_s);
        QSqlQuery query(handle.database());
        EXPECT_TRUE(query.exec(u"SELECT DB_NAME()"_s) && query.next());
        EXPECT_EQ(query.value(0).toString(), u"master"_s) << admin->LastError().toStdString();
    }
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
    EXPECT_TRUE(admin->ChangeUserPassword(login, strong + u"2"_s));
    EXPECT_TRUE(tester.TestUserIDAndPassword(db, login, strong + u"2"_s))
        << tester.LastError().toStdString();
    EXPECT_TRUE(admin->GetDatabase(db)->executeImmediate(u"DROP USER [O'Brien]]mgimport8]"_s));
    EXPECT_TRUE(admin->SQLServer()->executeImmediate(u"DROP LOGIN [O'Brien]]mgimport8]"_s));
}
