// Node Inventory's import into its SQLite store, the whole way, two ways a user runs it:
// - `mgimport8 import --columns Name,IP,Site,Vendor --into STORE FILE`, the command as typed, a
//   child process printing each row's outcome (to /dev/null), into a new store (best of 3);
// - Node Inventory's importer in this process: the headless wizard over the generated device file
//   (name, address, location and description mapped) handing every row to the importer, which
//   upserts it in one transaction.
// In the same run, on the same file:
// - `sqlite3 STORE ".import --csv FILE t"`, the tool a user would reach for (best of 3), into a new
//   table and into one keyed by the address as the store is;
// - the same wizard run to a host that only counts rows, which is the floor under any store.
// Counters: wall and processor seconds of each, and ours as a multiple of sqlite3's.
#include "benchsupport.h"
#include "textmethod.h"

#include "nodeinventory/nodeimporter.h"
#include "nodestore/nodestore.h"
#include "wizard/headlessview.h"
#include "wizard/wizardcontroller.h"

#include <MGImport8/engine.h>

#include <benchmark/benchmark.h>

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <sys/resource.h>

using namespace MGImport8;

namespace {

// Seconds of processor time: this process's, and its finished children's. On a shared machine
// the wall clock measures the other users as much as the program.
double processCpu()
{
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

double childrenCpu()
{
    rusage usage{};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    auto seconds = [](const timeval &t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct Seconds
{
    double wall = 1e9;
    double cpu = 1e9;
    void keepBest(double w, double c)
    {
        wall = std::min(wall, w);
        cpu = std::min(cpu, c);
    }
};

// The wizard walked to its import: the text method, the file, Name, Location and Description
// bound as a user would bind them, the rows chosen by their addresses.
bool walk(Engine &engine, const QString &path)
{
    HeadlessView view;
    view.setFileAnswer(path);
    view.setYieldInterval(100);
    WizardController wizard(engine, view);
    wizard.start();
    Bench::selectTextFileMethod(wizard);
    while (wizard.state().currentPanel != Panel::ImportPanel) {
        const Panel panel = wizard.state().currentPanel;
        if (panel == Panel::MapPanel) {
            const std::pair<int, const char *> bindings[] = {{0, "Name"},
                                                             {6, "Location"},
                                                             {7, "Description"}};
            for (const auto &[column, target] : bindings) {
                if (wizard.beforeEdit(0, column))
                    wizard.afterEdit(0, column, QString::fromLatin1(target));
            }
        }
        wizard.next();
        if (wizard.state().currentPanel == panel)
            return false;
    }
    return true;
}

// `keyed`: into a table created first with the address as its primary key, as the store keys it
// (duplicate addresses are refused and reported, not upserted); otherwise a new table without key.
Seconds sqliteSeconds(const QString &path, const QString &store, bool keyed)
{
    Seconds best;
    for (int run = 0; run < 3; ++run) {
        QFile::remove(store);
        if (keyed) {
            QProcess create;
            create.start(QStringLiteral("sqlite3"),
                         {store, QStringLiteral("CREATE TABLE t (Name TEXT, IP TEXT PRIMARY KEY, "
                                                "Site TEXT, Vendor TEXT, Model TEXT, Serial TEXT, "
                                                "Location TEXT, Description TEXT)")});
            if (!create.waitForFinished(-1) || create.exitCode() != 0)
                return {-1, -1};
        }
        const double cpuBefore = childrenCpu();
        QElapsedTimer timer;
        timer.start();
        QProcess sqlite;
        // The keyed import reports every refused duplicate.
        sqlite.setStandardOutputFile(QProcess::nullDevice());
        sqlite.setStandardErrorFile(QProcess::nullDevice());
        sqlite.start(QStringLiteral("sqlite3"),
                     {store, QStringLiteral(".import --csv %1 %2 t")
                                 .arg(keyed ? QStringLiteral("--skip 1") : QString(), path)});
        if (!sqlite.waitForFinished(-1) || (!keyed && sqlite.exitCode() != 0))
            return {-1, -1};
        best.keepBest(timer.nsecsElapsed() / 1e9, childrenCpu() - cpuBefore);
    }
    QFile::remove(store);
    return best;
}

// Both `sqlite3 .import` runs on the file. The generated file may be shared with other benchmark
// runs; the stores are this run's own.
struct Peers
{
    explicit Peers(const QString &path)
        : store(folder.filePath(QStringLiteral("nodes.sqlite")))
        , sqlite(sqliteSeconds(path, store, false))
        , keyed(sqliteSeconds(path, store, true))
    {}

    const QTemporaryDir folder;
    const QString store;
    const Seconds sqlite;
    const Seconds keyed;
};

// Ours beside both `sqlite3 .import` runs: wall and processor seconds and the ratios.
void setCounters(benchmark::State &state, const Seconds &ours, const Peers &peers)
{
    state.counters["ours_s"] = ours.wall;
    state.counters["ours_cpu_s"] = ours.cpu;
    state.counters["sqlite3_s"] = peers.sqlite.wall;
    state.counters["sqlite3_cpu_s"] = peers.sqlite.cpu;
    state.counters["x_sqlite3"] = ours.wall / peers.sqlite.wall;
    state.counters["x_sqlite3_cpu"] = ours.cpu / peers.sqlite.cpu;
    state.counters["sqlite3_keyed_s"] = peers.keyed.wall;
    state.counters["sqlite3_keyed_cpu_s"] = peers.keyed.cpu;
    state.counters["x_keyed"] = ours.wall / peers.keyed.wall;
    state.counters["x_keyed_cpu"] = ours.cpu / peers.keyed.cpu;
}

void BM_IntoCommand(benchmark::State &state)
{
    ::setenv("MGIMPORT8_METHODS_PATH", MGIMPORT8_METHOD_FILES_DIR, 1);
    const QString path = Bench::deviceFile(state.range(0));
    const Peers peers(path);
    const QString &store = peers.store;
    if (peers.sqlite.wall < 0) {
        state.SkipWithError("sqlite3 is not installed or failed");
        return;
    }
    Seconds ours;
    for (auto _ : state) {
        QFile::remove(store);
        const double cpuBefore = childrenCpu();
        QElapsedTimer timer;
        timer.start();
        QProcess tool;
        tool.setStandardOutputFile(QProcess::nullDevice());
        tool.setStandardErrorFile(QProcess::nullDevice());
        tool.start(QStringLiteral(MGIMPORT8_TOOL),
                   {QStringLiteral("import"), QStringLiteral("--columns"),
                    QStringLiteral("Name,IP,Site,Vendor"), QStringLiteral("--into"), store, path});
        if (!tool.waitForFinished(-1) || tool.exitStatus() != QProcess::NormalExit
            || tool.exitCode() != 0) {
            state.SkipWithError("mgimport8 import --into failed");
            return;
        }
        const double seconds = timer.nsecsElapsed() / 1e9;
        ours.keepBest(seconds, childrenCpu() - cpuBefore);
        state.SetIterationTime(seconds);
    }
    QFile::remove(store);
    setCounters(state, ours, peers);
}

void BM_NodeStoreImport(benchmark::State &state)
{
    ::setenv("MGIMPORT8_METHODS_PATH", MGIMPORT8_METHOD_FILES_DIR, 1);
    const QString path = Bench::deviceFile(state.range(0));
    const Peers peers(path);
    const QString &store = peers.store;
    if (peers.sqlite.wall < 0) {
        state.SkipWithError("sqlite3 is not installed or failed");
        return;
    }

    Seconds counting;
    {
        Engine engine;
        engine.setColumns(QString::fromUtf16(NodeInventory::NodeImporter::Columns));
        engine.setRequiredColumns(QStringLiteral("IP"));
        engine.setIPColumn(QStringLiteral("IP"));
        QObject::connect(&engine, &Engine::NewRow, [](ImportRow *, QString &, bool &) {});
        for (int run = 0; run < 2; ++run) {
            const double cpuBefore = processCpu();
            QElapsedTimer timer;
            timer.start();
            walk(engine, path);
            counting.keepBest(timer.nsecsElapsed() / 1e9, processCpu() - cpuBefore);
        }
    }

    Seconds ours;
    int rows = 0;
    for (auto _ : state) {
        QFile::remove(store);
        NodeInventory::NodeStore nodes;
        if (!nodes.open(store)) {
            state.SkipWithError("cannot open the store");
            return;
        }
        const double cpuBefore = processCpu();
        QElapsedTimer timer;
        timer.start();
        NodeInventory::NodeImporter importer(nodes);
        importer.begin();
        const bool walked = walk(importer.engine(), path);
        const NodeInventory::ImportSummary summary = importer.finish();
        const double seconds = timer.nsecsElapsed() / 1e9;
        ours.keepBest(seconds, processCpu() - cpuBefore);
        if (!walked || !summary.completed) {
            state.SkipWithError("the import did not complete");
            return;
        }
        rows = summary.added + summary.updated;
        state.SetIterationTime(seconds);
    }
    QFile::remove(store);
    state.counters["rows"] = rows;
    state.counters["counting_s"] = counting.wall;
    state.counters["counting_cpu_s"] = counting.cpu;
    setCounters(state, ours, peers);
}

} // namespace

// Three runs of each, the best kept: the machine's other work weighs on single runs.
BENCHMARK(BM_IntoCommand)
    ->ArgName("lines")
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(3);
BENCHMARK(BM_NodeStoreImport)
    ->ArgName("lines")
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(3);

BENCHMARK_MAIN();
