#include "wizard/wizardcontroller.h"

#include "wizard/sources/serversourcereader.h"
#include "wizard/wizardview.h"

#include <MGImport8/importtype.h>

using namespace Qt::StringLiterals;

// The database panel: the server, the login, server discovery, the database list, and the exit
// check that builds the connection string and reads the database's tables.

namespace MGImport8 {
bool WizardController::exitDatabasePanel()
{
    if (!m_method)
        return false;
    const std::optional<QString> connection
        = m_servers->serverConnectionString(chosenSource(), serverLogin(), m_state.databaseName);
    if (!connection)
        return false;
    // On the server path the method's `Filename` names the database, as hosts read it; the file
    // panel's box keeps its own text.
    m_method->setConnectionString(*connection);
    m_method->setFilename(m_state.databaseName);
    // Without a server or a database there is nothing to connect to: saying so here beats the
    // driver's own words about an empty name. A blank server has its own words, since asking for
    // a database would send the user to the wrong box.
    if (connection->isEmpty()) {
        showExclamation(serverLogin().serverName.isEmpty()
                            ? u"Please select a SQL Server first"_s
                            : u"Please select a SQL Database first"_s);
        return false;
    }
    return readDatabaseSource();
}

// Without a table panel the method names its table (or query) itself and it is read at once;
// otherwise the table panel offers the database's tables.

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
    // The reader empties its list only once discovery has started; one that cannot start leaves
    // the list as it was and its status text showing.
    QStringList servers = m_state.servers;
    const bool discovered = m_servers->discoverServers(chosenSource(), servers,
                                                       [this, &servers](const QString &text) {
                                                           m_state.servers = servers;
                                                           setStatusMessage(text);
                                                       });
    m_state.servers = servers;
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
    const bool listed = m_servers->listDatabases(chosenSource(), login, databases, error);
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

} // namespace MGImport8
