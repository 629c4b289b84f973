#include "importcommand.h"

#include "jsonlines.h"
#include "output.h"
#include "serveroptions.h"

#include "common/yesno.h"
#include "methods/sourcekind.h"
#include "nodestore/inventorystore.h"
#include "nodestore/nodestore.h"
#include "wizard/delimiterdetect.h"
#include "wizard/headermatch.h"
#include "wizard/headlessview.h"
#include "wizard/importgrid.h"
#include "wizard/wizardcontroller.h"
#include "wizard/wizardstate.h"

#include <MGImport8/MGImport8.h>

#include <QCommandLineParser>
#include <QFileInfo>

#include <cstdio>
#include <memory>

using namespace Qt::StringLiterals;

namespace MGImport8::Tool {

namespace {

constexpr int Completed = 0;
constexpr int InputUnreadable = 1;
constexpr int CheckFailed = 2;
constexpr int UsageError = 2;
constexpr int YieldIntervalMs = 100;
constexpr int MaxSheetNumber = 65535;
constexpr int MaxWaitSeconds = 86400;
// The rows' outcomes with --into are written in blocks of this size, as the rows are without it.
constexpr qsizetype OutcomeBlockBytes = 256 * 1024;

const QStringList WorkbookSuffixes = {u"xls"_s, u"xlsx"_s, u"xlsm"_s, u"ods"_s};
const QStringList AccessSuffixes = {u"mdb"_s, u"accdb"_s};
const QString MappingIgnore = u"<ignore>"_s;

struct Options
{
    QString file;
    QString columns = u"Name,IP"_s;
    QString required = u"IP"_s;
    QString ipColumn = u"IP"_s;
    QList<std::pair<QString, bool>> importOptions;
    QString method;
    std::optional<QString> delimiters;
    QList<std::pair<QString, QString>> maps;
    bool headerLine = false;
    bool allRows = false;
    QString into;
    int waitSeconds = NodeInventory::NodeStore::DefaultBusyTimeoutMs / 1000;
    int sheet = 1;
    std::optional<QString> table;
    std::optional<ServerOptions> server;
};

// "\t" in the delimiter text stands for a tab, "\\" for a backslash.
QString unescapeDelimiters(const QString &text)
{
    QString result;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == u'\\' && i + 1 < text.size()
            && (text[i + 1] == u't' || text[i + 1] == u'\\')) {
            result += text[i + 1] == u't' ? u'\t' : u'\\';
            ++i;
        } else {
            result += text[i];
        }
    }
    return result;
}

// The import command's own options, declared in the order --help lists them.
struct ImportOptionSet
{
    explicit ImportOptionSet(QCommandLineParser &parser)
    {
        parser.addOptions({columns, required, ipColumn, option, method, delimiters, map, headerLine,
                           rows, into, wait, sheet});
        parser.addOption(table);
    }

    const QCommandLineOption columns{u"columns"_s, u"Target columns (default Name,IP)."_s,
                                     u"LIST"_s};
    const QCommandLineOption required{u"required"_s, u"Required columns (default IP)."_s, u"LIST"_s};
    const QCommandLineOption ipColumn{u"ip-column"_s,
                                      u"Column that carries the IP address (default IP)."_s,
                                      u"NAME"_s};
    const QCommandLineOption option{u"option"_s, u"Adds an import option (repeatable)."_s,
                                    u"NAME=yes|no"_s};
    const QCommandLineOption
        method{u"method"_s, u"Import method by name (default: chosen by the file's extension)."_s,
               u"NAME"_s};
    const QCommandLineOption
        delimiters{u"delimiters"_s,
                   u"Delimiter characters; \\t is a tab; auto ticks the one that splits the "
                   "first lines most evenly (default: the method's)."_s,
                   u"TEXT|auto"_s};
    const QCommandLineOption map{u"map"_s,
                                 u"Binds a source column (1-based number or header text) to a "
                                 "target column (repeatable)."_s,
                                 u"SOURCE=TARGET"_s};
    const QCommandLineOption headerLine{u"header-line"_s,
                                        u"Binds each column whose text in the first line names a "
                                        "target column (before --map)."_s};
    const QCommandLineOption rows{u"rows"_s,
                                  u"auto (rows with valid addresses) or all (default auto)."_s,
                                  u"auto|all"_s, u"auto"_s};
    const QCommandLineOption into{u"into"_s,
                                  u"Imports into this node store instead of printing: an SQLite "
                                  u"file, postgresql://user@host/database or "
                                  u"sqlserver://user@host/database."_s,
                                  u"STORE"_s};
    const QCommandLineOption wait{u"wait"_s,
                                  u"Seconds to wait for a node store that another import is "
                                  "writing to (default 30)."_s,
                                  u"SECONDS"_s, u"30"_s};
    const QCommandLineOption sheet{u"sheet"_s, u"Worksheet of a workbook, 1-based (default 1)."_s,
                                   u"N"_s, u"1"_s};
    const QCommandLineOption table{u"table"_s,
                                   u"The database table to read, or a SELECT statement."_s,
                                   u"NAME|QUERY"_s};
};

// Each NAME=VALUE of a repeatable option, split at the first or the last "="; nothing, after
// saying so, when one has no name.
std::optional<QList<std::pair<QString, QString>>> namedValues(const QStringList &values,
                                                              bool lastEquals,
                                                              const char *complaint)
{
    QList<std::pair<QString, QString>> pairs;
    for (const QString &value : values) {
        const qsizetype equals = lastEquals ? value.lastIndexOf(u'=') : value.indexOf(u'=');
        if (equals <= 0) {
            err() << "mgimport8 import: " << complaint << ", not '" << value << "'\n";
            return std::nullopt;
        }
        pairs.append({value.left(equals), value.mid(equals + 1)});
    }
    return pairs;
}

// The source: one FILE, or a server with the server options.
bool readSource(const QCommandLineParser &parser, const ServerOptionSet &serverOptions,
                Options &result)
{
    if (serverOptions.serverGiven()) {
        if (!parser.positionalArguments().isEmpty()) {
            err() << "mgimport8 import: a FILE and --server cannot go together\n";
            return false;
        }
        result.server = serverOptions.read(u"mgimport8 import"_s);
        return result.server.has_value();
    }
    if (parser.positionalArguments().size() != 1) {
        err() << "mgimport8 import: name exactly one FILE to import\n";
        return false;
    }
    result.file = parser.positionalArguments().first();
    return true;
}

// What the wizard is told on its panels: the host's columns and options, the method, the
// delimiters, the column bindings, the rows, the worksheet and the table.
bool readChoices(const QCommandLineParser &parser, const ImportOptionSet &set, Options &result)
{
    if (parser.isSet(set.columns))
        result.columns = parser.value(set.columns);
    if (parser.isSet(set.required))
        result.required = parser.value(set.required);
    if (parser.isSet(set.ipColumn))
        result.ipColumn = parser.value(set.ipColumn);
    const auto importOptions = namedValues(parser.values(set.option), false,
                                           "--option wants NAME=yes|no");
    if (!importOptions)
        return false;
    for (const auto &[name, value] : *importOptions)
        result.importOptions.append({name, IsTrue(value)});
    result.method = parser.value(set.method);
    if (parser.isSet(set.delimiters))
        result.delimiters = unescapeDelimiters(parser.value(set.delimiters));
    const auto maps = namedValues(parser.values(set.map), true, "--map wants SOURCE=TARGET");
    if (!maps)
        return false;
    result.maps = *maps;
    result.headerLine = parser.isSet(set.headerLine);
    const QString rowChoice = parser.value(set.rows);
    if (rowChoice != "auto"_L1 && rowChoice != "all"_L1) {
        err() << "mgimport8 import: --rows is auto or all, not '" << rowChoice << "'\n";
        return false;
    }
    result.allRows = rowChoice == "all"_L1;
    result.into = parser.value(set.into);
    bool waitNumber = false;
    result.waitSeconds = parser.value(set.wait).toInt(&waitNumber);
    if (!waitNumber || result.waitSeconds < 0 || result.waitSeconds > MaxWaitSeconds) {
        err() << "mgimport8 import: --wait is a number of seconds from 0 to " << MaxWaitSeconds
              << ", not '" << parser.value(set.wait) << "'\n";
        return false;
    }
    bool sheetNumber = false;
    result.sheet = parser.value(set.sheet).toInt(&sheetNumber);
    if (!sheetNumber || result.sheet < 1 || result.sheet > MaxSheetNumber) {
        err() << "mgimport8 import: --sheet is a number from 1 to " << MaxSheetNumber << ", not '"
              << parser.value(set.sheet) << "'\n";
        return false;
    }
    if (parser.isSet(set.table))
        result.table = parser.value(set.table);
    return true;
}

std::optional<Options> parseOptions(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Imports FILE as the Import Wizard would, acting as a host: one JSON object per imported "
        "row on standard output, the summary on standard error."_s);
    parser.addHelpOption();
    const ImportOptionSet set(parser);
    // Server imports read their table from --table too.
    const ServerOptionSet serverOptions(parser, true);
    parser.addPositionalArgument(u"FILE"_s, u"The file to import (or --server and the rest)."_s);

    if (!parser.parse(arguments)) {
        err() << "mgimport8 import: " << parser.errorText() << '\n';
        return std::nullopt;
    }
    if (parser.isSet(u"help"_s)) {
        out() << parser.helpText().replace("mgimport8 [options]"_L1,
                                           "mgimport8 import [options]"_L1);
        return Options{};
    }
    Options result;
    if (!readSource(parser, serverOptions, result) || !readChoices(parser, set, result))
        return std::nullopt;
    return result;
}

// The row of the method list to choose: by name, or by the file's extension as a user would.
int methodRow(const ImportTypes &catalogue, const Options &options)
{
    int row = 0;
    if (!options.method.isEmpty()) {
        for (const ImportType *method : catalogue) {
            if (method->Name().compare(options.method, Qt::CaseInsensitive) == 0)
                return row;
            ++row;
        }
        return -1;
    }
    const QString suffix = QFileInfo(options.file).suffix().toLower();
    auto wants = [&](const ImportType &method) {
        if (options.server)
            return method.Method().compare(options.server->importMethod(), Qt::CaseInsensitive)
                   == 0;
        if (WorkbookSuffixes.contains(suffix))
            return method.HasPanelList() && method.IncludePanel(u"SpreadsheetPanel"_s);
        if (AccessSuffixes.contains(suffix))
            return sourceKind(method) == SourceKind::AccessDatabase;
        return sourceKind(method) == SourceKind::TextFile;
    };
    for (const ImportType *method : catalogue) {
        if (method->Enabled() && wants(*method))
            return row;
        ++row;
    }
    return -1;
}

// What --delimiters takes for "detect them".
const QString AutoDelimiters = u"auto"_s;

// The delimiter boxes as the user would tick them: the four fixed boxes for their characters,
// everything else into the "other" text, in one change so the file is read once.
void applyDelimiters(WizardController &wizard, const QString &delimiters)
{
    if (delimiters == AutoDelimiters) {
        // As the "Detect delimiters" button does; when nothing fits, the method's boxes stay.
        const ImportType *method = wizard.chosenMethod();
        if (const auto box = method ? DelimiterDetect::bestBoxForFile(method->Filename())
                                    : std::nullopt) {
            wizard.setDelimiters(DelimiterDetect::boxesFor(*box), {});
        } else {
            err() << "mgimport8 import: --delimiters auto: no delimiter splits the first lines; "
                     "the method's delimiters stay\n";
        }
        return;
    }
    static constexpr char16_t boxes[] = {u'\t', u';', u',', u' '};
    std::array<bool, DelimiterBoxCount> checked{};
    QString other;
    for (QChar c : delimiters) {
        const auto box = std::find(std::begin(boxes), std::end(boxes), c.unicode());
        if (box != std::end(boxes))
            checked[size_t(box - std::begin(boxes))] = true;
        else if (!other.contains(c))
            other += c;
    }
    checked[OtherDelimiterBox] = !other.isEmpty();
    wizard.setDelimiters(checked, other);
}

// The row whose cells name the source columns for --map: the "HEADER:" row when there is one,
// else the first data row; -1 when the grid has no data row.
qsizetype headerRow(const ImportGrid &grid)
{
    for (qsizetype row = 1; row < grid.rowCount(); ++row) {
        if (grid.text(row, 0).contains(u"HEADER:"_s, Qt::CaseInsensitive)
            || grid.rowTag(row) == "FieldHeader"_L1)
            return row;
    }
    return grid.rowCount() > 1 ? 1 : -1;
}

// The source column a --map names: its 1-based number, or the text of its header cell.
int sourceColumn(const ImportGrid &grid, qsizetype header, const QString &source)
{
    bool isNumber = false;
    const int number = source.toInt(&isNumber);
    if (isNumber)
        return number >= 1 && number <= grid.columnCount() ? number - 1 : -1;
    if (header < 0)
        return -1;
    for (int column = 0; column < grid.columnCount(); ++column) {
        QString text = grid.text(header, column).trimmed();
        if (column == 0 && text.startsWith(u"HEADER:"_s, Qt::CaseInsensitive))
            text = text.mid(7).trimmed();
        if (text.compare(source, Qt::CaseInsensitive) == 0)
            return column;
    }
    return -1;
}

// The "Match names from the first line" button: columns whose first line names a target column.
void applyHeaderLine(WizardController &wizard, const Engine &engine)
{
    const QList<HeaderMatch::Binding> bindings = HeaderMatch::fromFirstLine(wizard.grid(),
                                                                            engine.Columns());
    for (const HeaderMatch::Binding &binding : bindings) {
        if (wizard.beforeEdit(0, binding.column))
            wizard.afterEdit(0, binding.column, binding.target);
    }
}

bool applyMaps(WizardController &wizard, const Engine &engine, const Options &options)
{
    const QStringList targets = engine.Columns().split(u',', Qt::SkipEmptyParts);
    // Looked for once: without a "HEADER:" row the search reads every row of the grid.
    const qsizetype header = options.maps.isEmpty() ? -1 : headerRow(wizard.grid());
    for (const auto &[source, target] : options.maps) {
        const int column = sourceColumn(wizard.grid(), header, source);
        if (column < 0) {
            err() << "mgimport8 import: --map: no source column '" << source << "'\n";
            return false;
        }
        QString choice;
        if (target.compare(MappingIgnore, Qt::CaseInsensitive) == 0)
            choice = MappingIgnore;
        for (const QString &name : targets) {
            if (name.compare(target, Qt::CaseInsensitive) == 0)
                choice = name;
        }
        if (choice.isEmpty()) {
            err() << "mgimport8 import: --map: '" << target << "' is not one of the columns "
                  << engine.Columns() << '\n';
            return false;
        }
        if (wizard.beforeEdit(0, column))
            wizard.afterEdit(0, column, choice);
    }
    return true;
}

// The database panel as the user fills it in. A method without a table panel reads the table
// named here when the panel is left.
void applyServer(WizardController &wizard, const ServerOptions &server)
{
    wizard.setServerName(server.server);
    wizard.setIntegratedSecurity(server.user.isEmpty());
    wizard.setLoginName(server.user);
    wizard.setLoginPassword(server.password);
    wizard.setDatabaseName(server.database);
    if (wizard.chosenMethod())
        wizard.chosenMethod()->setTable(server.table);
}

// The wizard's panels walked as a user with these options would, up to the import panel. Nothing
// when it got there; otherwise the status to leave with, the wizard's message printed already.
std::optional<int> walkToImport(WizardController &wizard, const HeadlessView &view,
                                const Engine &engine, const Options &options)
{
    bool delimitersDone = false;
    bool mapsDone = false;
    bool rowsDone = false;
    bool serverDone = false;
    bool tableDone = false;
    while (wizard.state().currentPanel != Panel::ImportPanel) {
        const Panel panel = wizard.state().currentPanel;
        const qsizetype messagesBefore = view.messages().size();
        if (panel == Panel::DatabasePanel && options.server && !serverDone) {
            applyServer(wizard, *options.server);
            serverDone = true;
        } else if (panel == Panel::TablePanel && !tableDone) {
            const std::optional<QString> table = options.server ? options.server->table
                                                                : options.table;
            if (!table) {
                err() << "mgimport8 import: name the table to read with --table; the database has: "
                      << wizard.state().databaseTables.join(u", "_s) << '\n';
                return UsageError;
            }
            wizard.selectTable(*table);
            tableDone = true;
        } else if (panel == Panel::DelimiterPanel && options.delimiters && !delimitersDone) {
            applyDelimiters(wizard, *options.delimiters);
            delimitersDone = true;
        } else if (panel == Panel::MapPanel && !mapsDone) {
            if (options.headerLine)
                applyHeaderLine(wizard, engine);
            if (!applyMaps(wizard, engine, options))
                return UsageError;
            mapsDone = true;
        } else if (panel == Panel::PreviewPanel && options.allRows && !rowsDone) {
            wizard.checkAll();
            rowsDone = true;
        }
        if (view.messages().size() == messagesBefore)
            wizard.next();
        if (wizard.state().currentPanel == panel || view.messages().size() != messagesBefore) {
            // The wizard stayed where it was: its message has been printed already.
            if (view.messages().isEmpty())
                return CheckFailed;
            return view.messages().last().icon == MessageIcon::Exclamation ? CheckFailed
                                                                           : InputUnreadable;
        }
    }
    return std::nullopt;
}

// The engine as the host sets it up: its columns and the import options.
void configureEngine(Engine &engine, const Options &options)
{
    engine.setColumns(options.columns);
    engine.setRequiredColumns(options.required);
    engine.setIPColumn(options.ipColumn);
    for (const auto &[name, value] : options.importOptions)
        engine.ImportOptions()->Add(name, name, value);
}

// The node store --into names, ready for rows; nothing, after saying why, when it cannot be had.
std::unique_ptr<NodeInventory::InventoryStore> openStore(const Options &options)
{
    QString error;
    std::unique_ptr<NodeInventory::InventoryStore> store
        = NodeInventory::openInventoryStore(options.into, &error);
    if (store) {
        store->setBusyTimeout(options.waitSeconds * 1000);
        // Said at once: whoever watches the terminal should know why nothing moves.
        store->setWaitNotice([](const QString &status) { err() << status << Qt::endl; });
        // A server store opens its transaction (and takes the inventory's import lock) now;
        // the SQLite store takes its write lock at the first row, so a user still choosing
        // rows holds up nobody.
        if (NodeInventory::isServerLocation(options.into) && !store->begin())
            error = store->lastError();
    }
    if (!store || !error.isEmpty()) {
        err() << "mgimport8 import: cannot open the node store " << options.into << ": " << error
              << '\n';
        return nullptr;
    }
    return store;
}

// The lines saying what became of each row stored, escaped straight into UTF-8 and written to
// standard output in blocks; a block that cannot be written is remembered, so the import is not
// reported as done.
class OutcomeLines
{
public:
    ~OutcomeLines() { flush(); }

    void add(const QString &status, bool skip, const ImportRow &row)
    {
        m_block += "{\"Status\": ";
        appendJsonString(m_block, status);
        m_block += skip ? ", \"Skip\": true, \"Row\": " : ", \"Skip\": false, \"Row\": ";
        appendJsonRow(m_block, row);
        m_block.chop(1); // the row's line feed, after the object that holds it
        m_block += "}\n";
        if (m_block.size() >= OutcomeBlockBytes)
            write();
    }

    // True when every line reached standard output.
    bool flush()
    {
        write();
        return std::fflush(stdout) == 0 && !m_lost;
    }

private:
    void write()
    {
        if (!m_block.isEmpty()
            && std::fwrite(m_block.constData(), 1, size_t(m_block.size()), stdout)
                   != size_t(m_block.size()))
            m_lost = true;
        m_block.resize(0);
    }

    QByteArray m_block;
    bool m_lost = false;
};

// One row into the node store, and a line saying what became of it.
void storeRow(Engine &engine, NodeInventory::InventoryStore &store, const QString &ipColumn,
              bool overwrite, const ImportRow &row, QString &status, bool &skip,
              OutcomeLines &outcomes)
{
    const NodeInventory::InventoryStore::Applied applied = store.apply(row, ipColumn, overwrite);
    if (applied.outcome == NodeInventory::InventoryStore::Outcome::Failed) {
        // Not the row's fault: the wizard stops, says why once, and nothing is kept.
        engine.StopImport(store.lastError());
        return;
    }
    status = applied.status;
    skip = applied.outcome == NodeInventory::InventoryStore::Outcome::Skipped;
    outcomes.add(status, skip, row);
}

// Where the rows go: JSON Lines on standard output, or the node store.
void deliverRows(Engine &engine, const Options &options, NodeInventory::InventoryStore *store,
                 JsonLinesOutput &rowsOut, OutcomeLines &outcomes)
{
    if (!store) {
        QObject::connect(&engine, &Engine::NewRow,
                         [&rowsOut](ImportRow *row, QString &, bool &) { rowsOut.write(*row); });
        return;
    }
    const ImportOption *overwriteOption = engine.ImportOptions()->Item(u"Overwrite"_s);
    const bool overwrite = !overwriteOption || overwriteOption->Value();
    QObject::connect(&engine, &Engine::NewRow,
                     [&, store, overwrite](ImportRow *row, QString &status, bool &skip) {
                         storeRow(engine, *store, options.ipColumn, overwrite, *row, status, skip,
                                  outcomes);
                     });
}

// The method panel: the method the options name, and the file. False, after saying so, when no
// method fits.
bool chooseMethod(WizardController &wizard, const Options &options)
{
    const int row = methodRow(wizard.catalogue(), options);
    if (row < 0) {
        err() << "mgimport8 import: "
              << (options.method.isEmpty() ? u"no import method reads this kind of file"_s
                                           : u"no import method named '%1'"_s.arg(options.method))
              << '\n';
        return false;
    }
    wizard.selectMethodRow(row);
    if (!options.server)
        wizard.setFilename(options.file);
    return true;
}

// After the import panel: the rows kept (written out, or the store's transaction committed) and
// the summary printed, or the status of a run that did not complete.
int finishImport(const WizardController &wizard, NodeInventory::InventoryStore *store,
                 JsonLinesOutput &rowsOut, OutcomeLines &outcomes)
{
    if (wizard.result()) {
        // The import panel was reached but the run did not complete (the store or a host handler
        // failed); the wizard's message said why.
        if (store)
            store->rollback();
        return InputUnreadable;
    }
    if (!store && !rowsOut.finish()) {
        err() << "mgimport8 import: the rows could not be written to standard output\n";
        return InputUnreadable;
    }
    if (store && !outcomes.flush()) {
        store->rollback();
        err() << "mgimport8 import: the rows could not be written to standard output\n";
        return InputUnreadable;
    }
    if (store && !store->commit()) {
        err() << "mgimport8 import: " << store->lastError() << '\n';
        return InputUnreadable;
    }
    err() << forTerminal(wizard.state().importStatus) << '\n';
    return Completed;
}

} // namespace

int runImport(const QStringList &arguments)
{
    const std::optional<Options> parsed = parseOptions(arguments);
    if (!parsed)
        return UsageError;
    const Options &options = *parsed;
    if (options.file.isEmpty() && !options.server)
        return Completed; // --help

    Engine engine;
    configureEngine(engine, options);
    std::unique_ptr<NodeInventory::InventoryStore> store;
    if (!options.into.isEmpty()) {
        store = openStore(options);
        if (!store)
            return InputUnreadable;
    }
    // Rows go straight to standard output as UTF-8; the text stream would convert every row twice.
    out().flush();
    JsonLinesOutput rowsOut(stdout);
    OutcomeLines outcomes;
    deliverRows(engine, options, store.get(), rowsOut, outcomes);

    HeadlessView view(&err());
    view.setFileAnswer(options.file);
    // Nothing on the command line cancels mid-row; a few event-loop passes a second are plenty.
    view.setYieldInterval(YieldIntervalMs);
    WizardController wizard(engine, view);
    wizard.setFirstWorksheet(options.sheet - 1);
    wizard.start();
    if (!chooseMethod(wizard, options))
        return UsageError;
    if (const std::optional<int> stopped = walkToImport(wizard, view, engine, options))
        return *stopped;
    return finishImport(wizard, store.get(), rowsOut, outcomes);
}

} // namespace MGImport8::Tool
