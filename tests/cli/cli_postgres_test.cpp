// The command line against a real PostgreSQL cluster, side by side with psql on the same data:
// - `import --server` prints the same records psql reads, for a table and for a query, and maps
//   columns by their field names; a wrong password stops it with the wizard's message and
//   status 2;
// - `structure build` makes a database from a structure file; `structure verify --dry-run` prints
//   the repairs it would make and leaves the database as it was; `verify` makes them (repairs,
//   exports and dictionaries themselves are checked against the library);
// - `login create` makes an account that `login test` opens with its password and refuses with
//   another (status 1), `login exists` finds it (and not one differing in case), `login password`
//   changes it;
// - two `import --into` runs of overlapping device lists into one monitoring database at once
//   lose nothing: every address is added by exactly one of them and updated by the other.
// No password ever appears in any output.
#include "pgcluster.h"
#include "testsupport.h"

#include <QProcess>
#include <QRegularExpression>

using namespace Qt::StringLiterals;
using MGImport8::Test::PgCluster;
using MGImport8::Test::TempFolder;

namespace {

const QString password = u"Cli 'secret'; [x]"_s;
const QString accountPassword = u"Acc'ount; {pw} ü \"x\""_s;
const QString changedPassword = u"Changed 'again'; {y}"_s;

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
            {u"postgres"_s, u"CREATE DATABASE cli_accounts"_s},
            {u"postgres"_s, u"CREATE ROLE db_datareader; CREATE ROLE db_owner"_s},
            {u"cli_accounts"_s, u"CREATE TABLE \"Nodes\" (id int, name varchar(30))"_s},
        });
    }();
    return done;
}

class CliPostgres : public testing::Test
{
protected:
    // Output goes to a file when named: a pipe nobody reads while the test waits for another run
    // would stall this one with its locks held.
    QProcess *start(const QStringList &arguments, const QString &outputFile = {})
    {
        auto *process = new QProcess(&owner);
        if (!outputFile.isEmpty())
            process->setStandardOutputFile(outputFile);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(u"MGIMPORT8_METHODS_PATH"_s);
        process->setProcessEnvironment(environment);
        process->start(QStringLiteral(MGIMPORT8_TOOL), arguments);
        return process;
    }

    ToolRun run(const QStringList &arguments)
    {
        QProcess *process = start(arguments);
        process->waitForFinished(120000);
        ToolRun result{process->exitCode(), QString::fromUtf8(process->readAllStandardOutput()),
                       QString::fromUtf8(process->readAllStandardError())};
        for (const QString &secret : {password, accountPassword, changedPassword,
                                      QString::fromLatin1(PgCluster::superPassword)}) {
            EXPECT_FALSE(result.out.contains(secret));
            EXPECT_FALSE(result.err.contains(secret));
        }
        return result;
    }

    QStringList importFrom(PgCluster *cluster, const QString &table)
    {
        // clang-format off
        return {u"import"_s,   u"--server"_s,        cluster->tcpServerName(), u"--server-type"_s,
                u"PostgreSQL"_s, u"--user"_s,        u"clireader"_s,           u"--password-file"_s,
                passwordFile,  u"--database"_s,      u"cli_inventory"_s,       u"--table"_s,
                table};
        // clang-format on
    }

    QStringList superuser(PgCluster *cluster, const QString &database)
    {
        // clang-format off
        return {u"--server"_s,      cluster->tcpServerName(),
                u"--server-type"_s, u"PostgreSQL"_s,
                u"--user"_s,        QString::fromLatin1(PgCluster::superUser),
                u"--password-file"_s,
                folder.write(u"super"_s, QByteArray(PgCluster::superPassword) + "\n"),
                u"--database"_s,    database};
        // clang-format on
    }

    QObject owner;
    TempFolder folder;
    QString passwordFile = folder.write(u"pw"_s, password.toUtf8() + "\n");
};

TEST_F(CliPostgres, importsWhatPsqlReadsAndStopsOnAWrongPassword)
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
    EXPECT_EQ(query.out.toStdString(), "{\"IP\": \"192.0.2.2\"}\n") << query.err.toStdString();

    passwordFile = folder.write(u"wrong"_s, "not it\n");
    const ToolRun wrong = run(importFrom(cluster, u"devices"_s));
    EXPECT_EQ(wrong.status, 2);
    EXPECT_TRUE(wrong.err.startsWith(u"Cannot open 'cli_inventory'' on '"_s
                                     + cluster->tcpServerName() + u"\n"_s))
        << wrong.err.toStdString();
    EXPECT_FALSE(wrong.err.contains(u"not it"_s));
}

TEST_F(CliPostgres, structureBuildsAndVerifiesWithADryRun)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    const QString structure = QStringLiteral(MGIMPORT8_CHINOOK_STRUCTURE);
    auto structureRun = [&](const QStringList &before, const QStringList &after) {
        return run(QStringList{u"structure"_s} + before + superuser(cluster, u"cli_chinook"_s)
                   + after);
    };
    const ToolRun built = structureRun({u"build"_s}, {u"--path"_s, folder.path(), structure});
    ASSERT_EQ(built.status, 0) << built.err.toStdString();
    EXPECT_TRUE(built.err.contains(u"progress 100%\n"_s)) << "progress goes to standard error";

    ASSERT_TRUE(cluster->psqlSteps({{u"cli_chinook"_s, u"ALTER TABLE customer DROP COLUMN fax"_s}}));
    const QString added = u"Added customer.fax to Database\n"_s;
    const ToolRun dry = structureRun({u"verify"_s, u"--dry-run"_s}, {structure});
    ASSERT_EQ(dry.status, 0) << dry.err.toStdString();
    EXPECT_TRUE(dry.out.startsWith(u"Dry run: "_s));
    EXPECT_TRUE(dry.out.contains(u"SQL: ALTER TABLE \"public\".\"customer\" ADD COLUMN \"fax\" "
                                 u"character varying(24) NULL\n"_s
                                 + added))
        << dry.out.toStdString();
    EXPECT_TRUE(structureRun({u"verify"_s}, {structure}).out.contains(added))
        << "the dry run changed nothing";
}

TEST_F(CliPostgres, loginCreateTestExistsAndChange)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    const QString first = folder.write(u"first"_s, accountPassword.toUtf8() + "\n");
    const QString second = folder.write(u"second"_s, changedPassword.toUtf8());
    const QString name = u"cli O'Brien"_s;
    // The administrator is the user running the tests, by the socket.
    auto login = [&](const QString &action, const QString &who, const QString &passwordFile) {
        // clang-format off
        QStringList arguments{u"login"_s,       action,         u"--server"_s,
                              cluster->socketServerName(),      u"--server-type"_s,
                              u"PostgreSQL"_s,  u"--database"_s, u"cli_accounts"_s,
                              u"--login"_s,     who};
        // clang-format on
        if (!passwordFile.isEmpty())
            arguments += QStringList{u"--new-password-file"_s, passwordFile};
        return arguments;
    };
    const QString opens = u"The password of 'cli O'Brien' opens 'cli_accounts'.\n"_s;
    const std::tuple<QStringList, int, QString> steps[] = {
        {login(u"create"_s, name, first), 0,
         u"The login 'cli O'Brien' has a user in 'cli_accounts' with the database roles.\n"_s},
        {login(u"test"_s, name, first), 0, opens},
        {login(u"test"_s, name, second), 1, {}},
        {login(u"exists"_s, name, {}), 0,
         u"The login 'cli O'Brien' has a user in 'cli_accounts'.\n"_s},
        {login(u"exists"_s, u"CLI O'BRIEN"_s, {}), 1,
         u"The login 'CLI O'BRIEN' has no user in 'cli_accounts'.\n"_s},
        {login(u"password"_s, name, second), 0,
         u"The password of 'cli O'Brien' has been changed.\n"_s},
        {login(u"test"_s, name, second), 0, opens},
    };
    for (const auto &[arguments, status, out] : steps) {
        SCOPED_TRACE(arguments.join(u' ').toStdString());
        const ToolRun result = run(arguments);
        EXPECT_EQ(result.status, status) << result.err.toStdString();
        EXPECT_EQ(result.out.toStdString(), out.toStdString());
    }
}

// Two lists of 400 devices sharing 200 addresses, the second in reverse order so that the two
// imports meet on the shared addresses from opposite ends.
TEST_F(CliPostgres, twoImportsIntoOneInventoryAtOnceLoseNothing)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    const ToolRun built = run(
        QStringList{u"structure"_s, u"build"_s} + superuser(cluster, u"shared_inventory"_s)
        + QStringList{u"--path"_s, folder.path(),
                      QStringLiteral(MGIMPORT8_LIB_DIR "/MonitoringDatabase.PostgreSQL.xml")});
    ASSERT_EQ(built.status, 0) << built.err.toStdString();
    const QString location = u"postgresql://%1:%2@%3/shared_inventory"_s
                                 .arg(QString::fromLatin1(PgCluster::superUser),
                                      QString::fromLatin1(PgCluster::superPassword),
                                      cluster->tcpServerName());
    constexpr int ListSize = 400;
    constexpr int Overlap = 200;
    QStringList outputs;
    QList<QProcess *> imports;
    for (const auto &[prefix, first] : {std::pair(u"north-"_s, 0), std::pair(u"south-"_s, 200)}) {
        QByteArray text = "Name,IP\n";
        for (int step = 0; step < ListSize; ++step) {
            const int i = first ? first + ListSize - 1 - step : step;
            text += u"%1%2,10.9.%3.%4\n"_s.arg(prefix).arg(i).arg(i / 200).arg(i % 200 + 1).toUtf8();
        }
        const QString file = folder.write(prefix + u".csv"_s, text);
        outputs.append(file + u".out"_s);
        imports.append(start({u"import"_s, u"--into"_s, location, u"--columns"_s, u"Name,IP"_s,
                              u"--map"_s, u"1=Name"_s, u"--option"_s, u"Overwrite=yes"_s, file},
                             outputs.constLast()));
    }
    QString both;
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(imports[i]->waitForFinished(120000));
        EXPECT_EQ(imports[i]->exitCode(), 0) << imports[i]->readAllStandardError().toStdString();
        both += QString::fromUtf8(MGImport8::Test::fileBytes(outputs[i]));
    }
    const int total = 2 * ListSize - Overlap;
    auto count = [&](const QString &pattern) {
        return int(both.count(QRegularExpression(pattern)));
    };
    EXPECT_EQ(count(u"\"Status\": \"Added "_s), total);
    EXPECT_EQ(count(u"\"Status\": \"Updated "_s), Overlap);
    EXPECT_EQ(count(u"\"Skip\": true"_s), 0);

    // Every address of either list, each under a name of a list that holds it.
    QString table;
    ASSERT_TRUE(cluster->psql(u"shared_inventory"_s,
                              u"SELECT count(*), count(DISTINCT ip), "
                              u"count(*) FILTER (WHERE name = CASE WHEN name LIKE 'north-%' "
                              u"THEN 'north-' ELSE 'south-' END || (split_part(ip, '.', 3)::int "
                              u"* 200 + split_part(ip, '.', 4)::int - 1)) FROM nodes"_s,
                              &table));
    EXPECT_EQ(table.trimmed(), u"%1|%1|%1"_s.arg(total));
}

} // namespace
