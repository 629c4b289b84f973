#include "wizard/wizardcontroller.h"

#include "common/connectionstring.h"
#include "engine/libraryaccess.h"
#include "methods/catalogueloader.h"
#include "wizard/columnmapping.h"
#include "wizard/delimiterchoice.h"
#include "wizard/gridrules.h"
#include "wizard/importrun.h"
#include "wizard/sources/accesssourcereader.h"
#include "wizard/sources/serversourcereader.h"
#include "wizard/sources/workbooksourcereader.h"
#include "wizard/wizardview.h"

#include <MGImport8/engine.h>
#include <MGImport8/importtype.h>
#include <MGImport8/importtypes.h>

#include <exception>
#include <utility>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

const QString nextCaption = u"Next -->"_s;
const QString importCaption = u"Import"_s;
const QString cancelCaption = u"Cancel"_s;
const QString doneCaption = u"Done"_s;

/// The table panel needs a header row and a data row; the others one row.
constexpr qsizetype TableMinimumRows = 2;

Panel panelAt(int index)
{
    return static_cast<Panel>(index);
}

} // namespace

/// The hourglass for the length of a step; nested steps (the options panel passing itself on
/// inside Next) keep it until the outermost one ends.
class WizardController::BusyGuard
{
public:
    explicit BusyGuard(WizardController &controller)
        : m_controller(controller)
    {
        if (m_controller.m_busyDepth++ == 0)
            m_controller.m_view.setBusy(true);
    }
    ~BusyGuard()
    {
        if (--m_controller.m_busyDepth == 0)
            m_controller.m_view.setBusy(false);
    }
    BusyGuard(const BusyGuard &) = delete;
    BusyGuard &operator=(const BusyGuard &) = delete;

private:
    WizardController &m_controller;
};

WizardController::WizardController(Engine &engine, WizardView &view, QObject *parent)
    : QObject(parent)
    , m_engine(engine)
    , m_view(view)
    , m_catalogue(std::make_unique<ImportTypes>())
    , m_servers(std::make_unique<ServerSourceReader>(view))
    , m_accessTables(std::make_unique<AccessSourceReader>(view))
    , m_worksheets(std::make_unique<WorkbookSourceReader>(view))
{
    m_state.nextCaption = nextCaption;
    m_state.cancelCaption = cancelCaption;
    m_state.delimiterChecked[DelimiterChoice::InitialBox] = true;
}

WizardController::~WizardController() = default;

void WizardController::setTableReader(std::unique_ptr<TableReader> reader)
{
    m_tablesInstead = std::move(reader);
}

TableReader &WizardController::tableReader()
{
    if (m_tablesInstead)
        return *m_tablesInstead;
    // An Access database is named by its Jet connection string; every other string is a server's.
    if (m_method && startsWithJetProvider(m_method->ConnectionString()))
        return *m_accessTables;
    return *m_servers;
}

SourceChoice WizardController::chosenSource() const
{
    return SourceChoice(*m_method);
}

void WizardController::notify()
{
    m_view.stateChanged(m_state);
}

void WizardController::showExclamation(const QString &text)
{
    notify();
    m_view.showMessage(text, MessageIcon::Exclamation, {});
}

void WizardController::start()
{
    m_result = true;
    m_cancelled = false;
    m_state.title = m_engine.Title();
    m_state.importDescription = m_engine.Description();

    m_method = nullptr;
    m_methodRows.clear();
    m_catalogue = std::make_unique<ImportTypes>();
    m_state.importTypeDescription.clear();
    CatalogueLoader::Load(*m_catalogue);
    m_state.methods.clear();
    for (ImportType *method : *m_catalogue) {
        m_state.methods.append({method->Name(), method->Icon(), method->Enabled()});
        m_methodRows.append(method);
    }
    m_state.currentMethodRow = -1;
    selectPanel(Panel::MethodPanel);
}

void WizardController::selectMethodRow(int row)
{
    m_state.importTypeDescription.clear();
    m_state.currentMethodRow = row;
    if (row >= 0) {
        m_method = row < m_methodRows.size() ? m_methodRows.at(row) : nullptr;
        if (m_method)
            m_state.importTypeDescription = m_method->Description();
    }
    notify();
}

void WizardController::activateMethodRow(int row)
{
    selectMethodRow(row);
    next();
}

std::optional<bool> WizardController::includes(Panel panel)
{
    if (!m_method)
        return false;
    try {
        return m_method->IncludePanel(panelKey(panel));
    } catch (const SubscriptOutOfRange &) {
        notify();
        m_view.showMessage(u"The import method '"_s % m_method->Name()
                               % u"' does not name the panels it uses, so the wizard cannot go on "
                                 u"with it. Please choose another method."_s,
                           MessageIcon::Critical, {});
        return std::nullopt;
    }
}

void WizardController::next()
{
    BusyGuard busy(*this);
    m_freshTextRead.clear();
    if (!exitCheck()) {
        notify();
        return;
    }
    for (int index = int(m_state.currentPanel) + 1; index < PanelCount; ++index) {
        const std::optional<bool> included = includes(panelAt(index));
        if (!included)
            return;
        if (*included) {
            selectPanel(panelAt(index));
            return;
        }
    }
    notify();
}

void WizardController::back()
{
    m_freshTextRead.clear();
    for (int index = int(m_state.currentPanel) - 1; index >= 0; --index) {
        const std::optional<bool> included = includes(panelAt(index));
        if (!included)
            return;
        if (*included) {
            selectPanel(panelAt(index));
            return;
        }
    }
}

void WizardController::cancel()
{
    m_cancelled = true;
    m_view.close();
}

void WizardController::selectPanel(Panel panel)
{
    m_state.currentPanel = panel;
    enterPanel();
    notify();
}

void WizardController::enterPanel()
{
    const QString freshRead = std::exchange(m_freshTextRead, {});
    m_state.mappingMode = false;
    m_state.selectionMode = false;
    m_state.backEnabled = true;
    m_state.nextCaption = nextCaption;
    m_state.importTableVisible = false;

    switch (m_state.currentPanel) {
    case Panel::MethodPanel:
        m_state.backEnabled = false;
        break;
    case Panel::FilePanel:
        m_state.selectFileTitle = m_method ? m_method->SelectFileTitle() : QString();
        m_state.selectFileDescription = m_method ? m_method->SelectFileDescription() : QString();
        if (m_state.filename.isEmpty()) {
            notify();
            selectFile();
        }
        break;
    case Panel::DatabasePanel:
    case Panel::FilterPanel:
        break;
    case Panel::TablePanel:
        enterTablePanel();
        break;
    case Panel::SpreadsheetPanel:
        enterSpreadsheetPanel();
        break;
    case Panel::DelimiterPanel:
        enterDelimiterPanel(freshRead);
        break;
    case Panel::MapPanel:
        enterMapPanel();
        break;
    case Panel::PreviewPanel:
        enterPreviewPanel();
        break;
    case Panel::OptionsPanel:
        enterOptionsPanel();
        break;
    case Panel::ImportPanel:
        m_state.nextVisible = false;
        m_state.backVisible = false;
        runImport();
        break;
    }
}

bool WizardController::exitCheck()
{
    switch (m_state.currentPanel) {
    case Panel::MethodPanel:
        if (!m_method) {
            showExclamation(u"Please select an item from the list first."_s);
            return false;
        }
        if (!m_method->Enabled()) {
            showExclamation(u"Import from '"_s % m_method->Name()
                            % u"' is not available in this release."_s);
            return false;
        }
        return true;
    case Panel::FilePanel:
        return exitFilePanel();
    case Panel::DatabasePanel:
        return exitDatabasePanel();
    case Panel::TablePanel:
        if (m_grid.rowCount() < TableMinimumRows) {
            showExclamation(u"Please select a Database Table with data in it."_s);
            return false;
        }
        return true;
    case Panel::SpreadsheetPanel:
        if (m_grid.rowCount() == 0) {
            showExclamation(u"Please select an Excel worksheet with data in it."_s);
            return false;
        }
        return true;
    case Panel::DelimiterPanel:
        if (m_grid.rowCount() == 0) {
            showExclamation(u"Please select a file with data in it."_s);
            return false;
        }
        return true;
    case Panel::MapPanel:
        if (const auto problem = ColumnMapping::validate(m_grid, m_engine.RequiredColumns())) {
            showExclamation(*problem);
            return false;
        }
        return true;
    case Panel::PreviewPanel:
        if (GridRules::checkedRowCount(m_grid) == 0) {
            showExclamation(u"You must select at least one row"_s);
            return false;
        }
        return true;
    case Panel::FilterPanel:
    case Panel::OptionsPanel:
    case Panel::ImportPanel:
        return true;
    }
    return true;
}

void WizardController::enterMapPanel()
{
    m_state.importTableVisible = true;
    if (GridRules::insertMappingRow(m_grid)) {
        ColumnMapping::bindColumns(m_grid, m_engine.Columns(), m_engine.IPColumn(),
                                   m_method ? m_method->FieldMap() : QString());
    }
    m_grid.setSelection(0, 0);
    m_state.mappingMode = true;
}

void WizardController::enterPreviewPanel()
{
    m_state.importTableVisible = true;
    GridRules::addSelectionColumn(m_grid);
    ColumnMapping::selectRowsByAddress(m_grid);
    m_state.selectionMode = true;
}

void WizardController::enterOptionsPanel()
{
    m_state.nextCaption = importCaption;
    m_options.fill(m_engine.ImportOptions(), m_state);
    if (m_state.options.isEmpty()) {
        // A host without options never sees the panel.
        notify();
        next();
    }
}

void WizardController::runImport()
{
    m_cancelled = false;
    m_imported = 0;
    m_skipped = 0;
    ImportRun run(m_engine, m_grid, m_view, m_state, m_cancelled, [this] { notify(); });
    const ImportRun::Outcome outcome = run.run();
    m_imported = run.importedCount();
    m_skipped = run.skippedCount();
    if (outcome != ImportRun::Outcome::Completed)
        return;

    m_state.cancelCaption = doneCaption;
    notify();
    // Every row has been handed over: the import ran to its end whatever the host does now.
    m_result = false;
    try {
        LibraryAccess::FireImportComplete(m_engine);
    } catch (const std::exception &error) {
        m_view.showMessage(u"The host failed when the import completed."_s % u"\r\n\r\n"_s
                               % QString::fromLocal8Bit(error.what()),
                           MessageIcon::Critical, {});
    } catch (...) {
        m_view.showMessage(u"The host failed when the import completed."_s, MessageIcon::Critical,
                           {});
    }
}

bool WizardController::beforeEdit(qsizetype row, int column)
{
    if (!m_state.mappingMode || row != 0 || column < 0 || column >= m_grid.columnCount())
        return false;
    m_grid.setComboList(LibraryAccess::ColumnChoices(m_engine));
    return true;
}

void WizardController::afterEdit(qsizetype row, int column, const QString &text)
{
    if (!m_state.mappingMode || row != 0 || column < 0 || column >= m_grid.columnCount())
        return;
    m_grid.setText(0, column, text);
    GridRules::colourMappingCell(m_grid, column);
    notify();
}

void WizardController::gridClicked(qsizetype row, int column)
{
    if (!m_state.selectionMode || column != 0 || row <= 0 || row >= m_grid.rowCount())
        return;
    GridRules::flipCheck(m_grid, row);
    notify();
}

void WizardController::gridKeyPressed(int key)
{
    if (m_state.selectionMode && key == SpaceKey)
        toggle();
}

void WizardController::checkAll()
{
    if (!m_state.selectionMode)
        return;
    GridRules::setAllChecks(m_grid, CheckState::Checked);
    notify();
}

void WizardController::uncheckAll()
{
    if (!m_state.selectionMode)
        return;
    GridRules::setAllChecks(m_grid, CheckState::Unchecked);
    notify();
}

void WizardController::toggle()
{
    if (!m_state.selectionMode)
        return;
    GridRules::toggleSelectedRows(m_grid);
    notify();
}

void WizardController::optionClicked(int row)
{
    m_options.click(row, m_state);
    notify();
}

} // namespace MGImport8
