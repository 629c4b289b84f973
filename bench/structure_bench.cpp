// Structure maintenance on a generated PostgreSQL database of 500 tables x 12 columns with 2
// indexes each, 100 views and 50 functions, on a throwaway cluster, against the server's own
// tools in the same run:
// - verifying the up-to-date database (and the count of catalogue queries it sends) against
//   `pg_dump --schema-only` of the same database;
// - building it from scratch from the structure file against `psql -f` of the same DDL;
// - 10,000 seed rows into a table that holds 10,000 (half of the keys present) against `psql`
//   running the equivalent INSERT ... ON CONFLICT DO NOTHING.
#include "dbstructure/structuremaintenance.h"
#include "dbstructure/structurereporter.h"
#include "sqladmin/managementserver.h"

#include "pgcluster.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace MGImport8;
using namespace Qt::StringLiterals;

namespace {

constexpr int Tables = 500;
constexpr int ColumnsPerTable = 12;
constexpr int Views = 100;
constexpr int Functions = 50;
constexpr int SeedRows = 10000;

// Reports nowhere: the benchmark measures the work, not the host's handlers.
class SilentReporter : public DbStructure::StructureReporter
{
public:
    void trace(const QString &) override {}
    void altering(const QString &) override {}
    void progress(int) override {}
    void yield() override {}
    void setLastError(const QString &text) override { lastError = text; }
    void criticalMessage(const QString &, const QString &) override {}
    QString lastError;
};

// Counts the statements a run sends, catalogue reads included.
class CountingSession : public SqlAdmin::SqlSession
{
public:
    CountingSession(std::unique_ptr<SqlAdmin::SqlSession> inner, int &count)
        : m_inner(std::move(inner))
        , m_count(count)
    {}
    Result<SqlAdmin::Rows> query(const QString &statement, const QVariantList &values) override
    {
        ++m_count;
        return m_inner->query(statement, values);
    }
    Result<bool> execute(const QString &batch) override { return m_inner->execute(batch); }
    Result<bool> begin() override { return m_inner->begin(); }
    Result<bool> commit() override { return m_inner->commit(); }
    Result<bool> rollback() override { return m_inner->rollback(); }

private:
    std::unique_ptr<SqlAdmin::SqlSession> m_inner;
    int &m_count;
};

int g_queries = 0;

struct Fixture
{
    Test::PgCluster *cluster = nullptr;
    QTemporaryDir folder;
    QString structure;
    QString ddl;
    QString seedStructure;
    QString seedInsert;
    int nextDatabase = 0;

    static Fixture &get()
    {
        static Fixture fixture;
        return fixture;
    }

    Fixture()
    {
        cluster = Test::PgCluster::shared();
        if (!cluster)
            return;
        writeFiles();
    }

    QStringList psqlArguments(const QString &database) const
    {
        return {u"-X"_s, u"-q"_s,
                u"-v"_s, u"ON_ERROR_STOP=1"_s,
                u"-h"_s, cluster->socketFolder(),
                u"-p"_s, QString::number(cluster->port()),
                u"-U"_s, QString::fromLatin1(Test::PgCluster::superUser),
                u"-d"_s, database};
    }

    // Runs a server tool to completion; its wall time in seconds, negative on failure.
    double tool(const QString &program, const QStringList &arguments) const
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"PGPASSWORD"_s, QString::fromLatin1(Test::PgCluster::superPassword));
        process.setProcessEnvironment(environment);
        process.setStandardOutputFile(QProcess::nullDevice());
        QElapsedTimer timer;
        timer.start();
        process.start(program, arguments);
        if (!process.waitForFinished(600000) || process.exitCode() != 0)
            return -1;
        return timer.nsecsElapsed() / 1e9;
    }

    QString newDatabase()
    {
        const QString name = u"bench_"_s + QString::number(++nextDatabase);
        cluster->psql(u"postgres"_s, u"CREATE DATABASE "_s + name);
        return name;
    }

    void writeFiles()
    {
        QString xml = u"<?xml version=\"1.0\"?>\n<DatabaseStructure><Database><UDFs>\n"_s;
        QString sql;
        for (int f = 0; f < Functions; ++f) {
            const QString create = u"CREATE FUNCTION f_%1(p integer) RETURNS integer LANGUAGE "
                                   u"plpgsql AS $$ BEGIN RETURN p + %1; END $$"_s.arg(f);
            xml += u"<Function Name=\"f_%1\" CreateDate=\"2020-01-01\"><SQL><Function>%2"
                   u"</Function></SQL></Function>\n"_s.arg(f)
                       .arg(create.toHtmlEscaped());
            sql += create + u";\n"_s;
        }
        xml += u"</UDFs><Tables>\n"_s;
        for (int t = 0; t < Tables; ++t) {
            QStringList definitions{u"id integer NOT NULL"_s};
            QString columns = u"<Column Name=\"id\" DataType=\"integer\" Length=\"4\" "
                              u"AllowNulls=\"False\"/>"_s;
            for (int c = 1; c < ColumnsPerTable; ++c) {
                definitions.append(u"c%1 character varying(40)"_s.arg(c));
                columns += u"<Column Name=\"c%1\" DataType=\"character varying\" Length=\"40\" "
                           u"AllowNulls=\"True\"/>"_s.arg(c);
            }
            definitions.append(u"CONSTRAINT t_%1_pkey PRIMARY KEY (id)"_s.arg(t));
            const QString create = u"CREATE TABLE t_%1 ("_s.arg(t) + definitions.join(u", "_s)
                                   + u')';
            const QString index1 = u"CREATE INDEX t_%1_c1_idx ON t_%1 (c1)"_s.arg(t);
            const QString index2 = u"CREATE INDEX t_%1_c2_c3_idx ON t_%1 (c2, c3)"_s.arg(t);
            xml += u"<Table Name=\"t_%1\"><SQL><Table>%2</Table><PrimaryKey Name=\"t_%1_pkey\" "
                   u"Clustered=\"False\">ALTER TABLE t_%1 ADD CONSTRAINT t_%1_pkey PRIMARY KEY "
                   u"(id)<Columns><Column Name=\"id\"/></Columns></PrimaryKey></SQL><Columns>%3"
                   u"</Columns><Indexes><Index Name=\"t_%1_c1_idx\">%4<IndexedColumn "
                   u"Name=\"c1\"/></Index><Index Name=\"t_%1_c2_c3_idx\">%5<IndexedColumn "
                   u"Name=\"c2\"/><IndexedColumn Name=\"c3\"/></Index></Indexes></Table>\n"_s.arg(t)
                       .arg(create, columns, index1, index2);
            sql += create + u";\n"_s + index1 + u";\n"_s + index2 + u";\n"_s;
        }
        xml += u"</Tables><Views>\n"_s;
        for (int v = 0; v < Views; ++v) {
            const QString create = u"CREATE VIEW v_%1 AS SELECT id, c1 FROM t_%1"_s.arg(v);
            xml += u"<View Name=\"v_%1\" CreateDate=\"2020-01-01\"><SQL><View>%2</View></SQL>"
                   u"</View>\n"_s.arg(v)
                       .arg(create);
            sql += create + u";\n"_s;
        }
        xml += u"</Views></Database></DatabaseStructure>\n"_s;
        structure = write(u"structure.xml"_s, xml);
        ddl = write(u"structure.sql"_s, sql);

        // The seed table holds keys 5,001 to 15,000; the template brings 1 to 10,000.
        QString rows;
        QStringList values;
        for (int k = 1; k <= SeedRows; ++k) {
            rows += u"<row id=\"%1\" name=\"name %1\"/>"_s.arg(k);
            values.append(u"(%1, 'name %1')"_s.arg(k));
        }
        seedStructure = write(
            u"seed.xml"_s,
            u"<DatabaseStructure><Database><Tables><Table Name=\"seed\"><SQL><Table>CREATE TABLE "
            u"seed (id integer PRIMARY KEY, name varchar(40))</Table></SQL><Data KeyColumn=\"id\">"
            u"<Rows>"_s
                + rows + u"</Rows></Data></Table></Tables></Database></DatabaseStructure>"_s);
        seedInsert = write(u"seed.sql"_s, u"INSERT INTO seed (id, name) VALUES "_s
                                              + values.join(u",\n"_s)
                                              + u" ON CONFLICT DO NOTHING;\n"_s);
    }

    QString write(const QString &name, const QString &text) const
    {
        const QString path = folder.filePath(name);
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(text.toUtf8());
        return path;
    }
};

// A management connection to the cluster that counts its statements.
std::unique_ptr<SqlAdmin::ManagementServer> connectServer(Fixture &fixture)
{
    SqlAdmin::SessionFactory real = SqlAdmin::qtSessionFactory();
    auto server = std::make_unique<SqlAdmin::ManagementServer>(
        SqlAdmin::ServerKind::PostgreSql,
        [real](SqlAdmin::ServerKind kind, const SqlAdmin::LoginSettings &login)
            -> Result<std::unique_ptr<SqlAdmin::SqlSession>> {
            Result<std::unique_ptr<SqlAdmin::SqlSession>> opened = real(kind, login);
            if (!opened)
                return Error{opened.error()};
            return std::unique_ptr<SqlAdmin::SqlSession>(
                std::make_unique<CountingSession>(opened.take(), g_queries));
        });
    SqlAdmin::LoginSettings login;
    login.server = fixture.cluster->socketServerName();
    login.integrated = true;
    if (!server->connect(login))
        return nullptr;
    return server;
}

bool verify(SqlAdmin::ManagementServer &server, const QString &database, const QString &file,
            int *changes = nullptr)
{
    Result<SqlAdmin::ManagedDatabase *> target = server.database(database);
    if (!target)
        return false;
    SilentReporter reporter;
    DbStructure::StructureMaintenance maintenance(*target.value(), SqlAdmin::ServerKind::PostgreSql,
                                                  reporter);
    const bool done = maintenance.updateDatabaseStructure(file);
    if (changes)
        *changes = maintenance.changesRun();
    return done;
}

#define REQUIRE_CLUSTER(state, fixture)                                                            \
    Fixture &fixture = Fixture::get();                                                             \
    if (!fixture.cluster) {                                                                        \
        state.SkipWithError("PostgreSQL is not available");                                        \
        return;                                                                                    \
    }

// The database that the up-to-date benchmarks share, built once.
QString upToDate(Fixture &fixture, SqlAdmin::ManagementServer &server)
{
    static const QString name = [&] {
        const QString database = fixture.newDatabase();
        verify(server, database, fixture.structure);
        return database;
    }();
    return name;
}

void BM_VerifyUpToDate(benchmark::State &state)
{
    REQUIRE_CLUSTER(state, fixture);
    auto server = connectServer(fixture);
    const QString database = upToDate(fixture, *server);
    int changes = 0;
    int queries = 0;
    for (auto _ : state) {
        // A fresh connection each time, so no catalogue is cached between runs.
        server = connectServer(fixture);
        g_queries = 0;
        if (!verify(*server, database, fixture.structure, &changes))
            state.SkipWithError("verification failed");
        queries = g_queries;
    }
    state.counters["queries"] = queries;
    state.counters["changes"] = changes;
}

void BM_PgDumpSchemaOnly(benchmark::State &state)
{
    REQUIRE_CLUSTER(state, fixture);
    auto server = connectServer(fixture);
    const QString database = upToDate(fixture, *server);
    for (auto _ : state) {
        const double seconds = fixture.tool(u"pg_dump"_s,
                                            {u"--schema-only"_s, u"-h"_s,
                                             fixture.cluster->socketFolder(), u"-p"_s,
                                             QString::number(fixture.cluster->port()), u"-U"_s,
                                             QString::fromLatin1(Test::PgCluster::superUser),
                                             database});
        if (seconds < 0)
            state.SkipWithError("pg_dump failed");
        state.SetIterationTime(seconds);
    }
}

void BM_BuildFromScratch(benchmark::State &state)
{
    REQUIRE_CLUSTER(state, fixture);
    auto server = connectServer(fixture);
    int queries = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const QString database = fixture.newDatabase();
        g_queries = 0;
        state.ResumeTiming();
        if (!verify(*server, database, fixture.structure))
            state.SkipWithError("build failed");
        queries = g_queries;
    }
    state.counters["queries"] = queries;
}

void BM_PsqlBuildFromScratch(benchmark::State &state)
{
    REQUIRE_CLUSTER(state, fixture);
    for (auto _ : state) {
        state.PauseTiming();
        const QString database = fixture.newDatabase();
        state.ResumeTiming();
        if (fixture.tool(u"psql"_s,
                         fixture.psqlArguments(database) + QStringList{u"-f"_s, fixture.ddl})
            < 0)
            state.SkipWithError("psql failed");
    }
}

// A table of 10,000 rows with keys 5,001 to 15,000, fresh for each measurement.
QString seedTable(Fixture &fixture)
{
    const QString database = fixture.newDatabase();
    fixture.cluster->psql(database, u"CREATE TABLE seed (id integer PRIMARY KEY, name "
                                    u"varchar(40)); INSERT INTO seed SELECT k, 'name ' || k FROM "
                                    u"generate_series(5001, 15000) k"_s);
    return database;
}

void BM_SeedRows(benchmark::State &state)
{
    REQUIRE_CLUSTER(state, fixture);
    auto server = connectServer(fixture);
    for (auto _ : state) {
        state.PauseTiming();
        const QString database = seedTable(fixture);
        state.ResumeTiming();
        if (!verify(*server, database, fixture.seedStructure))
            state.SkipWithError("seed failed");
    }
}

void BM_PsqlInsertOnConflict(benchmark::State &state)
{
    REQUIRE_CLUSTER(state, fixture);
    for (auto _ : state) {
        state.PauseTiming();
        const QString database = seedTable(fixture);
        state.ResumeTiming();
        if (fixture.tool(u"psql"_s,
                         fixture.psqlArguments(database) + QStringList{u"-f"_s, fixture.seedInsert})
            < 0)
            state.SkipWithError("psql failed");
    }
}

} // namespace

BENCHMARK(BM_VerifyUpToDate)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_PgDumpSchemaOnly)->Unit(benchmark::kMillisecond)->Iterations(3)->UseManualTime();
BENCHMARK(BM_BuildFromScratch)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK(BM_PsqlBuildFromScratch)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK(BM_SeedRows)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_PsqlInsertOnConflict)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

BENCHMARK_MAIN();
