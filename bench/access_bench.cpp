// The Access reader on the largest table of the shared databases (MDB Tools cannot write tables,
// so no larger one can be generated): a table read with the record limit, the same table through
// a SELECT statement without it, and `mdb-export` writing the same table as CSV, measured in the
// same run. Set MGIMPORT8_CORPUS_DIR when the shared folder is not beside the project.
#include "benchsupport.h"

#include "wizard/headlessview.h"
#include "wizard/importgrid.h"
#include "wizard/sources/accesssourcereader.h"

#include <MGImport8/importtype.h>

#include <QElapsedTimer>
#include <QFile>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

using namespace MGImport8;
using namespace Qt::StringLiterals;

extern char **environ;

namespace {

const char *const Tables[] = {"Order Details", "Orders"};

QString databasePath()
{
    const QString dir = qEnvironmentVariable("MGIMPORT8_CORPUS_DIR",
                                             QString::fromUtf8(MGIMPORT8_DEFAULT_CORPUS_DIR));
    return dir % u"/access/mdbtestdata/nwind.mdb"_s;
}

// One `mdb-export` of the table to /dev/null: its wall time in seconds, negative on failure.
double mdbExport(const char *table)
{
    const QByteArray path = QFile::encodeName(databasePath());
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    char *argv[] = {const_cast<char *>("mdb-export"), const_cast<char *>(path.constData()),
                    const_cast<char *>(table), nullptr};
    QElapsedTimer timer;
    timer.start();
    pid_t pid = 0;
    double seconds = -1;
    if (posix_spawnp(&pid, "mdb-export", &actions, nullptr, argv, environ) == 0) {
        int status = 0;
        if (waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0)
            seconds = timer.nsecsElapsed() / 1e9;
    }
    posix_spawn_file_actions_destroy(&actions);
    return seconds;
}

double bestMdbExportSeconds(const char *table)
{
    constexpr int Runs = 3;
    double best = -1;
    for (int i = 0; i < Runs; ++i) {
        const double seconds = mdbExport(table);
        if (seconds > 0 && (best < 0 || seconds < best))
            best = seconds;
    }
    return best;
}

// Reads the table text as the table panel does, into a fresh grid each time.
void readInto(benchmark::State &state, const QString &tableText, const char *table)
{
    if (!QFile::exists(databasePath())) {
        state.SkipWithError("the shared Access databases are not present");
        return;
    }
    HeadlessView view;
    AccessSourceReader reader(view);
    ImportType method;
    method.setConnectionString(u"Provider=Microsoft.Jet.OLEDB.4.0;Data Source="_s % databasePath());
    const double baseline = bestMdbExportSeconds(table);
    double total = 0;
    std::int64_t peak = -1;
    qsizetype rows = 0;
    for (auto _ : state) {
        ImportGrid grid;
        const Bench::PeakMemory memory;
        QElapsedTimer timer;
        timer.start();
        if (!reader.readTable(method, tableText, grid)) {
            state.SkipWithError("the table could not be read");
            return;
        }
        total += timer.nsecsElapsed() / 1e9;
        peak = std::max(peak, memory.bytes());
        rows = grid.rowCount() - 1;
    }
    state.counters["records"] = double(rows);
    state.counters["peak_MB"] = double(peak) / 1e6;
    if (baseline > 0)
        state.counters["x_mdb_export"] = total / double(state.iterations()) / baseline;
}

void BM_AccessTable(benchmark::State &state)
{
    const char *table = Tables[state.range(0)];
    readInto(state, QString::fromUtf8(table), table);
}

void BM_AccessQuery(benchmark::State &state)
{
    const char *table = Tables[state.range(0)];
    readInto(state, u"SELECT * FROM ["_s % QString::fromUtf8(table) % u"]"_s, table);
}

// The child's peak resident size is not reported: a child spawned with a shared address space
// inherits this process's high-water mark. BENCHMARKS.md measures it with /usr/bin/time instead.
void BM_MdbExport(benchmark::State &state)
{
    const char *table = Tables[state.range(0)];
    for (auto _ : state) {
        if (mdbExport(table) < 0) {
            state.SkipWithError("mdb-export failed or is not installed");
            return;
        }
    }
}

} // namespace

BENCHMARK(BM_AccessTable)->DenseRange(0, 1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_AccessQuery)->DenseRange(0, 1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MdbExport)->DenseRange(0, 1)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
