// The management layer reading a real PostgreSQL catalogue:
// - columns keep the server's type spelling, lengths, nullability, identity, default and
//   generated expressions; keys and indexes keep their column order;
// - names with quotes, brackets and semicolons are read and looked up as they are;
// - views and functions created through the layer get a creation date that survives a restart;
//   those created behind its back have none;
// - a server stopped in the middle of the work gives an error at once, not a hang;
// - batches run as they stand and report the server's error.
#include <MGImport8/sqladmin.h>

#include "admintesting.h"
#include "pgcluster.h"
#include "sqladmin/manageddatabase.h"
#include "sqladmin/managementserver.h"

#include <QDateTime>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::SqlAdmin::ManagedDatabase;
using MGImport8::SqlAdmin::ObjectName;
using MGImport8::Test::describe;
using MGImport8::Test::PgCluster;

namespace {

const QString oddTable = u"we\"ird]; [name"_s;

bool prepareCatalogue(PgCluster *cluster)
{
    static const bool done = [cluster] {
        QString output;
        const bool ok
            = cluster->psql(u"postgres"_s, u"CREATE DATABASE catalogue"_s, &output)
              && cluster->psql(
                  u"catalogue"_s,
                  u"CREATE TABLE \"Nodes\" (\"ID\" int GENERATED ALWAYS AS IDENTITY, "
                  u"\"IP\" varchar(15) NOT NULL DEFAULT '0.0.0.0', \"Zone\" char(4), "
                  u"\"Seen\" timestamptz, \"Label\" text GENERATED ALWAYS AS (\"IP\" || '/' || "
                  u"\"Zone\") STORED, CONSTRAINT \"PK_Nodes\" PRIMARY KEY (\"IP\", \"ID\"));"
                  u"CREATE INDEX \"IX_Zone\" ON \"Nodes\" (\"Zone\", \"Seen\");"
                  u"CLUSTER \"Nodes\" USING \"PK_Nodes\";"
                  u"CREATE TABLE \"we\"\"ird]; [name\" (a serial);"
                  u"CREATE SCHEMA audit; CREATE TABLE audit.\"Nodes\" (x int);"
                  u"CREATE VIEW plain_view AS SELECT 1 AS one;"
                  u"CREATE ROLE readers; CREATE ROLE reader LOGIN IN ROLE readers;"_s,
                  &output);
        if (!ok)
            ADD_FAILURE() << output.toStdString();
        return ok;
    }();
    return done;
}

std::unique_ptr<SQLAdmin> superAdmin(const QString &server)
{
    return MGImport8::Test::postgresAdmin(server, QString::fromLatin1(PgCluster::superUser),
                                          QString::fromLatin1(PgCluster::superPassword));
}

} // namespace

TEST(CataloguePostgres, TablesColumnsKeysAndIndexes)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepareCatalogue(cluster));
    auto admin = superAdmin(cluster->socketServerName());
    ASSERT_TRUE(admin->Connect(true)) << admin->LastError().toStdString();
    ManagedDatabase *db = admin->GetDatabase(u"CATALOGUE"_s);
    ASSERT_NE(db, nullptr) << admin->LastError().toStdString();

    auto tables = db->tables();
    ASSERT_TRUE(tables) << tables.error().toStdString();
    EXPECT_EQ(tables.value(), (QList<ObjectName>{{u"audit"_s, u"Nodes"_s},
                                                 {u"public"_s, u"Nodes"_s},
                                                 {u"public"_s, oddTable}}));
    EXPECT_EQ(db->findTable(u"Nodes"_s).value().schema, u"public"_s);
    EXPECT_EQ(db->findTable(u"nodes"_s).value().schema, u"audit"_s);
    EXPECT_EQ(db->findTable(u"audit.Nodes"_s).value().schema, u"audit"_s);

    EXPECT_EQ(describe(db->columns({u"public"_s, u"Nodes"_s}).value()),
              (QStringList{u"ID integer 4 identity"_s,
                           u"IP character varying 15 default='0.0.0.0'::character varying"_s,
                           u"Zone character 4 null"_s, u"Seen timestamp with time zone 8 null"_s,
                           u"Label text -1 null computed=(((\"IP\")::text || '/'::text) || "
                           u"(\"Zone\")::text)"_s}));
    auto key = db->primaryKey({u"public"_s, u"Nodes"_s}).value();
    EXPECT_EQ(QStringList(key.name) << key.columns << QString::number(key.clustered),
              (QStringList{u"PK_Nodes"_s, u"IP"_s, u"ID"_s, u"1"_s}));
    EXPECT_EQ(describe(db->indexes({u"public"_s, u"Nodes"_s}).value()),
              (QStringList{u"PK_Nodes(IP,ID) unique clustered primary"_s, u"IX_Zone(Zone,Seen)"_s}));

    EXPECT_EQ(describe(db->columns({u"public"_s, oddTable}).value()),
              QStringList{
                  u"a integer 4 identity default=nextval('\"we\"\"ird]; [name_a_seq\"'::regclass)"_s});
    EXPECT_TRUE(db->primaryKey({u"public"_s, oddTable}).value().columns.isEmpty());
}

TEST(CataloguePostgres, LoginsUsersRolesAndBatches)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepareCatalogue(cluster));
    auto admin = superAdmin(cluster->tcpServerName());
    ASSERT_TRUE(admin->Connect(true)) << admin->LastError().toStdString();
    auto logins = admin->SQLServer()->logins();
    ASSERT_TRUE(logins);
    QStringList names;
    for (const auto &login : logins.value())
        names.append(login.name);
    EXPECT_TRUE(names.contains(u"postgres"_s));
    EXPECT_TRUE(names.contains(u"reader"_s));
    EXPECT_FALSE(names.contains(u"readers"_s));
    ManagedDatabase *db = admin->GetDatabase(u"catalogue"_s);
    ASSERT_NE(db, nullptr);
    auto roles = db->roles();
    ASSERT_TRUE(roles);
    bool found = false;
    for (const auto &role : roles.value()) {
        if (role.name == u"readers"_s) {
            found = true;
            EXPECT_EQ(role.members, QStringList{u"reader"_s});
        }
    }
    EXPECT_TRUE(found);
    EXPECT_FALSE(db->users().value().isEmpty());

    EXPECT_TRUE(db->executeImmediate(u"CREATE TABLE batch_a (x int); INSERT INTO batch_a VALUES "
                                     u"(1); DROP TABLE batch_a"_s));
    auto failed = db->executeImmediate(u"SELECT * FROM no_such_table"_s);
    ASSERT_FALSE(failed);
    EXPECT_TRUE(failed.error().contains(u"\"no_such_table\" does not exist"_s))
        << failed.error().toStdString();
    EXPECT_EQ(admin->DatabaseSecurityMode(), 2); // peer and passwords
    EXPECT_TRUE(admin->DefaultDataPath().endsWith(u"/data/"_s));
}

TEST(CataloguePostgres, CreationDatesSurviveARestartAndAStopIsReportedAtOnce)
{
    QString reason;
    std::unique_ptr<PgCluster> cluster = PgCluster::create(&reason);
    if (!cluster)
        GTEST_SKIP() << "PostgreSQL is not available: " << reason.toStdString();
    ASSERT_TRUE(cluster->psql(u"postgres"_s, u"CREATE VIEW behind_back AS SELECT 1 AS one"_s));
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
    {
        auto admin = superAdmin(cluster->socketServerName());
        ASSERT_TRUE(admin->Connect(true)) << admin->LastError().toStdString();
        ManagedDatabase *db = admin->GetDatabase(u"postgres"_s);
        ASSERT_NE(db, nullptr);
        ASSERT_TRUE(db->createRoutine(u'V', {u"public"_s, u"made_here"_s},
                                      u"CREATE VIEW made_here AS SELECT 2 AS two"_s));
        ASSERT_TRUE(db->createRoutine(u'F', {u"public"_s, u"double_it"_s},
                                      u"CREATE FUNCTION double_it(int) RETURNS int LANGUAGE sql "
                                      u"AS 'SELECT $1 * 2'"_s));
        // A failed CREATE records nothing and leaves no half-made object.
        EXPECT_FALSE(db->createRoutine(u'V', {u"public"_s, u"broken"_s},
                                       u"CREATE VIEW broken AS SELECT * FROM nowhere"_s));
    }
    ASSERT_TRUE(cluster->stop());
    ASSERT_TRUE(cluster->start());

    auto admin = superAdmin(cluster->socketServerName());
    ASSERT_TRUE(admin->Connect(true)) << admin->LastError().toStdString();
    ManagedDatabase *db = admin->GetDatabase(u"postgres"_s);
    ASSERT_NE(db, nullptr);
    auto views = db->views();
    ASSERT_TRUE(views) << views.error().toStdString();
    ASSERT_EQ(views.value().size(), 2);
    EXPECT_EQ(views.value()[0].object.name, u"behind_back"_s);
    EXPECT_FALSE(views.value()[0].created.isValid());
    EXPECT_EQ(views.value()[1].object.name, u"made_here"_s);
    EXPECT_GE(views.value()[1].created, before);
    auto functions = db->functions();
    ASSERT_TRUE(functions);
    ASSERT_EQ(functions.value().size(), 1);
    EXPECT_GE(functions.value()[0].created, before);
    EXPECT_EQ(db->tables().value(), QList<ObjectName>()); // the record is not a user table

    ASSERT_TRUE(cluster->stop());
    auto cut = db->views();
    ASSERT_FALSE(cut);
    EXPECT_FALSE(cut.error().isEmpty());
    EXPECT_FALSE(admin->SQLServer()->databaseNames());
    EXPECT_TRUE(admin->Databases().isEmpty());
    EXPECT_FALSE(admin->Connect(false));
    EXPECT_FALSE(admin->LastError().isEmpty());
}
