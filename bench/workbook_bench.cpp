// Reading one worksheet of a 100,000-row by 10-column workbook into the grid, in each format,
// against converters measured in the same run on the same file: `ssconvert` (all formats) and
// `xlsx2csv` (.xlsx) writing the sheet as CSV. The .xlsx is written with libxlsxwriter; the .xls
// and .ods are converted from it with `ssconvert` (the .xls keeps the format's 65,536 rows).
// Counters: seconds per load, each baseline's seconds, our time over the fastest baseline's, and
// peak memory (ours: rise of this process's high-water mark; baselines: the child's maximum
// resident size).
#include "benchsupport.h"

#include "wizard/importgrid.h"
#include "wizard/workbook/workbookreader.h"

#include <benchmark/benchmark.h>
#include <xlsxwriter.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace MGImport8;

namespace {

constexpr int Rows = 100000;
constexpr int BaselineRuns = 2;
const char *const Formats[] = {"xlsx", "xls", "ods"};

QString workbookPath(const char *suffix)
{
    return QDir::tempPath() + QStringLiteral("/mgimport8-bench-workbook.") + QLatin1String(suffix);
}

// A header and device rows: text, an IP address, repeated text, numbers, a date and a boolean.
void writeXlsx(const QString &path)
{
    lxw_workbook_options options = {};
    options.constant_memory = 1;
    lxw_workbook *book = workbook_new_opt(QFile::encodeName(path).constData(), &options);
    lxw_worksheet *sheet = workbook_add_worksheet(book, "Devices");
    lxw_format *date = workbook_add_format(book);
    format_set_num_format(date, "yyyy-mm-dd");
    const char *headers[] = {"Name",   "IP",    "Site", "Vendor",    "Model",
                             "Serial", "Ports", "Load", "Installed", "Active"};
    for (int column = 0; column < 10; ++column)
        worksheet_write_string(sheet, 0, lxw_col_t(column), headers[column], nullptr);
    const char *sites[] = {"London", "Paris", "Berlin", "Madrid", "Rome"};
    const char *vendors[] = {"Acme", "Globex", "Initech"};
    char text[64];
    for (int row = 1; row <= Rows; ++row) {
        const lxw_row_t r = lxw_row_t(row);
        std::snprintf(text, sizeof text, "device-%06d", row);
        worksheet_write_string(sheet, r, 0, text, nullptr);
        std::snprintf(text, sizeof text, "10.%d.%d.%d", row >> 16, (row >> 8) & 255, row & 255);
        worksheet_write_string(sheet, r, 1, text, nullptr);
        worksheet_write_string(sheet, r, 2, sites[row % 5], nullptr);
        worksheet_write_string(sheet, r, 3, vendors[row % 3], nullptr);
        std::snprintf(text, sizeof text, "M-%d", row % 40);
        worksheet_write_string(sheet, r, 4, text, nullptr);
        worksheet_write_number(sheet, r, 5, 1000000.0 + row, nullptr);
        worksheet_write_number(sheet, r, 6, 8 << (row % 3), nullptr);
        worksheet_write_number(sheet, r, 7, (row % 1000) / 7.0, nullptr);
        worksheet_write_number(sheet, r, 8, 40000 + row % 5000, date);
        worksheet_write_boolean(sheet, r, 9, row % 2, nullptr);
    }
    if (workbook_close(book) != LXW_NO_ERROR)
        qFatal("cannot write %s", qPrintable(path));
}

struct RunResult
{
    double seconds = -1;    // wall
    double cpuSeconds = -1; // user and system
    double peakMB = -1;
};

double cpuSecondsOf(const struct rusage &usage)
{
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
           + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// This process and the children it has waited for.
double processCpuSeconds()
{
    struct rusage self = {};
    struct rusage children = {};
    getrusage(RUSAGE_SELF, &self);
    getrusage(RUSAGE_CHILDREN, &children);
    return cpuSecondsOf(self) + cpuSecondsOf(children);
}

// Runs a program with its output thrown away; its wall time and maximum resident size.
RunResult runProgram(const std::vector<std::string> &arguments)
{
    std::vector<char *> argv;
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    QElapsedTimer timer;
    timer.start();
    const pid_t child = fork();
    if (child == 0) {
        std::freopen("/dev/null", "w", stdout);
        std::freopen("/dev/null", "w", stderr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    struct rusage usage = {};
    if (child < 0 || wait4(child, &status, 0, &usage) < 0 || !WIFEXITED(status)
        || WEXITSTATUS(status) != 0)
        return {};
    return {timer.nsecsElapsed() / 1e9, cpuSecondsOf(usage), double(usage.ru_maxrss) * 1024 / 1e6};
}

RunResult bestOf(const std::vector<std::string> &arguments)
{
    RunResult best;
    for (int run = 0; run < BaselineRuns; ++run) {
        const RunResult result = runProgram(arguments);
        if (result.seconds >= 0 && (best.seconds < 0 || result.cpuSeconds < best.cpuSeconds))
            best = result;
    }
    return best;
}

void prepareWorkbooks()
{
    static bool done = false;
    if (done)
        return;
    done = true;
    const QString xlsx = workbookPath("xlsx");
    if (!QFileInfo::exists(xlsx))
        writeXlsx(xlsx);
    for (const char *suffix : {"xls", "ods"}) {
        const QString target = workbookPath(suffix);
        if (QFileInfo::exists(target))
            continue;
        const std::string exporter = std::string(suffix) == "xls" ? "Gnumeric_Excel:excel_biff8"
                                                                  : "Gnumeric_OpenCalc:odf";
        if (runProgram({"ssconvert", "-T", exporter, xlsx.toStdString(), target.toStdString()}).seconds
            < 0)
            qFatal("ssconvert could not write %s (is gnumeric installed?)", qPrintable(target));
    }
}

void BM_WorkbookLoad(benchmark::State &state)
{
    prepareWorkbooks();
    const char *suffix = Formats[state.range(0)];
    const QString path = workbookPath(suffix);
    const std::string csv = QDir::tempPath().toStdString() + "/mgimport8-bench-workbook.csv";

    std::int64_t peak = 0;
    qsizetype rows = 0;
    {
        const Bench::PeakMemory memory;
        ImportGrid grid;
        const SheetLoad load = loadWorkbookSheet(path, 0);
        if (load.error)
            qFatal("%s", qPrintable(load.error->description));
        grid.setTable(load.table);
        rows = grid.rowCount();
        peak = memory.bytes();
    }
    double seconds = 0;
    const double cpuBefore = processCpuSeconds();
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        ImportGrid grid;
        grid.setTable(loadWorkbookSheet(path, 0).table);
        benchmark::DoNotOptimize(grid.rowCount());
        const double elapsed = timer.nsecsElapsed() / 1e9;
        state.SetIterationTime(elapsed);
        seconds += elapsed;
    }
    const double ours = seconds / double(state.iterations());
    const double oursCpu = (processCpuSeconds() - cpuBefore) / double(state.iterations());

    const RunResult ssconvert = bestOf(
        {"ssconvert", "-T", "Gnumeric_stf:stf_csv", path.toStdString(), csv});
    RunResult xlsx2csv;
    if (std::string(suffix) == "xlsx")
        xlsx2csv = bestOf({"xlsx2csv", path.toStdString(), csv});
    double fastest = ssconvert.seconds;
    if (xlsx2csv.seconds >= 0 && (fastest < 0 || xlsx2csv.seconds < fastest))
        fastest = xlsx2csv.seconds;
    double fastestCpu = ssconvert.cpuSeconds;
    if (xlsx2csv.cpuSeconds >= 0 && (fastestCpu < 0 || xlsx2csv.cpuSeconds < fastestCpu))
        fastestCpu = xlsx2csv.cpuSeconds;

    state.SetLabel(suffix);
    state.counters["rows"] = double(rows);
    state.counters["file_MB"] = double(Bench::fileSize(path)) / 1e6;
    state.counters["peak_MB"] = double(peak) / 1e6;
    state.counters["ssconvert_s"] = ssconvert.seconds;
    state.counters["ssconvert_MB"] = ssconvert.peakMB;
    state.counters["xlsx2csv_s"] = xlsx2csv.seconds;
    state.counters["xlsx2csv_MB"] = xlsx2csv.peakMB;
    state.counters["x_fastest"] = fastest > 0 ? ours / fastest : -1;
    state.counters["cpu_s"] = oursCpu;
    state.counters["ssconvert_cpu_s"] = ssconvert.cpuSeconds;
    state.counters["xlsx2csv_cpu_s"] = xlsx2csv.cpuSeconds;
    state.counters["x_fastest_cpu"] = fastestCpu > 0 ? oursCpu / fastestCpu : -1;
}

BENCHMARK(BM_WorkbookLoad)
    ->DenseRange(0, 2)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

} // namespace

BENCHMARK_MAIN();
