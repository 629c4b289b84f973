// SQLAdmin against a real PostgreSQL cluster:
// - logins that work (password, the operating system's identity) list the server's databases;
// - wrong passwords and closed ports fail with the driver's reason, never with the password;
// - the system-administrator requirement refuses an ordinary login with the exact message;
// - database connections open from the family's connection string, and VerifyDatabase tells a
//   monitoring database from one without Nodes and Interfaces.
#include <MGImport8/sqladmin.h>

#include "admintesting.h"
#include "pgcluster.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QSysInfo>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::Test::PgCluster;

namespace {

const QString plainUser = u"monitor"_s;
const QString plainPassword = u"It's [a] pass;word"_s;

// The ordinary login and the databases the tests share, made once.
bool prepare(PgCluster *cluster)
{
    static const bool done = [cluster] {
        return cluster->psqlSteps({
            {u"postgres"_s, u"CREATE ROLE monitor LOGIN PASSWORD 'It''s [a] pass;word'"_s},
            {u"postgres"_s, u"CREATE DATABASE \"Monitoring\""_s},
            {u"postgres"_s, u"CREATE DATABASE \"Empty\""_s},
            {u"Monitoring"_s, u"CREATE TABLE \"Nodes\" (id int); CREATE TABLE interfaces (id int); "
                              u"GRANT SELECT ON ALL TABLES IN SCHEMA public TO monitor"_s},
        });
    }();
    return done;
}

std::unique_ptr<SQLAdmin> adminFor(PgCluster *cluster, const QString &login, const QString &password)
{
    return MGImport8::Test::postgresAdmin(cluster->socketServerName(), login, password);
}

} // namespace

TEST(SQLAdminPostgres, PasswordAndIdentityLoginsListDatabases)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    for (const QString &login : {QString(), QString::fromLatin1(PgCluster::superUser)}) {
        SCOPED_TRACE(login.isEmpty() ? "integrated" : "password");
        auto admin = adminFor(cluster, login, QString::fromLatin1(PgCluster::superPassword));
        ASSERT_TRUE(admin->Connect(true)) << admin->LastError().toStdString();
        EXPECT_TRUE(admin->Connected());
        EXPECT_EQ(admin->LastError(), QString());
        const QStringList names = admin->Databases();
        EXPECT_EQ(names.first(), u"postgres"_s);
        EXPECT_LT(names.indexOf(u"Monitoring"_s), names.indexOf(u"Empty"_s));
        EXPECT_FALSE(names.contains(u"template1"_s));
        EXPECT_TRUE(admin->DatabaseExist(u"MONITORING"_s));
        EXPECT_FALSE(admin->DatabaseExist(u"Monitor"_s));
        EXPECT_TRUE(admin->SQlServerVersion().startsWith(u"PostgreSQL 15"_s));
        EXPECT_EQ(admin->ServerNetName(), QSysInfo::machineHostName());
        admin->Disconnect();
        EXPECT_FALSE(admin->Connected());
        EXPECT_FALSE(admin->DatabaseExist(u"Monitoring"_s));
    }
}

TEST(SQLAdminPostgres, FailedLoginsSayWhyWithoutThePassword)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    struct Case
    {
        const char *name;
        QString server;
        QString password;
        QString reason;
    };
    const QString wrong = u"wrong-Secret-42"_s;
    const Case cases[] = {
        {"wrong_password", cluster->socketServerName(), wrong,
         u"password authentication failed for user \"monitor\""_s},
        {"wrong_password_tcp", cluster->tcpServerName(), wrong,
         u"password authentication failed for user \"monitor\""_s},
        {"closed_port", u"127.0.0.1:1"_s, wrong, u"Connection refused"_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        auto admin = adminFor(cluster, plainUser, c.password);
        admin->setServerName(c.server);
        EXPECT_FALSE(admin->Connect(false));
        EXPECT_FALSE(admin->Connected());
        EXPECT_TRUE(admin->LastError().contains(c.reason)) << admin->LastError().toStdString();
        EXPECT_FALSE(admin->LastError().contains(c.password));
        EXPECT_TRUE(admin->Databases().isEmpty());
    }
}

TEST(SQLAdminPostgres, SysAdminRequirementRefusesAnOrdinaryLogin)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = adminFor(cluster, plainUser, plainPassword);
    EXPECT_FALSE(admin->Connect(true));
    EXPECT_FALSE(admin->Connected());
    EXPECT_EQ(admin->LastError(), u"monitor does not have system administrator rights on this SQL "
                                  u"Server ("_s
                                      + QSysInfo::machineHostName() + u")"_s);
    EXPECT_TRUE(admin->Connect(false)) << admin->LastError().toStdString();
    EXPECT_EQ(admin->LastError(), QString());
}

TEST(SQLAdminPostgres, DatabaseConnectionAndVerification)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = adminFor(cluster, plainUser, plainPassword);
    const QString server = cluster->tcpServerName();
    {
        MGImport8::DatabaseHandle handle = admin->DatabaseConnection(server, u"Monitoring"_s);
        ASSERT_TRUE(handle.isOpen()) << admin->LastError().toStdString();
        QSqlQuery query(handle.database());
        ASSERT_TRUE(query.exec(u"SELECT current_user, current_database()"_s));
        ASSERT_TRUE(query.next());
        EXPECT_EQ(query.value(0).toString(), plainUser);
        EXPECT_EQ(query.value(1).toString(), u"Monitoring"_s);
    }
    EXPECT_TRUE(admin->VerifyDatabase(server, u"Monitoring"_s));
    EXPECT_FALSE(admin->VerifyDatabase(server, u"Empty"_s));
    EXPECT_FALSE(admin->VerifyDatabase(server, u"Missing"_s));
    EXPECT_EQ(admin->LastError(), QString());

    MGImport8::DatabaseHandle missing = admin->DatabaseConnection(server, u"Missing"_s);
    EXPECT_FALSE(missing.isOpen());
    EXPECT_TRUE(admin->LastError().contains(u"database \"Missing\" does not exist"_s))
        << admin->LastError().toStdString();
    admin->setLoginPassword(u"not-it"_s);
    EXPECT_FALSE(admin->DatabaseConnection(server, u"Monitoring"_s).isOpen());
    EXPECT_FALSE(admin->LastError().contains(u"not-it"_s));
}
