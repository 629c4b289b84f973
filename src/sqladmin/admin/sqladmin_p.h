#pragma once

#include <MGImport8/sqladmin.h>

#include "sqladmin/managementserver.h"
#include "sqladmin/sqlsession.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

namespace pugi {
class xml_document;
class xml_node;
} // namespace pugi

namespace MGImport8 {

/// What `TestDMO` learns of the management library: whether it can be loaded, and its version.
struct ManagementLibraryProbe
{
    bool present = false;
    int major = 0;
    int minor = 0;
};

// Hidden: the class it belongs to is exported, and its members would be exported with it.
struct Q_DECL_HIDDEN SQLAdmin::Private
{
    std::unique_ptr<SqlAdmin::ManagementServer> server;
    SqlAdmin::SessionFactory factory = SqlAdmin::qtSessionFactory();
    std::function<ManagementLibraryProbe(SqlAdmin::ServerKind)> probeLibrary;
    /// Starts a registration command in a hidden window without waiting for it.
    std::function<void(const QString &)> launch;

    QString lastError;
    QString trace;
    QString serverName;
    QString loginName;
    QString loginPassword;
    bool integrated = true;
    QString databaseUserId;
    QString databaseUserPassword;
    QString serverType = SQLAdmin::SqlServerType;
    bool reRegistered = false;
    /// Sees every statement that structure maintenance runs to change a database.
    std::function<void(const QString &)> structureStatement;
    bool structureDryRun = false;

    SqlAdmin::ServerKind kind() const;
    SqlAdmin::LoginSettings login() const;
    void release() { server.reset(); }
};

namespace SqlAdmin {

/// The management library that the driver stack stands for: the Qt SQL driver of the kind (and
/// for SQL Server the FreeTDS ODBC driver), in the version of the interface this layer offers.
ManagementLibraryProbe probeDriverStack(ServerKind kind);

/// Library-internal access to an `SQLAdmin`'s private state, for the structure maintenance code
/// and for tests that stand in for a server that cannot run here.
class SQLAdminAccess
{
public:
    using Private = SQLAdmin::Private;
    static SQLAdmin::Private &of(SQLAdmin &admin) { return *admin.d; }
    static const SQLAdmin::Private &of(const SQLAdmin &admin) { return *admin.d; }
};

/// Appends a "SQLServer" element with `admin`'s connection settings to `Parent`. Used only inside
/// the library: the element holds the password in clear text.
void SaveSettings(const SQLAdmin &admin, pugi::xml_document &Document, pugi::xml_node Parent);
/// Reads the connection settings from the attributes of `Node` (names in any case).
void LoadSettings(SQLAdmin &admin, const pugi::xml_node &Node);
/// The directory of the private management library copy, with a trailing backslash.
QString FindDMODirectory();

/// The registration commands `TestDMO` launches for the library copy in `directory`.
QStringList dmoRegistrationCommands(const QString &directory);

} // namespace SqlAdmin

} // namespace MGImport8
