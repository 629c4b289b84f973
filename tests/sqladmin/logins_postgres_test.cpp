// The account operations against a real PostgreSQL cluster, with roles the tests create:
// - CreateUserID makes a login role that logs in with its password (quotes, semicolons, braces,
//   backslashes, non-ASCII), records the default database, grants CONNECT and the account roles
//   that exist; run again it resets the password and rebuilds the grants;
// - names that would break out of their quoting (O'Brien, dom\user, a"b; DROP ...) are names;
// - TestUserIDAndPassword remembers the account whatever the outcome, and a wrong password fails
//   with the server's reason, never the password;
// - DoesAccountExist compares exactly, ignores PUBLIC's CONNECT, repairs default database and roles;
// - an ASCII password is sent as its SCRAM secret, which then opens the database;
// - ChangeUserPassword for an unknown login leaves LastError; a login without the rights to create
//   roles gets the server's refusal and nothing is created.
#include <MGImport8/sqladmin.h>

#include "admintesting.h"
#include "pgcluster.h"
#include "sqladmin/dialect.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::Test::PgCluster;
using MGImport8::Test::postgresAdmin;

namespace {

const QString database = u"accounts"_s;
const QString password = u"It's; {a} \"pass\\word\" ünï 🔑"_s;

bool prepare(PgCluster *cluster)
{
    static const bool done = [cluster] {
        // No db_ddladmin: the other three roles are granted.
        return cluster->psqlSteps({
            {u"postgres"_s, u"CREATE DATABASE accounts"_s},
            {u"postgres"_s, u"CREATE ROLE db_datareader; CREATE ROLE db_datawriter; "
                            u"CREATE ROLE db_owner; CREATE ROLE \"DB_DATAREADER\"; "
                            u"CREATE ROLE victim LOGIN; "
                            u"CREATE ROLE plain LOGIN PASSWORD 'plain-pw'; "
                            u"CREATE ROLE elsewhere LOGIN"_s},
        });
    }();
    return done;
}

std::unique_ptr<SQLAdmin> superAdmin(PgCluster *cluster)
{
    auto admin = postgresAdmin(cluster->socketServerName());
    EXPECT_TRUE(admin->Connect(true)) << admin->LastError().toStdString();
    return admin;
}

/// psql's unaligned output, without headers, for a query as the superuser.
QString ask(PgCluster *cluster, const QString &sql)
{
    QString output;
    EXPECT_TRUE(cluster->psql(u"postgres"_s, sql, &output)) << output.toStdString();
    return output.trimmed();
}

QString literal(const QString &text)
{
    return u"'"_s + QString(text).replace(u"'"_s, u"''"_s) + u"'"_s;
}

/// The account roles the login belongs to and whether it has CONNECT of its own.
QString grantsOf(PgCluster *cluster, const QString &login)
{
    return ask(cluster, u"SELECT string_agg(r.rolname, ',' ORDER BY r.rolname) || ' ' || "
                        u"(SELECT count(*) FROM pg_database d, aclexplode(d.datacl) a WHERE "
                        u"d.datname = 'accounts' AND a.grantee = m.oid AND a.privilege_type = "
                        u"'CONNECT') FROM pg_roles m JOIN pg_auth_members am ON am.member = "
                        u"m.oid JOIN pg_roles r ON r.oid = am.roleid WHERE m.rolname = "_s
                            + literal(login) + u" GROUP BY m.oid"_s);
}

} // namespace

TEST(LoginsPostgres, CreateUserIDMakesAWorkingAccountWhateverItsName)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    for (const QString &login :
         {u"O'Brien"_s, u"dom\\user"_s, u"a\"b; DROP ROLE victim; --"_s, u"Ünïcode"_s}) {
        SCOPED_TRACE(login.toStdString());
        auto admin = superAdmin(cluster);
        ASSERT_TRUE(admin->CreateUserID(database, login, password))
            << admin->LastError().toStdString();
        EXPECT_EQ(grantsOf(cluster, login), u"db_datareader,db_datawriter,db_owner 1"_s);
        EXPECT_TRUE(admin->DoesAccountExist(database, login)) << admin->LastError().toStdString();

        // A second creation resets the password and rebuilds the same grants.
        const QString second = password + u"2"_s;
        ASSERT_TRUE(admin->CreateUserID(database, login, second));
        EXPECT_EQ(grantsOf(cluster, login), u"db_datareader,db_datawriter,db_owner 1"_s);

        auto tester = postgresAdmin(cluster->tcpServerName());
        EXPECT_FALSE(tester->TestUserIDAndPassword(database, login, password));
        EXPECT_TRUE(tester->LastError().contains(u"password authentication failed"_s))
            << tester->LastError().toStdString();
        EXPECT_FALSE(tester->LastError().contains(password));
        // The failed test still remembers the account for connection strings.
        EXPECT_TRUE(tester->BuildConnectionString(u"S"_s, database)
                        .contains(u"Password='"_s + password + u"'"_s));
        EXPECT_TRUE(tester->TestUserIDAndPassword(database, login, second))
            << tester->LastError().toStdString();
        for (const SQLAdmin *used : {admin.get(), tester.get()}) {
            EXPECT_FALSE(used->UpdateTrace().contains(password));
            EXPECT_FALSE(used->LastError().contains(password));
        }
    }
    EXPECT_EQ(ask(cluster, u"SELECT count(*) FROM pg_roles WHERE rolname = 'victim'"_s), u"1"_s);
}

TEST(LoginsPostgres, DoesAccountExistComparesExactlyAndRepairs)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = superAdmin(cluster);
    ASSERT_TRUE(admin->CreateUserID(database, u"repaired"_s, password));
    // Taken apart by hand: a role lost, the default database elsewhere.
    ASSERT_TRUE(cluster->psql(u"postgres"_s, u"REVOKE db_owner FROM repaired; ALTER ROLE repaired "
                                             u"SET mgimport8.default_database = 'postgres'"_s));
    struct Case
    {
        const char *name;
        QString database;
        QString login;
        bool exists;
    };
    const Case cases[] = {
        {"login_differs_in_case", database, u"Repaired"_s, false},
        {"database_differs_in_case", u"ACCOUNTS"_s, u"repaired"_s, false},
        {"no_such_login", database, u"nobody"_s, false},
        // PUBLIC may connect to every database; that makes no login a user of it.
        {"connect_only_through_public", database, u"elsewhere"_s, false},
        {"account", database, u"repaired"_s, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(admin->DoesAccountExist(c.database, c.login), c.exists)
            << admin->LastError().toStdString();
    }
    EXPECT_EQ(grantsOf(cluster, u"repaired"_s), u"db_datareader,db_datawriter,db_owner 1"_s);
    EXPECT_TRUE(ask(cluster, u"SELECT setconfig FROM pg_db_role_setting s JOIN pg_roles r ON "
                             u"r.oid = s.setrole WHERE r.rolname = 'repaired'"_s)
                    .contains(u"mgimport8.default_database=accounts"_s));
    EXPECT_EQ(grantsOf(cluster, u"elsewhere"_s), QString());
}

TEST(LoginsPostgres, PasswordChangesAndRefusals)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = superAdmin(cluster);
    ASSERT_TRUE(admin->CreateUserID(database, u"changed"_s, u"first"_s));
    EXPECT_FALSE(admin->CreateUserID(u"no_such_db"_s, u"x"_s, password));
    const QString earlier = admin->LastError();
    EXPECT_EQ(earlier, u"Database 'no_such_db' does not exist on the server."_s);
    EXPECT_FALSE(admin->ChangeUserPassword(u"Changed"_s, password));
    EXPECT_EQ(admin->LastError(), earlier);
    ASSERT_TRUE(admin->ChangeUserPassword(u"changed"_s, password));
    EXPECT_EQ(admin->LastError(), QString());
    auto tester = postgresAdmin(cluster->socketServerName());
    EXPECT_TRUE(tester->TestUserIDAndPassword(database, u"changed"_s, password))
        << tester->LastError().toStdString();

    // An ASCII password travels as the secret the server stores, never as itself.
    const QString ascii = u"Plain 'pw'; {x} \\ \"q\""_s;
    const auto dialect = MGImport8::SqlAdmin::Dialect::create(
        MGImport8::SqlAdmin::ServerKind::PostgreSql);
    const QString statement = dialect->setPasswordStatement(u"changed"_s, ascii);
    EXPECT_TRUE(statement.startsWith(u"ALTER ROLE \"changed\" PASSWORD E'SCRAM-SHA-256$4096:"_s));
    EXPECT_FALSE(statement.contains(u"Plain"_s));
    ASSERT_TRUE(admin->ChangeUserPassword(u"changed"_s, ascii));
    EXPECT_TRUE(tester->TestUserIDAndPassword(database, u"changed"_s, ascii))
        << tester->LastError().toStdString();
    EXPECT_FALSE(tester->TestUserIDAndPassword(database, u"changed"_s, ascii + u" "_s));
    ASSERT_TRUE(admin->ChangeUserPassword(u"changed"_s, password));

    // A login without the right to create roles is refused by the server, in its words.
    auto plain = postgresAdmin(cluster->tcpServerName(), u"plain"_s, u"plain-pw"_s);
    ASSERT_TRUE(plain->Connect(false)) << plain->LastError().toStdString();
    EXPECT_FALSE(plain->CreateUserID(database, u"intruder"_s, password));
    EXPECT_TRUE(plain->LastError().contains(u"permission denied to create role"_s))
        << plain->LastError().toStdString();
    EXPECT_FALSE(plain->LastError().contains(password));
    EXPECT_EQ(ask(cluster, u"SELECT count(*) FROM pg_roles WHERE rolname = 'intruder'"_s), u"0"_s);
    EXPECT_FALSE(plain->ChangeUserPassword(u"changed"_s, u"stolen"_s));
    EXPECT_TRUE(plain->LastError().contains(u"permission denied"_s))
        << plain->LastError().toStdString();
    EXPECT_TRUE(tester->TestUserIDAndPassword(database, u"changed"_s, password));
}
