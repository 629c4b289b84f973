#pragma once

#include "wizard/importgrid.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <array>

namespace MGImport8 {

/// The wizard's panels in their fixed order: the order Next and Back walk them in.
enum class Panel {
    MethodPanel,
    FilePanel,
    DatabasePanel,
    TablePanel,
    SpreadsheetPanel,
    DelimiterPanel,
    MapPanel,
    FilterPanel,
    PreviewPanel,
    OptionsPanel,
    ImportPanel,
};

constexpr int PanelCount = 11;

/// The panel's key as import methods name it ("MethodPanel"); panel pages carry it as their name.
QString panelKey(Panel panel);

/// The delimiter check boxes: "&Tab", "Se&micolon", "&Comma", "&Space", "&Other:".
constexpr int DelimiterBoxCount = 5;
constexpr int OtherDelimiterBox = 4;

/// One row of the method list: the method's picture key beside its name; disabled methods look
/// different but stay in the list.
struct MethodListRow
{
    QString name;
    QString icon;
    bool enabled = false;
};

/// One row of the options list: a check cell and the option's caption.
struct OptionListRow
{
    CheckState check = CheckState::Unchecked;
    QString caption;
};

/// A row the host skipped during the import: its grid row (a text file's line number) and the
/// status text the host gave it.
struct SkippedRow
{
    qsizetype row = 0;
    QString status;
};

/// Everything the wizard's controls show, as the controller last set it. A view mirrors it on
/// every `WizardView::stateChanged`; the working grid is shown from `ImportGrid` itself.
struct WizardState
{
    Panel currentPanel = Panel::MethodPanel;

    /// The title label and the introduction on the method panel (from the engine).
    QString title;
    QString importDescription;

    /// Method panel: the list `ImportTypeList`, its current row (-1 for none) and the chosen
    /// method's description `ImportTypeDescription`.
    QList<MethodListRow> methods;
    int currentMethodRow = -1;
    QString importTypeDescription;

    /// File panel: the captions `SelectFileTitle`, `SelectFileDescription`, the text box `Filename`.
    /// The boxes of every panel hold the user's edits; a panel's exit stores its choices in the
    /// chosen method once, and the readers take them from there.
    QString selectFileTitle;
    QString selectFileDescription;
    QString filename;

    /// Database panel: the server drop-down list `ServerName` (its entries and its text), the
    /// security choice (`radioNTSecurity` when integrated, `radioSQLSecurity` otherwise; the frame
    /// `SQLLoginFrame` is enabled only with SQL security), `LoginName`, `LoginPassword`, the
    /// database drop-down list `DatabaseName` (entries and text), and `StatusMessage`, shown while
    /// it is not empty.
    QStringList servers;
    QString serverName;
    bool integratedSecurity = true;
    QString loginName;
    QString loginPassword;
    QStringList databases;
    QString databaseName;
    QString statusMessage;

    /// Table panel: `SelectTableDescription` and the drop-down list `DatabaseTable`.
    QString selectTableDescription;
    QStringList databaseTables;
    QString databaseTable;

    /// Spreadsheet panel: `WorksheetDescription` and the drop-down list `Worksheet`.
    QString worksheetDescription;
    QStringList worksheets;
    int currentWorksheet = -1;

    /// Delimiter panel: the boxes `chkDelimit_0` to `chkDelimit_4` and the text `txtOtherDelimit`.
    std::array<bool, DelimiterBoxCount> delimiterChecked{};
    QString otherDelimiter;

    /// Whether the working grid `ImportTable` is shown over the current panel.
    bool importTableVisible = false;

    /// The buttons.
    QString nextCaption;
    bool nextVisible = true;
    bool backEnabled = false;
    bool backVisible = true;
    QString cancelCaption;

    /// Options panel: the list `OptionsList`.
    QList<OptionListRow> options;

    /// Import panel: the progress bar (0 to 100) and the status label `ImportStatus`.
    int progress = 0;
    QString importStatus;
    /// The rows the host skipped, in grid order, for the list `SkippedRows`.
    QList<SkippedRow> skippedRows;

    /// The grid's cell rules: mapping mode allows editing the mapping row, selection mode lets
    /// clicks and the space key tick rows. Both are cleared whenever a panel is entered.
    bool mappingMode = false;
    bool selectionMode = false;
};

} // namespace MGImport8
