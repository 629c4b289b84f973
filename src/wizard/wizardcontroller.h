#pragma once

#include "wizard/importgrid.h"
#include "wizard/optionslist.h"
#include "wizard/sources/sourcereader.h"
#include "wizard/wizardstate.h"

#include <QList>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>

namespace MGImport8 {

class AccessSourceReader;
class Engine;
class ImportType;
class ImportTypes;
class ServerSourceReader;
class WorkbookSourceReader;
class WizardView;

/// The Import Wizard's logic, free of widgets: the run state, the panels and their entry and exit
/// logic, the working grid's cell rules, and the import. A view (the Qt form, the command line, a
/// test) forwards the user's actions to it and shows what `state()` and `grid()` hold whenever
/// `WizardView::stateChanged` says they changed; messages, the file dialog, the hourglass and
/// yielding go through the view.
class WizardController : public QObject
{
    Q_OBJECT

public:
    /// The key code that toggles the selected rows.
    static constexpr int SpaceKey = 32;

    WizardController(Engine &engine, WizardView &view, QObject *parent = nullptr);
    ~WizardController() override;
    WizardController(const WizardController &) = delete;
    WizardController &operator=(const WizardController &) = delete;

    /// Opens the wizard: result true, the engine's title and description, the method list from
    /// the catalogue, the method panel.
    void start();

    const WizardState &state() const { return m_state; }
    ImportGrid &grid() { return m_grid; }
    const ImportGrid &grid() const { return m_grid; }
    ImportTypes &catalogue() { return *m_catalogue; }
    Engine &engine() const { return m_engine; }
    /// The method chosen in the method list, or nullptr.
    ImportType *chosenMethod() const { return m_method; }
    /// Reads the tables of every database through `reader` instead of the Access and server
    /// readers (a table source without a database file or server behind it).
    void setTableReader(std::unique_ptr<TableReader> reader);

    // Method panel
    /// The method list's current row changed. With no row (-1) only the description is cleared;
    /// the method chosen before stays chosen.
    void selectMethodRow(int row);
    /// Double-click on a method row: choose it and go on as Next does.
    void activateMethodRow(int row);

    // Buttons
    void next();
    void back();
    /// Cancel (or Done after an import): stops a running import and closes the wizard.
    void cancel();

    // File panel (wizardfilepanel.cpp)
    /// The file dialog with the method's title and pattern; a chosen path goes into `Filename`.
    void selectFile();
    /// The `Filename` text box changed. The chosen method's `Filename` takes the text only when
    /// the file panel is left.
    void setFilename(const QString &filename);

    // Database panel (wizarddatabasepanel.cpp)
    void setServerName(const QString &serverName);
    /// `radioNTSecurity` (true) or `radioSQLSecurity` (false) clicked.
    void setIntegratedSecurity(bool integrated);
    void setLoginName(const QString &loginName);
    void setLoginPassword(const QString &password);
    /// The `ServerName` list is being opened: the login check, then server discovery.
    void openServerList();
    /// The `DatabaseName` list is being opened: lists the chosen server's databases.
    void openDatabaseList();
    void setDatabaseName(const QString &databaseName);

    // Table and spreadsheet panels (wizardtablepanels.cpp)
    /// A table chosen in `DatabaseTable`: read it into the grid.
    void selectTable(const QString &table);
    /// A worksheet chosen in `Worksheet` (position from 0): load it into the grid.
    void selectWorksheet(int index);
    /// The worksheet the spreadsheet panel selects on entry (from 0; the first unless told
    /// otherwise). The command line starts on the sheet it was asked for.
    void setFirstWorksheet(int index) { m_firstWorksheet = index; }

    // Delimiter panel (wizarddelimiterpanel.cpp): every change re-reads the file.
    void setDelimiterChecked(int index, bool checked);
    void setOtherDelimiter(const QString &text);
    /// All boxes and the "other" text at once, with one re-read when anything changed.
    void setDelimiters(const std::array<bool, DelimiterBoxCount> &checked, const QString &other);

    // The working grid's cell events
    /// Whether the cell may be edited; for a mapping cell the grid's list becomes the engine's
    /// column choices.
    bool beforeEdit(qsizetype row, int column);
    /// A mapping cell was edited to `text`.
    void afterEdit(qsizetype row, int column, const QString &text);
    void gridClicked(qsizetype row, int column);
    /// Character code of a key pressed in the grid; the space key toggles the selected rows.
    void gridKeyPressed(int key);

    // Row selection panel
    void checkAll();
    void uncheckAll();
    void toggle();

    // Options panel
    void optionClicked(int row);

    /// What `StartWizard` returns: true unless an import ran to its end.
    bool result() const { return m_result; }
    bool cancelled() const { return m_cancelled; }
    int importedCount() const { return m_imported; }
    int skippedCount() const { return m_skipped; }

private:
    class BusyGuard;
    void notify();
    void showExclamation(const QString &text);
    /// The chosen method's IncludePanel, or nothing after refusing a method without panel list.
    std::optional<bool> includes(Panel panel);
    // Navigation, mapping, selection, options and the run (wizardcontroller.cpp)
    void selectPanel(Panel panel);
    void enterPanel();
    bool exitCheck();
    void enterMapPanel();
    void enterPreviewPanel();
    void enterOptionsPanel();
    void runImport();
    TableReader &tableReader();
    /// What the readers take of the chosen method: the choices its panels' exits stored in it.
    SourceChoice chosenSource() const;

    // File panel
    bool exitFilePanel();

    // Database panel
    bool exitDatabasePanel();
    /// The database panel's choices of server and login.
    ServerLogin serverLogin() const;
    void setStatusMessage(const QString &text);

    // Table and spreadsheet panels
    bool readDatabaseSource();
    bool listDatabaseTables();
    QString chosenSourceName() const;
    void enterTablePanel();
    void enterSpreadsheetPanel();

    // Delimiter panel
    bool readTextFile();
    /// What a reading of the text file depends on: the file and the delimiter set.
    QString textReadKey() const;
    void enterDelimiterPanel(const QString &freshRead);
    void rereadTextFile();

    Engine &m_engine;
    WizardView &m_view;
    std::unique_ptr<ImportTypes> m_catalogue;
    /// The readers of the sources: servers (and their tables), Access tables, worksheets.
    std::unique_ptr<ServerSourceReader> m_servers;
    std::unique_ptr<AccessSourceReader> m_accessTables;
    std::unique_ptr<WorkbookSourceReader> m_worksheets;
    std::unique_ptr<TableReader> m_tablesInstead;
    ImportGrid m_grid;
    WizardState m_state;
    OptionsList m_options;
    QList<ImportType *> m_methodRows;
    ImportType *m_method = nullptr;
    bool m_result = true;
    bool m_cancelled = false;
    int m_imported = 0;
    int m_skipped = 0;
    int m_busyDepth = 0;
    /// Set when the file panel's exit has just filled the grid from the text file; the next panel
    /// entry takes it.
    QString m_freshTextRead;
    int m_firstWorksheet = 0;
};

} // namespace MGImport8
