// Reading a delimited file into the grid: the file is read, decoded, split and shown by the grid,
// as the delimiter panel does on every change. Figures: MB/s of file, the time as a multiple of
// `wc -l` on the same warm file, and peak memory as a multiple of the file's size.
#include "benchsupport.h"

#include "wizard/importgrid.h"
#include "wizard/sources/textsource.h"
#include "wizard/table/podarray.h"

#include <benchmark/benchmark.h>

#include <QElapsedTimer>
#include <QFile>

using namespace MGImport8;

namespace {

const QString delimiters = QStringLiteral(",");

void load(ImportGrid &grid, const QString &path)
{
    Result<std::shared_ptr<const TextTable>> table = readDelimitedText(path, delimiters);
    if (!table)
        qFatal("%s", qPrintable(table.error()));
    grid.setTable(table.take());
}

void BM_Load(benchmark::State &state)
{
    const QString path = Bench::deviceFile(state.range(0));
    const std::int64_t size = Bench::fileSize(path);
    const double wc = Bench::wcSeconds(path);
    std::int64_t peak = 0;
    {
        const Bench::PeakMemory memory;
        ImportGrid grid;
        load(grid, path);
        peak = memory.bytes();
    }

    // The time runs from the empty grid to the filled one; freeing the table afterwards is not
    // part of loading it.
    double seconds = 0;
    for (auto _ : state) {
        ImportGrid grid;
        QElapsedTimer timer;
        timer.start();
        load(grid, path);
        benchmark::DoNotOptimize(grid.rowCount());
        const double elapsed = timer.nsecsElapsed() / 1e9;
        state.SetIterationTime(elapsed);
        seconds += elapsed;
    }
    state.SetBytesProcessed(state.iterations() * size);
    state.counters["file_MB"] = double(size) / 1e6;
    state.counters["x_wc"] = seconds / double(state.iterations()) / wc;
    state.counters["peak_MB"] = double(peak) / 1e6;
    state.counters["peak_x_file"] = double(peak) / double(size);
}

// The floor under any loader that keeps the file in memory: the file read into fresh memory, as
// the loader reads it, with nothing else done. Most of it is the system's work of handing out and
// clearing pages and copying from its file cache.
void BM_ReadFileOnly(benchmark::State &state)
{
    const QString path = Bench::deviceFile(state.range(0));
    const std::int64_t size = Bench::fileSize(path);
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            qFatal("cannot open %s", qPrintable(path));
        QByteArray bytes(size, Qt::Uninitialized);
        prefault(bytes.data(), std::size_t(size));
        if (file.read(bytes.data(), size) != size)
            qFatal("short read of %s", qPrintable(path));
        state.SetIterationTime(timer.nsecsElapsed() / 1e9);
    }
    state.SetBytesProcessed(state.iterations() * size);
}

// Reading every cell of two columns back as text, as the import does for a Name and an IP column.
void BM_ReadCells(benchmark::State &state)
{
    const QString path = Bench::deviceFile(state.range(0));
    ImportGrid grid;
    load(grid, path);
    grid.insertRow(0);
    for (auto _ : state) {
        qsizetype characters = 0;
        for (qsizetype row = 1; row < grid.rowCount(); ++row)
            characters += grid.text(row, 0).size() + grid.text(row, 1).size();
        benchmark::DoNotOptimize(characters);
    }
    state.SetItemsProcessed(state.iterations() * (grid.rowCount() - 1) * 2);
}

} // namespace

BENCHMARK(BM_Load)
    ->ArgName("lines")
    ->Arg(1'000'000)
    ->Arg(10'000'000)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->MinTime(2.0);
BENCHMARK(BM_ReadFileOnly)
    ->ArgName("lines")
    ->Arg(1'000'000)
    ->Arg(10'000'000)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->MinTime(2.0);
BENCHMARK(BM_ReadCells)->ArgName("lines")->Arg(1'000'000)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
