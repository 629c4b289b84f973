// The paths a user runs on a large device list, beside the tools the user would pick instead, all
// measured in the same run on the same generated file:
// - `mgimport8 import` writing JSON Lines to /dev/null, against DuckDB's read_csv into a table
//   (one thread, through its Node.js package when it is installed), Python's csv module and
//   sqlite3 importing into memory (every field read as text), each a child process: wall time
//   and peak resident size;
// - the wizard window (offscreen) walked through the text method to its import panel by a user
//   who clicks by object name, against the command line on the same file: the import run's time,
//   the whole walk's time, how long the event loop went without a turn while rows were imported
//   (a Cancel click waits at most that long), how often the progress bar moved, and the peak
//   memory of the walk;
// - the same window with Cancel clicked halfway: how many rows still reached the host after it.
#include "benchsupport.h"

#include <MGImport8/MGImport8.h>

#include <benchmark/benchmark.h>

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QListWidget>
#include <QProgressBar>
#include <QStackedWidget>
#include <QStandardPaths>
#include <QTest>
#include <QTimer>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <functional>
#include <string>
#include <vector>

extern char **environ;

using namespace MGImport8;
using namespace Qt::StringLiterals;

namespace {

const char *const Columns = "Name,IP,Site,Vendor,Model,Serial,Location,Description";
/// How often the scripted user looks at the screen, and the resolution of the gap measurement.
constexpr int LookIntervalMs = 2;
constexpr int CancelAtPercent = 50;

struct ChildRun
{
    double seconds = -1;
    std::int64_t peakBytes = -1;
    int status = -1;
};

// A program run to its end with standard output (unless `output` names a file for it) and error
// thrown away; its wall time and its own peak resident size (the kernel's account, taken when it
// is reaped).
ChildRun runChild(const std::vector<std::string> &arguments, const char *output = "/dev/null")
{
    std::vector<char *> argv;
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, output, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    ChildRun run;
    QElapsedTimer timer;
    timer.start();
    pid_t pid = 0;
    if (posix_spawnp(&pid, argv.front(), &actions, nullptr, argv.data(), environ) == 0) {
        int status = 0;
        rusage usage{};
        if (wait4(pid, &status, 0, &usage) == pid) {
            run.seconds = double(timer.nsecsElapsed()) / 1e9;
            run.peakBytes = std::int64_t(usage.ru_maxrss) * 1024;
            run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
    }
    posix_spawn_file_actions_destroy(&actions);
    return run;
}

// The import as a new user types it: the IP column found by content, the rest of the row
// collapsed into "<ignore>", as the wizard window does without mapping edits.
std::vector<std::string> commandLine(const QString &path)
{
    return {MGIMPORT8_TOOL, "import", "--columns", Columns, path.toStdString()};
}

// Every field bound to a column of its own: eight values a row.
std::vector<std::string> commandLineAllMapped(const QString &path)
{
    return {MGIMPORT8_TOOL,    "import",
            "--columns",       Columns,
            "--map",           "1=Name",
            "--map",           "Site=Site",
            "--map",           "Vendor=Vendor",
            "--map",           "Model=Model",
            "--map",           "Serial=Serial",
            "--map",           "Location=Location",
            "--map",           "Description=Description",
            path.toStdString()};
}

std::vector<std::string> pythonCsv(const QString &path)
{
    return {"python3", "-c",
            "import csv, sys\n"
            "with open(sys.argv[1], newline='', encoding='utf-8') as f:\n"
            "    rows = sum(1 for _ in csv.reader(f))\n",
            path.toStdString()};
}

std::vector<std::string> sqliteImport(const QString &path)
{
    return {"sqlite3", ":memory:", ".import --csv " + path.toStdString() + " t",
            "SELECT count(*) FROM t;"};
}

// DuckDB is not packaged for this system; its Node.js package is the peer, found where
// bench/peers/duckdb_read_csv.mjs looks for it. Empty when it can run, else why not.
QString duckdbMissing()
{
    if (QStandardPaths::findExecutable(u"node"_s).isEmpty())
        return u"node is not on the PATH"_s;
    const QByteArray named = qgetenv("MGIMPORT8_DUCKDB_NODE_MODULES");
    const QString modules = named.isEmpty() ? u"/tmp/duckpeer/node_modules"_s
                                            : QString::fromLocal8Bit(named);
    if (!QFileInfo::exists(modules + u"/@duckdb/node-api/package.json"_s))
        return u"no @duckdb/node-api under "_s + modules
               + u" (npm install --prefix /tmp/duckpeer @duckdb/node-api, or name a node_modules"
                 " folder in MGIMPORT8_DUCKDB_NODE_MODULES)"_s;
    return {};
}

std::vector<std::string> duckdbReadCsv(const QString &path)
{
    return {"node", MGIMPORT8_DUCKDB_PEER, path.toStdString()};
}

// The statement's own time as the peer prints it ("N rows in S s"), without Node's start.
double duckdbStatementSeconds(const QString &printed)
{
    QFile file(printed);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const QList<QByteArray> words = file.readAll().trimmed().split(' ');
    bool number = false;
    const double seconds = words.size() >= 2 ? words.at(words.size() - 2).toDouble(&number) : -1;
    return number ? seconds : -1;
}

void BM_CommandLine(benchmark::State &state)
{
    const QString path = Bench::deviceFile(state.range(0));
    const double size = double(Bench::fileSize(path));
    const QString noDuckdb = duckdbMissing();
    if (!noDuckdb.isEmpty()) {
        std::fprintf(stderr, "DuckDB peer skipped: %s\n", qPrintable(noDuckdb));
        state.SetLabel("no DuckDB peer");
    }
    const QString duckdbOutput = path + u".duckdb-peer.txt"_s;
    ChildRun ours, mapped, python, sqlite, duckdb;
    double duckdbStatement = -1;
    for (auto _ : state) {
        ours = runChild(commandLine(path));
        mapped = runChild(commandLineAllMapped(path));
        python = runChild(pythonCsv(path));
        sqlite = runChild(sqliteImport(path));
        if (noDuckdb.isEmpty()) {
            duckdb = runChild(duckdbReadCsv(path), qPrintable(duckdbOutput));
            duckdbStatement = duckdbStatementSeconds(duckdbOutput);
            QFile::remove(duckdbOutput);
        }
        if (ours.status != 0 || mapped.status != 0 || python.status != 0 || sqlite.status != 0
            || (noDuckdb.isEmpty() && duckdb.status != 0))
            state.SkipWithError("a program failed");
        state.SetIterationTime(ours.seconds);
    }
    if (noDuckdb.isEmpty()) {
        state.counters["duckdb_s"] = duckdb.seconds;
        state.counters["duckdb_stmt_s"] = duckdbStatement;
        state.counters["x_duckdb"] = ours.seconds / duckdb.seconds;
        state.counters["x_duckdb_stmt"] = ours.seconds / duckdbStatement;
        state.counters["mapped8_x_duckdb"] = mapped.seconds / duckdb.seconds;
        state.counters["duckdb_peak_x_file"] = double(duckdb.peakBytes) / size;
    }
    state.counters["mgimport8_s"] = ours.seconds;
    state.counters["mapped8_s"] = mapped.seconds;
    state.counters["python_csv_s"] = python.seconds;
    state.counters["sqlite3_s"] = sqlite.seconds;
    state.counters["x_python_csv"] = ours.seconds / python.seconds;
    state.counters["mapped8_x_python_csv"] = mapped.seconds / python.seconds;
    state.counters["x_sqlite3"] = ours.seconds / sqlite.seconds;
    state.counters["peak_x_file"] = double(ours.peakBytes) / size;
    state.counters["mapped8_peak_x_file"] = double(mapped.peakBytes) / size;
    state.counters["python_peak_x_file"] = double(python.peakBytes) / size;
    state.counters["sqlite3_peak_x_file"] = double(sqlite.peakBytes) / size;
}

qint64 threadCpuNs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return qint64(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

QString currentPanel(QWidget &form)
{
    auto *pages = form.findChild<QStackedWidget *>(u"Wizard"_s);
    return pages && pages->currentWidget() ? pages->currentWidget()->objectName() : QString();
}

void click(QWidget &form, const QString &name)
{
    if (auto *button = form.findChild<QAbstractButton *>(name))
        QTest::mouseClick(button, Qt::LeftButton);
}

QWidget *wizardWindow()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        if (window->objectName() == u"WizardForm"_s && window->isVisible())
            return window;
    }
    return nullptr;
}

// A user in front of the wizard window: answers the file dialog, and on each panel in turn clicks
// what the text method needs, looking every few milliseconds. While rows are imported it notes the
// longest time between two looks, since a click waits that long at most.
class WindowUser : public QObject
{
public:
    WindowUser(QString path, bool cancelHalfway)
        : m_path(std::move(path))
        , m_cancelHalfway(cancelHalfway)
    {
        m_look.setInterval(LookIntervalMs);
        connect(&m_look, &QTimer::timeout, this, [this] { look(); });
        m_look.start();
        m_clock.start();
    }

    bool importing = false;
    qint64 longestGapNs = 0;
    /// The same gap in this thread's processor time: the program's own share of it, apart from
    /// the time the other programs on a shared machine held the processor.
    qint64 longestGapCpuNs = 0;
    int progressMoves = 0;
    qint64 cancelClickedNs = -1;
    qint64 walkStartNs = -1;

    qint64 now() const { return m_clock.nsecsElapsed(); }

private:
    void look()
    {
        const qint64 at = now();
        const qint64 cpu = threadCpuNs();
        if (importing && m_lastLook >= 0) {
            longestGapNs = std::max(longestGapNs, at - m_lastLook);
            longestGapCpuNs = std::max(longestGapCpuNs, cpu - m_lastLookCpu);
        }
        m_lastLook = at;
        m_lastLookCpu = cpu;
        if (auto *dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget())) {
            dialog->selectFile(m_path);
            static_cast<QDialog *>(dialog)->accept();
            return;
        }
        QWidget *form = wizardWindow();
        if (!form || QApplication::activeModalWidget() != form)
            return;
        if (!m_watching) {
            if (auto *bar = form->findChild<QProgressBar *>(u"ImportProgress"_s)) {
                connect(bar, &QProgressBar::valueChanged, this, [this] { ++progressMoves; });
                m_watching = true;
            }
        }
        if (importing) {
            auto *bar = form->findChild<QProgressBar *>(u"ImportProgress"_s);
            if (m_cancelHalfway && cancelClickedNs < 0 && bar && bar->value() >= CancelAtPercent) {
                cancelClickedNs = now();
                click(*form, u"cmdCancel"_s);
            }
            return;
        }
        if (m_acting)
            return;
        // The step runs from a timer of its own: a click that opens a dialog or runs the import
        // keeps its slot busy, and Qt does not fire a timer again while its slot runs.
        m_acting = true;
        QTimer::singleShot(0, this, [this] {
            if (QWidget *window = wizardWindow())
                act(*window);
            m_acting = false;
        });
    }

    void act(QWidget &window)
    {
        QWidget *form = &window;
        const QString panel = currentPanel(*form);
        if (panel == "MethodPanel"_L1) {
            auto *list = form->findChild<QListWidget *>(u"ImportTypeList"_s);
            const QList<QListWidgetItem *> found = list->findItems(u"Text File"_s, Qt::MatchExactly);
            if (found.isEmpty())
                return;
            list->scrollToItem(found.constFirst());
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                              list->visualItemRect(found.constFirst()).center());
            click(*form, u"cmdNext"_s);
        } else if (panel == "FilePanel"_L1) {
            walkStartNs = now();
            click(*form, u"cmdNext"_s);
        } else if (panel == "DelimiterPanel"_L1 || panel == "MapPanel"_L1
                   || panel == "PreviewPanel"_L1) {
            click(*form, u"cmdNext"_s);
        } else if (panel == "ImportPanel"_L1) {
            click(*form, u"cmdCancel"_s); // "Done"
        }
    }

    QString m_path;
    bool m_cancelHalfway;
    bool m_watching = false;
    bool m_acting = false;
    QTimer m_look;
    QElapsedTimer m_clock;
    qint64 m_lastLook = -1;
    qint64 m_lastLookCpu = 0;
};

struct WindowRun
{
    double importSeconds = 0;
    double walkSeconds = 0;
    double longestGapMs = 0;
    double longestGapCpuMs = 0;
    int progressMoves = 0;
    qint64 rows = 0;
    qint64 rowsAfterCancel = 0;
    std::int64_t peakBytes = -1;
};

WindowRun runWindow(const QString &path, bool cancelHalfway, bool statusPerRow = false)
{
    Engine engine;
    engine.setColumns(QString::fromLatin1(Columns));
    engine.setRequiredColumns(u"IP"_s);
    engine.setIPColumn(u"IP"_s);
    QWidget host;
    host.resize(800, 600);
    host.show();

    WindowRun run;
    WindowUser user(path, cancelHalfway);
    qint64 firstRowNs = -1;
    qint64 endNs = -1;
    QObject::connect(&engine, &Engine::NewRow, [&](ImportRow *row, QString &status, bool &) {
        // A host like the demo host reports on every row, each text different.
        if (statusPerRow)
            status = u"Added "_s + row->Item(u"IP"_s)->Data().toString();
        if (firstRowNs < 0) {
            firstRowNs = user.now();
            user.importing = true;
        }
        ++run.rows;
        if (user.cancelClickedNs >= 0)
            ++run.rowsAfterCancel;
        endNs = user.now();
    });
    QObject::connect(&engine, &Engine::ImportComplete, [&] {
        endNs = user.now();
        user.importing = false;
    });

    const Bench::PeakMemory memory;
    engine.StartWizard(&host);
    run.peakBytes = memory.bytes();
    run.importSeconds = double(endNs - firstRowNs) / 1e9;
    run.walkSeconds = double(endNs - user.walkStartNs) / 1e9;
    run.longestGapMs = double(user.longestGapNs) / 1e6;
    run.longestGapCpuMs = double(user.longestGapCpuNs) / 1e6;
    run.progressMoves = user.progressMoves;
    return run;
}

void BM_WizardWindow(benchmark::State &state)
{
    ::setenv("MGIMPORT8_METHODS_PATH", MGIMPORT8_METHOD_FILES_DIR, 1);
    const QString path = Bench::deviceFile(state.range(0));
    const double size = double(Bench::fileSize(path));
    WindowRun window;
    ChildRun tool;
    for (auto _ : state) {
        window = runWindow(path, false);
        tool = runChild(commandLine(path));
        if (window.rows != state.range(0) - 1 || tool.status != 0)
            state.SkipWithError("the import did not deliver every row");
        state.SetIterationTime(window.importSeconds);
    }
    state.counters["rows"] = double(window.rows);
    state.counters["import_s"] = window.importSeconds;
    state.counters["walk_s"] = window.walkSeconds;
    state.counters["mgimport8_s"] = tool.seconds;
    state.counters["import_x_cli"] = window.importSeconds / tool.seconds;
    state.counters["walk_x_cli"] = window.walkSeconds / tool.seconds;
    state.counters["longest_gap_ms"] = window.longestGapMs;
    state.counters["longest_gap_cpu_ms"] = window.longestGapCpuMs;
    state.counters["progress_moves"] = window.progressMoves;
    state.counters["peak_x_file"] = double(window.peakBytes) / size;
}

// The same walk with a host that sets a status text on every row.
void BM_WizardWindowStatus(benchmark::State &state)
{
    ::setenv("MGIMPORT8_METHODS_PATH", MGIMPORT8_METHOD_FILES_DIR, 1);
    const QString path = Bench::deviceFile(state.range(0));
    WindowRun window;
    for (auto _ : state) {
        window = runWindow(path, false, true);
        if (window.rows != state.range(0) - 1)
            state.SkipWithError("the import did not deliver every row");
        state.SetIterationTime(window.importSeconds);
    }
    state.counters["import_s"] = window.importSeconds;
    state.counters["longest_gap_ms"] = window.longestGapMs;
    state.counters["longest_gap_cpu_ms"] = window.longestGapCpuMs;
}

void BM_WizardWindowCancel(benchmark::State &state)
{
    ::setenv("MGIMPORT8_METHODS_PATH", MGIMPORT8_METHOD_FILES_DIR, 1);
    const QString path = Bench::deviceFile(state.range(0));
    WindowRun window;
    for (auto _ : state) {
        window = runWindow(path, true);
        state.SetIterationTime(window.importSeconds);
    }
    state.counters["rows"] = double(window.rows);
    state.counters["rows_after_cancel"] = double(window.rowsAfterCancel);
    state.counters["longest_gap_ms"] = window.longestGapMs;
    state.counters["longest_gap_cpu_ms"] = window.longestGapCpuMs;
}

} // namespace

// Every path is timed by hand, once per size: a run takes seconds and repeats would only heat
// the page cache.
static void onePassPerSize(benchmark::internal::Benchmark *benchmark, bool tenMillion)
{
    benchmark->ArgName("lines")->Arg(1'000'000);
    if (tenMillion)
        benchmark->Arg(10'000'000);
    benchmark->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1);
}

BENCHMARK(BM_CommandLine)->Apply([](auto *b) { onePassPerSize(b, true); });
BENCHMARK(BM_WizardWindow)->Apply([](auto *b) { onePassPerSize(b, true); });
BENCHMARK(BM_WizardWindowStatus)->Apply([](auto *b) { onePassPerSize(b, false); });
BENCHMARK(BM_WizardWindowCancel)->Apply([](auto *b) { onePassPerSize(b, false); });

int main(int argc, char **argv)
{
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
