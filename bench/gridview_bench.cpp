// Opening and scrolling the wizard's grid view over millions of lines. `BM_GridOpen` builds the
// grid's model and view, shows the window and paints it once, as the delimiter panel does when a
// file has been read; `BM_GridScroll` jumps the view to 50 places spread over the whole table and
// paints each. Each is set against the same work on a plain QTableView over a trivial model of the
// same size (every cell the same short text), measured in the same run.
#include "wizard/importgrid.h"
#include "wizard/qt/importgridmodel.h"
#include "wizard/qt/importtableview.h"
#include "wizard/table/texttable.h"

#include <benchmark/benchmark.h>

#include <QAbstractTableModel>
#include <QApplication>
#include <QScrollBar>
#include <QTableView>

#include <map>
#include <memory>

using namespace MGImport8;

namespace {

constexpr int Columns = 5;
constexpr int ScrollJumps = 50;
const QSize windowSize(900, 600);

/// A grid like a text file's: five short fields a line, an address in the second. Built once per
/// size and kept for the run.
ImportGrid &deviceGrid(qsizetype rows)
{
    static std::map<qsizetype, std::unique_ptr<ImportGrid>> grids;
    auto &grid = grids[rows];
    if (!grid) {
        TextTable::Builder builder;
        for (qsizetype row = 0; row < rows; ++row) {
            builder.addRow();
            builder.addCell(QByteArray("node-") + QByteArray::number(row));
            builder.addCell(QByteArray("10.") + QByteArray::number((row >> 16) & 0xFF) + '.'
                            + QByteArray::number((row >> 8) & 0xFF) + '.'
                            + QByteArray::number(row & 0xFF));
            builder.addCell(QByteArrayView("Server room A"));
            builder.addCell(QByteArrayView("switch"));
            builder.addCell(QByteArrayView("netops@example.org"));
        }
        grid = std::make_unique<ImportGrid>();
        grid->setTable(builder.finish());
    }
    return *grid;
}

/// The baseline's model: nothing stored, the same text everywhere.
class TrivialModel : public QAbstractTableModel
{
public:
    explicit TrivialModel(int rows)
        : m_rows(rows)
    {}
    int rowCount(const QModelIndex &parent = {}) const override
    {
        return parent.isValid() ? 0 : m_rows;
    }
    int columnCount(const QModelIndex &parent = {}) const override
    {
        return parent.isValid() ? 0 : Columns;
    }
    QVariant data(const QModelIndex &index, int role) const override
    {
        if (role != Qt::DisplayRole || !index.isValid())
            return {};
        return QStringLiteral("node-1234");
    }

private:
    int m_rows;
};

/// Lets the view lay itself out (it does so on posted events, as in a running application) and
/// paints it.
void paint(QTableView &view)
{
    QCoreApplication::processEvents();
    view.viewport()->repaint();
}

void scroll(benchmark::State &state, QTableView &view)
{
    QScrollBar *bar = view.verticalScrollBar();
    paint(view);
    if (bar->maximum() < state.range(0) / 2)
        state.SkipWithError("the view did not lay out its rows");
    for (auto _ : state) {
        for (int jump = 1; jump <= ScrollJumps; ++jump) {
            bar->setValue(int(qint64(bar->maximum()) * jump / ScrollJumps));
            view.viewport()->repaint();
        }
    }
    state.SetItemsProcessed(state.iterations() * ScrollJumps);
}

void BM_GridOpen(benchmark::State &state)
{
    ImportGrid &grid = deviceGrid(state.range(0));
    for (auto _ : state) {
        ImportGridModel model(grid);
        ImportTableView view;
        view.setGridModel(&model);
        view.resize(windowSize);
        view.show();
        paint(view);
        benchmark::DoNotOptimize(view.columnWidth(1));
    }
}

void BM_BaselineOpen(benchmark::State &state)
{
    for (auto _ : state) {
        TrivialModel model(int(state.range(0)));
        QTableView view;
        view.setModel(&model);
        view.resize(windowSize);
        view.show();
        paint(view);
        benchmark::DoNotOptimize(view.columnWidth(1));
    }
}

void BM_GridScroll(benchmark::State &state)
{
    ImportGrid &grid = deviceGrid(state.range(0));
    ImportGridModel model(grid);
    ImportTableView view;
    view.setGridModel(&model);
    view.resize(windowSize);
    view.show();
    scroll(state, view);
}

void BM_BaselineScroll(benchmark::State &state)
{
    TrivialModel model(int(state.range(0)));
    QTableView view;
    view.setModel(&model);
    view.resize(windowSize);
    view.show();
    scroll(state, view);
}

constexpr std::int64_t Million = 1'000'000;

BENCHMARK(BM_GridOpen)->Arg(Million)->Arg(10 * Million)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BaselineOpen)->Arg(Million)->Arg(10 * Million)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GridScroll)->Arg(Million)->Arg(10 * Million)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BaselineScroll)->Arg(Million)->Arg(10 * Million)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
