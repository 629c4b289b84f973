// The command line against a real PostgreSQL cluster, side by side with psql on the same data:
// - `databases` lists the server's databases with a password login and with the user's own
//   identity over the socket; a closed port fails with the wizard's message and status 1;
// - `import --server` prints the same records psql reads, for a table and for a query, and maps
//   columns by their field names;
// - a wrong password stops the import with the wizard's message and status 2; the password never
//   appears in any output;
// - `structure build` makes a database from a structure file; `structure verify --dry-run` prints
//   the repairs it would make and leaves the database as it was; `verify` makes them and a
//   second run prints no change; `export --data` writes the seed rows of the tables named.
#include "pgcluster.h"
#include "testsupport.h"

#include <QFile>
#include <QProcess>

using namespace Qt::StringLiterals;
using MGImport8::Test::PgCluster;
using MGImport8::Test::TempFolder;

namespace {

const QString password = u"Cli 'secret'; [x]"_s;

struct ToolRun
{
    int status = -1;
    QString out;
    QString err;
};

bool prepare(PgCluster *cluster)
{
    static const bool done = [cluster] {
        return cluster->psqlSteps({
            {u"postgres"_s, u"CREATE ROLE clireader LOGIN PASSWORD 'Cli ''secret''; [x]'"_s},
            {u"postgres"_s, u"CREATE DATABASE cli_inventory"_s},
            {u"cli_inventory"_s,
             u"CREATE TABLE devices (hostname text, address text, site text);"
             "INSERT INTO devices VALUES ('sw-1', '192.0.2.1', 'north'), "
             "('sw-2', '192.0.2.2', NULL), ('fw \"main\"', '198.51.100.7', 'south');"
             "GRANT SELECT ON devices TO clireader"_s},
        });
    }();
    return done;
}

class CliPostgres : public testing::Test
{
protected:
    ToolRun run(const QStringList &arguments)
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(u"MGIMPORT8_METHODS_PATH"_s);
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(MGIMPORT8_TOOL), arguments);
        process.waitForFinished(60000);
        ToolRun result{process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                       QString::fromUtf8(process.readAllStandardError())};
        EXPECT_FALSE(result.out.contains(password));
        EXPECT_FALSE(result.err.contains(password));
        return result;
    }

    QStringList login(PgCluster *cluster)
    {
        return {u"--server"_s, cluster->tcpServerName(), u"--server-type"_s,   u"PostgreSQL"_s,
                u"--user"_s,   u"clireader"_s,           u"--password-file"_s, passwordFile};
    }

    QStringList importFrom(PgCluster *cluster, const QString &table)
    {
        return QStringList{u"import"_s} + login(cluster)
               + QStringList{u"--database"_s, u"cli_inventory"_s, u"--table"_s, table};
    }

    TempFolder folder;
    QString passwordFile = folder.write(u"pw"_s, password.toUtf8() + "\n");
};

TEST_F(CliPostgres, listsDatabasesWithAPasswordOrTheUsersIdentity)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    QString psqlList;
    ASSERT_TRUE(cluster->psql(u"postgres"_s,
                              u"SELECT datname FROM pg_database WHERE datname = 'cli_inventory'"_s,
                              &psqlList));
    const ToolRun withPassword = run(QStringList{u"databases"_s} + login(cluster));
    EXPECT_EQ(withPassword.status, 0) << withPassword.err.toStdString();
    EXPECT_TRUE(withPassword.out.split(u'\n').contains(u"cli_inventory"_s));
    EXPECT_TRUE(psqlList.contains(u"cli_inventory"_s));

    const ToolRun ownIdentity = run({u"databases"_s, u"--server"_s, cluster->socketServerName(),
                                     u"--server-type"_s, u"postgresql"_s});
    EXPECT_EQ(ownIdentity.status, 0) << ownIdentity.err.toStdString();
    EXPECT_EQ(ownIdentity.out, withPassword.out);

    QStringList closed = login(cluster);
    closed[1] = u"127.0.0.1:1"_s;
    const ToolRun refused = run(QStringList{u"databases"_s} + closed);
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.err.startsWith(u"Cannot list databases on SQL Server on 127.0.0.1:1 using "
                                       "the supplied User Name and Password\n\n"_s))
        << refused.err.toStdString();
}

TEST_F(CliPostgres, importsWhatPsqlReads)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    QString psqlRows;
    ASSERT_TRUE(cluster->psql(u"cli_inventory"_s,
                              u"SELECT '{\"Name\": \"' || replace(hostname, '\"', '\\\"') || "
                              "'\", \"IP\": \"' || address || '\", \"<ignore>\": \"' || "
                              "coalesce(site, '') || '\"}' FROM devices"_s,
                              &psqlRows));
    const ToolRun table = run(importFrom(cluster, u"devices"_s)
                              + QStringList{u"--map"_s, u"hostname=Name"_s});
    ASSERT_EQ(table.status, 0) << table.err.toStdString();
    EXPECT_EQ(table.out.trimmed().toStdString(), psqlRows.trimmed().toStdString());
    EXPECT_TRUE(table.err.contains(u"Imported 3 rows"_s)) << table.err.toStdString();

    const ToolRun query = run(
        importFrom(cluster, u"SELECT address FROM devices WHERE site IS NULL"_s));
    ASSERT_EQ(query.status, 0) << query.err.toStdString();
    EXPECT_EQ(query.out.toStdString(), "{\"IP\": \"192.0.2.2\"}\n");
}

TEST_F(CliPostgres, stopsOnAWrongPassword)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    passwordFile = folder.write(u"wrong"_s, "not it\n");
    const ToolRun wrong = run(importFrom(cluster, u"devices"_s));
    EXPECT_EQ(wrong.status, 2);
    EXPECT_TRUE(wrong.err.startsWith(u"Cannot open 'cli_inventory'' on '"_s
                                     + cluster->tcpServerName() + u"\n"_s))
        << wrong.err.toStdString();
    EXPECT_FALSE(wrong.err.contains(u"not it"_s));
}

TEST_F(CliPostgres, structureBuildsVerifiesWithADryRunAndExports)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    const QString superFile = folder.write(u"super"_s, QByteArray(PgCluster::superPassword) + "\n");
    const QStringList super{u"--server"_s,        cluster->tcpServerName(),
                            u"--server-type"_s,   u"PostgreSQL"_s,
                            u"--user"_s,          QString::fromLatin1(PgCluster::superUser),
                            u"--password-file"_s, superFile,
                            u"--database"_s,      u"cli_chinook"_s};
    const QString structure = QStringLiteral(MGIMPORT8_CHINOOK_STRUCTURE);
    const ToolRun built = run(QStringList{u"structure"_s, u"build"_s} + super
                              + QStringList{u"--path"_s, folder.path(), structure});
    ASSERT_EQ(built.status, 0) << built.err.toStdString();
    EXPECT_TRUE(built.out.startsWith(u"Verifying Database structure : chinook_postgres\n\n"_s))
        << built.out.toStdString();
    EXPECT_TRUE(built.err.contains(u"progress 100%\n"_s));
    EXPECT_FALSE(built.err.contains(QString::fromLatin1(PgCluster::superPassword)));

    ASSERT_TRUE(cluster->psqlSteps({{u"cli_chinook"_s, u"ALTER TABLE customer DROP COLUMN fax"_s}}));
    const ToolRun dry = run(QStringList{u"structure"_s, u"verify"_s, u"--dry-run"_s} + super
                            + QStringList{structure});
    ASSERT_EQ(dry.status, 0) << dry.err.toStdString();
    EXPECT_TRUE(dry.out.startsWith(u"Dry run: "_s));
    EXPECT_TRUE(dry.out.contains(u"SQL: ALTER TABLE \"public\".\"customer\" ADD COLUMN \"fax\" "
                                 u"character varying(24) NULL\nAdded customer.fax to Database\n"_s))
        << dry.out.toStdString();
    QString columns;
    ASSERT_TRUE(cluster->psql(u"cli_chinook"_s,
                              u"SELECT count(*) FROM information_schema.columns WHERE table_name "
                              u"= 'customer' AND column_name = 'fax'"_s,
                              &columns));
    EXPECT_EQ(columns, u"0"_s);

    const ToolRun repaired = run(QStringList{u"structure"_s, u"verify"_s} + super
                                 + QStringList{structure});
    ASSERT_EQ(repaired.status, 0) << repaired.err.toStdString();
    EXPECT_TRUE(repaired.out.contains(u"Added customer.fax to Database\n"_s));
    EXPECT_FALSE(repaired.out.contains(u"SQL: "_s));
    const ToolRun again = run(QStringList{u"structure"_s, u"verify"_s} + super
                              + QStringList{structure});
    EXPECT_FALSE(again.out.contains(u"Added"_s)) << again.out.toStdString();

    const QString exported = folder.path() + u"/export.xml"_s;
    const ToolRun exportRun = run(QStringList{u"structure"_s, u"export"_s} + super
                                  + QStringList{u"--data"_s, u"genre,media_type"_s, exported});
    ASSERT_EQ(exportRun.status, 0) << exportRun.err.toStdString();
    QFile file(exported);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(file.readAll());
    EXPECT_TRUE(text.contains(u"<row media_type_id=\"1\" name=\"MPEG audio file\" />"_s));
    EXPECT_TRUE(text.contains(u"<Data KeyColumn=\"genre_id\">"_s));

    const ToolRun missing = run(QStringList{u"structure"_s, u"verify"_s} + super
                                + QStringList{folder.path() + u"/none.xml"_s});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(missing.err.startsWith(u"Cannot open Database Structure file ("_s))
        << missing.err.toStdString();
}

} // namespace
