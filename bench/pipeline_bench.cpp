// The whole text import as the wizard runs it, headless, on the generated files: the delimiter
// panel's load, the mapping panel (mapping row, IP column found by content), the row selection
// (automatic, by the IP column) and the import run to a host that only counts rows. Each step is
// reported in milliseconds and as a multiple of `wc -l` on the same warm file, with the peak
// memory of the whole run as a multiple of the file's size.
#include "benchsupport.h"
#include "textmethod.h"

#include "wizard/headlessview.h"
#include "wizard/wizardcontroller.h"

#include <MGImport8/engine.h>

#include <benchmark/benchmark.h>

#include <QElapsedTimer>

#include <cstdlib>

using namespace MGImport8;

namespace {

struct StepTimes
{
    double load = 0;
    double mapping = 0;
    double selection = 0;
    double import = 0;
    qsizetype imported = 0;
};

// next() and the seconds it took; aborts the benchmark when the wizard does not move on.
double step(WizardController &wizard, benchmark::State &state, Panel expected)
{
    QElapsedTimer timer;
    timer.start();
    wizard.next();
    const double seconds = timer.nsecsElapsed() / 1e9;
    if (wizard.state().currentPanel != expected)
        state.SkipWithError("the wizard stayed on its panel");
    return seconds;
}

StepTimes runWizard(const QString &path, benchmark::State &state)
{
    StepTimes times;
    Engine engine;
    engine.setColumns(QStringLiteral("Name,IP,Location"));
    engine.setRequiredColumns(QStringLiteral("IP"));
    engine.setIPColumn(QStringLiteral("IP"));
    QObject::connect(&engine, &Engine::NewRow,
                     [&](ImportRow *, QString &, bool &) { ++times.imported; });

    HeadlessView view;
    view.setFileAnswer(path);
    view.setYieldInterval(100);
    WizardController wizard(engine, view);
    wizard.start();
    Bench::selectTextFileMethod(wizard);
    step(wizard, state, Panel::FilePanel);
    times.load = step(wizard, state, Panel::DelimiterPanel);
    times.mapping = step(wizard, state, Panel::MapPanel);
    times.selection = step(wizard, state, Panel::PreviewPanel);
    // The options panel passes itself on when the host offers no options; the import runs as
    // its panel is shown.
    times.import = step(wizard, state, Panel::ImportPanel);
    return times;
}

void BM_Pipeline(benchmark::State &state)
{
    // The shipped import methods, from the source tree.
    ::setenv("MGIMPORT8_METHODS_PATH", MGIMPORT8_METHOD_FILES_DIR, 1);
    const QString path = Bench::deviceFile(state.range(0));
    const std::int64_t size = Bench::fileSize(path);
    const double wc = Bench::wcSeconds(path);

    StepTimes total;
    std::int64_t peak = -1;
    for (auto _ : state) {
        const Bench::PeakMemory memory;
        const StepTimes times = runWizard(path, state);
        peak = std::max(peak, memory.bytes());
        total.load += times.load;
        total.mapping += times.mapping;
        total.selection += times.selection;
        total.import += times.import;
        total.imported = times.imported;
        state.SetIterationTime(times.load + times.mapping + times.selection + times.import);
    }
    const double n = double(state.iterations());
    const double all = (total.load + total.mapping + total.selection + total.import) / n;
    state.SetBytesProcessed(state.iterations() * size);
    state.counters["rows"] = double(total.imported);
    state.counters["load_ms"] = total.load / n * 1e3;
    state.counters["map_ms"] = total.mapping / n * 1e3;
    state.counters["select_ms"] = total.selection / n * 1e3;
    state.counters["import_ms"] = total.import / n * 1e3;
    state.counters["total_x_wc"] = all / wc;
    state.counters["load_x_wc"] = total.load / n / wc;
    state.counters["peak_x_file"] = double(peak) / double(size);
}

} // namespace

BENCHMARK(BM_Pipeline)
    ->ArgName("lines")
    ->Arg(1'000'000)
    ->Arg(10'000'000)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(3);

BENCHMARK_MAIN();
