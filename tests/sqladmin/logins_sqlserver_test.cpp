// The account operations on SQL Server, through the statements they send and the catalogue rows
// SQL Server answers with:
// - CreateUserID creates a missing login, overwrites an existing one's password, drops and
//   re-creates the user and grants only the account roles the database has, in that order;
// - names are quoted as identifiers with ] doubled and passwords as N'' literals with ' doubled,
//   so O'Brien, dom\user and a]b work and a password with quotes, braces and accents goes in whole;
// - DoesAccountExist compares names exactly, changes nothing when the account is incomplete and
//   repairs the default database and the roles when it is there;
// - ChangeUserPassword leaves LastError alone for an unknown login and passes a refusal on;
// - a refusal part-way stops the rest and never shows the password;
// - with MGIMPORT8_TEST_MSSQL, the account is built, tested and changed on a real server.
#include <MGImport8/sqladmin.h>

#include "admintesting.h"
#include "common/connectionstring.h"
#include "scriptedsession.h"
#include "sqladmin/admin/sqladmin_p.h"
#include "sqladmin/manageddatabase.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::SqlAdmin::Rows;
using MGImport8::SqlAdmin::SQLAdminAccess;
using MGImport8::Test::ScriptedServer;

namespace {

const QString loginsQuery = u"FROM sys.server_principals WHERE type IN"_s;
const QString usersQuery = u"sp.name FROM sys.database_principals"_s;
const QString rolesQuery = u"sys.database_role_members"_s;
const QString password = u"pa'ss;{x}\"é]"_s;
const QString passwordLiteral = u"N'pa''ss;{x}\"é]'"_s;

struct Account
{
    ScriptedServer server;
    SQLAdmin admin;

    explicit Account(Rows logins, Rows users = {})
    {
        server.serve(admin, u"SQLBOX"_s);
        server.answers = {
            {loginsQuery, std::move(logins), {}},
            {usersQuery, std::move(users), {}},
            {rolesQuery,
             {{u"public"_s, QVariant()},
              {u"db_owner"_s, u"dbo"_s},
              {u"db_datareader"_s, QVariant()},
              {u"db_datawriter"_s, QVariant()},
              {u"db_ddladmin"_s, QVariant()},
              {u"db_backupoperator"_s, QVariant()}},
             {}},
            {u"SUSER_SNAME()"_s, {{u"sa"_s}}, {}},
            {u"sys.databases"_s, {{u"master"_s}, {u"NODES"_s}}, {}},
        };
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
