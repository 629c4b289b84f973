#include "wizard/wizardcontroller.h"

#include "common/commonfunctions.h"
#include "common/connectionstring.h"
#include "methods/sourcekind.h"
#include "wizard/delimiterchoice.h"
#include "wizard/sources/serversourcereader.h"
#include "wizard/sources/workbooksourcereader.h"
#include "wizard/sources/textfilereader.h"
#include "wizard/wizardview.h"

#include <MGImport8/importtype.h>

using namespace Qt::StringLiterals;

// The source panels of the controller: the file, database, table, worksheet and delimiter panels,
// whose exit checks and controls read the source into the working grid.

namespace MGImport8 {

namespace {

/// The worksheet list offers these names whatever the workbook holds.
constexpr int WorksheetChoices = 11;

// The text box is trimmed of blanks only; other white space belongs to the name.
QString trimBlanks(const QString &text)
{
    qsizetype first = 0;
    qsizetype last = text.size();
    while (first < last && text.at(first) == u' ')
        ++first;
    while (last > first && text.at(last - 1) == u' ')
        --last;
    return text.sliced(first, last - first);
}

} // namespace

bool WizardController::exitFilePanel()
{
    m_state.filename = trimBlanks(m_state.filename);
    if (m_state.filename.isEmpty()) {
        showExclamation(u"Please select a file first."_s);
        return false;
    }
    if (!m_method)
        return false;
    m_method->setFilename(m_state.filename);
    const SourceKind kind = sourceKind(*m_method);
    if (kind == SourceKind::TextFile) {
        DelimiterChoice::preset(*m_method, m_state);
        if (!readTextFile())
            return false;
        m_freshTextRead = textReadKey();
        return true;
    }
    if (kind == SourceKind::AccessDatabase) {
        m_method->setConnectionString(jetConnectionString(m_method->Filename()));
        return readDatabaseSource();
    }
    return true;
}

bool WizardController::exitDatabasePanel()
{
    if (!m_method)
        return false;
    const std::optional<QString> connection
        = m_servers->serverConnectionString(*m_method, serverLogin(), m_state.databaseName);
    if (!connection)
        return false;
    m_method->setConnectionString(*connection);
    m_method->setFilename(m_state.databaseName);
    if (connection->isEmpty()) {
        showExclamation(u"Please select a SQL Database first"_s);
        return false;
    }
    return readDatabaseSource();
}

// Without a table panel the method names its table (or query) itself and it is read at once;
// otherwise the table panel offers the database's tables.
bool WizardController::readDatabaseSource()
{
    const std::optional<bool> tablePanel = includes(Panel::TablePanel);
    if (!tablePanel)
        return false;
    if (!*tablePanel) {
        m_grid.clear();
        return tableReader().readTable(*m_method, m_method->Table(), m_grid);
    }
    QStringList tables;
    const bool listed = tableReader().listTables(*m_method, tables);
    m_state.databaseTables = tables;
    m_state.databaseTable.clear();
    return listed;
}

QString WizardController::chosenSourceName() const
{
    return m_method ? FileNameFromPath(m_method->Filename(), false) : QString();
}

void WizardController::enterTablePanel()
{
    m_grid.clear();
    if (m_method) {
        QStringList tables;
        tableReader().listTables(*m_method, tables);
        m_state.databaseTables = tables;
        m_state.databaseTable.clear();
    }
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

void WizardController::selectFile()
{
    if (!m_method)
        return;
    const std::optional<QString> path = m_view.chooseFile(m_method->SelectFileTitle(),
                                                          m_method->Pattern());
    if (path)
        setFilename(*path);
}

void WizardController::setFilename(const QString &filename)
{
    m_state.filename = filename;
    if (m_method)
        m_method->setFilename(filename);
    notify();
}

ServerLogin WizardController::serverLogin() const
{
    return ServerLogin{m_state.serverName.trimmed(), m_state.integratedSecurity,
                       m_state.loginName.trimmed(), m_state.loginPassword};
}

void WizardController::setStatusMessage(const QString &text)
{
    m_state.statusMessage = text;
    notify();
    m_view.yield();
}

void WizardController::setServerName(const QString &serverName)
{
    m_state.serverName = serverName;
    notify();
}

void WizardController::setIntegratedSecurity(bool integrated)
{
    m_state.integratedSecurity = integrated;
    notify();
}

void WizardController::setLoginName(const QString &loginName)
{
    m_state.loginName = loginName;
    notify();
}

void WizardController::setLoginPassword(const QString &password)
{
    m_state.loginPassword = password;
    notify();
}

void WizardController::openServerList()
{
    if (!m_method)
        return;
    if (!m_state.integratedSecurity && m_state.loginName.trimmed().isEmpty()) {
        m_view.showMessage(u"Please enter a valid username for the SQL Server Login Name."_s,
                           MessageIcon::Critical, u"Login name needed"_s);
        return;
    }
    QStringList servers;
    const bool discovered = m_servers->discoverServers(*m_method, servers,
                                                       [this](const QString &text) {
                                                           setStatusMessage(text);
                                                       });
    m_state.servers = servers;
    // A discovery that could not run leaves its status text showing.
    if (discovered)
        setStatusMessage({});
    else
        notify();
}

void WizardController::openDatabaseList()
{
    if (!m_method)
        return;
    const ServerLogin login = serverLogin();
    m_state.databases.clear();
    setStatusMessage(u"Discovering Databases on "_s % login.serverName % u" ..."_s);
    QStringList databases;
    QString error;
    const bool listed = m_servers->listDatabases(*m_method, login, databases, error);
    setStatusMessage({});
    if (!listed) {
        QString text = u"Cannot list databases on SQL Server on "_s % login.serverName;
        if (!login.integratedSecurity)
            text += u" using the supplied User Name and Password"_s;
        showExclamation(text % u"\r\n\r\n"_s % error);
        return;
    }
    m_state.databases = databases;
    notify();
}

void WizardController::setDatabaseName(const QString &databaseName)
{
    m_state.databaseName = databaseName;
    notify();
}

void WizardController::selectTable(const QString &table)
{
    m_state.databaseTable = table;
    if (m_method) {
        m_method->setTable(table);
        m_grid.clear();
        tableReader().readTable(*m_method, table, m_grid);
    }
    notify();
}

void WizardController::selectWorksheet(int index)
{
    m_state.currentWorksheet = index;
    if (m_method) {
        m_grid.clear();
        m_worksheets->loadWorksheet(*m_method, index, m_grid);
    }
    notify();
}

QString WizardController::textReadKey() const
{
    return m_method->Filename() % QChar(0) % DelimiterChoice::delimiterSet(m_state);
}

bool WizardController::readTextFile()
{
    if (!m_method)
        return false;
    return TextFileReader::readFile(m_method->Filename(), DelimiterChoice::delimiterSet(m_state),
                                    m_state.currentPanel == Panel::DelimiterPanel, m_grid, m_view);
}

void WizardController::enterDelimiterPanel(const QString &freshRead)
{
    m_state.importTableVisible = true;
    if (!m_method)
        return;
    DelimiterChoice::preset(*m_method, m_state);
    notify();
    // Straight from the file panel, which has just read the file with these very delimiters, a
    // second reading of a large file would only show the same grid again.
    if (freshRead.isEmpty() || freshRead != textReadKey())
        readTextFile();
}

void WizardController::rereadTextFile()
{
    // The boxes stand for a file only once one has been chosen.
    if (m_method && !m_method->Filename().isEmpty())
        readTextFile();
    notify();
}

void WizardController::setDelimiterChecked(int index, bool checked)
{
    if (index < 0 || index >= DelimiterBoxCount || m_state.delimiterChecked[index] == checked)
        return;
    m_state.delimiterChecked[index] = checked;
    rereadTextFile();
}

void WizardController::setOtherDelimiter(const QString &text)
{
    if (m_state.otherDelimiter == text)
        return;
    m_state.otherDelimiter = text;
    rereadTextFile();
}

void WizardController::setDelimiters(const std::array<bool, DelimiterBoxCount> &checked,
                                     const QString &other)
{
    if (m_state.delimiterChecked == checked && m_state.otherDelimiter == other)
        return;
    m_state.delimiterChecked = checked;
    m_state.otherDelimiter = other;
    rereadTextFile();
}

} // namespace MGImport8
