// The whole headless import from bytes to rows: the first byte picks the delimiters and whether
// every row is ticked, the rest is the text file. The wizard is walked as the command line walks
// it (text method, file, delimiters, mapping found by content, selection, import) to a host that
// counts the rows it is handed. Nothing may crash or hang; a run either stops on a panel with a
// message or hands over rows whose columns follow the mapping row, counted once each.
#include "textmethod.h"
#include "wizard/headlessview.h"
#include "wizard/wizardcontroller.h"

#include <MGImport8/engine.h>
#include <MGImport8/importcolumn.h>
#include <MGImport8/importrow.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

using namespace MGImport8;

namespace {

const QString delimiterSets[] = {
    QStringLiteral(","),  QStringLiteral(";"),      QStringLiteral("\t"),
    QStringLiteral(", "), QStringLiteral("\u00A7"), QStringLiteral(",;:|"),
};
const QString targets[] = {QStringLiteral("Name"), QStringLiteral("IP"), QStringLiteral("Location"),
                           QStringLiteral("<ignore>")};
// More panels than the text method visits, so that a wizard going round in circles is caught.
constexpr int maxSteps = 20;

QString inputPath()
{
    return QDir::tempPath()
           + QStringLiteral("/mgimport8-import-fuzz-%1.csv").arg(QCoreApplication::applicationPid());
}

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "import_fuzz: %s\n", what);
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    // The shipped import methods, from the source tree.
    ::setenv("MGIMPORT8_METHODS_PATH", MGIMPORT8_METHOD_FILES_DIR, 0);
    static QCoreApplication app(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const uint8_t choice = data[0];
    const QString &delimiters = delimiterSets[choice % std::size(delimiterSets)];
    const bool allRows = choice & 0x80;
    {
        QFile file(inputPath());
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
            || file.write(reinterpret_cast<const char *>(data + 1), qint64(size - 1))
                   != qint64(size - 1))
            fail("cannot write the input file");
    }

    Engine engine;
    engine.setColumns(QStringLiteral("Name,IP,Location"));
    engine.setRequiredColumns(QStringLiteral("IP"));
    engine.setIPColumn(QStringLiteral("IP"));
    qsizetype handed = 0;
    int completions = 0;
    qsizetype columns = -1;
    QObject::connect(&engine, &Engine::NewRow, [&](ImportRow *row, QString &status, bool &skip) {
        ++handed;
        // Every row has one column per source column, named from the mapping row.
        if (columns < 0)
            columns = row->Count();
        if (row->Count() != columns)
            fail("rows of one import differ in their columns");
        for (const ImportColumn *column : *row) {
            if (std::find(std::begin(targets), std::end(targets), column->Column())
                == std::end(targets))
                fail("a column named outside the mapping choices");
        }
        skip = handed % 3 == 0;
        status = skip ? QStringLiteral("skipped") : QString();
    });
    QObject::connect(&engine, &Engine::ImportComplete, [&] { ++completions; });

    HeadlessView view;
    view.setFileAnswer(inputPath());
    WizardController wizard(engine, view);
    wizard.start();
    Bench::selectTextFileMethod(wizard);
    wizard.setFilename(inputPath());
    bool delimitersSet = false;
    for (int step = 0; step < maxSteps && wizard.state().currentPanel != Panel::ImportPanel;
         ++step) {
        const Panel panel = wizard.state().currentPanel;
        if (panel == Panel::DelimiterPanel && !delimitersSet) {
            std::array<bool, DelimiterBoxCount> checked{};
            checked[OtherDelimiterBox] = true;
            wizard.setDelimiters(checked, delimiters);
            delimitersSet = true;
        }
        if (panel == Panel::PreviewPanel && allRows)
            wizard.checkAll();
        const qsizetype messages = view.messages().size();
        wizard.next();
        if (wizard.state().currentPanel == panel || view.messages().size() != messages)
            break; // refused with a message, as a user would be told
    }

    if (wizard.state().currentPanel == Panel::ImportPanel) {
        if (completions != 1 || wizard.result())
            fail("an import that ran through did not complete once");
        if (wizard.importedCount() + wizard.skippedCount() != handed)
            fail("the counts do not add up to the rows handed over");
    } else if (handed != 0 || completions != 0) {
        fail("rows handed over without reaching the import panel");
    }
    return 0;
}
