#include "wizard/wizardcontroller.h"

#include "common/texthelpers.h"
#include "wizard/sources/workbooksourcereader.h"

#include <MGImport8/importtype.h>

using namespace Qt::StringLiterals;

// The table and spreadsheet panels: a database's tables and a workbook's worksheets read into
// the working grid.

namespace MGImport8 {
namespace {

/// The worksheet list offers these names whatever the workbook holds.
constexpr int WorksheetChoices = 11;

} // namespace

bool WizardController::readDatabaseSource()
{
    const std::optional<bool> tablePanel = includes(Panel::TablePanel);
    if (!tablePanel)
        return false;
    if (!*tablePanel) {
        m_grid.clear();
        return tableReader().readTable(chosenSource(), m_method->Table(), m_grid);
    }
    return listDatabaseTables();
}

// The list changes only once the database is open and its tables are known: a failed open or
// schema read leaves the list as it was, beside the message that says why.
bool WizardController::listDatabaseTables()
{
    QStringList tables;
    if (!tableReader().listTables(chosenSource(), tables))
        return false;
    m_state.databaseTables = tables;
    m_state.databaseTable.clear();
    return true;
}

QString WizardController::chosenSourceName() const
{
    return m_method ? FileNameFromPath(m_method->Filename(), false) : QString();
}

void WizardController::enterTablePanel()
{
    m_grid.clear();
    if (m_method)
        listDatabaseTables();
    m_state.selectTableDescription = u"Which table in '"_s % chosenSourceName()
                                     % u"' should we use ?"_s;
    m_state.importTableVisible = true;
}

void WizardController::enterSpreadsheetPanel()
{
    m_state.importTableVisible = true;
    m_state.worksheetDescription = u"Which worksheet from "_s % chosenSourceName()
                                   % u" should we use ?"_s;
    m_state.worksheets.clear();
    for (int sheet = 1; sheet <= WorksheetChoices; ++sheet)
        m_state.worksheets.append(u"Sheet"_s % QString::number(sheet));
    notify();
    selectWorksheet(m_firstWorksheet);
}

void WizardController::selectTable(const QString &table)
{
    m_state.databaseTable = table;
    if (m_method) {
        m_method->setTable(table);
        m_grid.clear();
        tableReader().readTable(chosenSource(), table, m_grid);
    }
    notify();
}

void WizardController::selectWorksheet(int index)
{
    m_state.currentWorksheet = index;
    if (m_method) {
        m_grid.clear();
        m_worksheets->loadWorksheet(chosenSource(), index, m_grid);
    }
    notify();
}

} // namespace MGImport8
