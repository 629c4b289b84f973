#pragma once

#include "common/connectionstring.h"
#include "sqladmin/sqlsession.h"

#include <QString>

namespace MGImport8::SqlAdmin {

/// A server name split into what the drivers take.
///
/// SQL Server names are written as users type them: `host`, `host\INSTANCE`, `host,port`
/// (`(local)` and `.` are this machine). PostgreSQL names are `host`, `host:port`,
/// `[v6-address]:port`, or an absolute socket folder `/folder` or `/folder:port`; without a port
/// the server's default (5432) applies.
struct ServerAddress
{
    QString host;
    QString instance;
    int port = 0; ///< 0: the default port
    bool socketFolder = false;
};

ServerAddress parseServerName(ServerKind kind, const QString &name);

/// The login that an OLE DB connection string of the family describes: "Data Source",
/// "Initial Catalog", "User ID" and "Password", and "Integrated Security=SSPI" (or
/// "Trusted_Connection=Yes") for integrated security.
LoginSettings loginFromConnectionString(const ConnectionString &connectionString);

/// The FreeTDS ODBC connection string for a login: DRIVER, SERVER (`host\instance` kept whole),
/// PORT, DATABASE, UID/PWD or Trusted_Connection, and
/// TDS_Version 7.4. Values stand in braces, with closing braces
/// doubled, so that no value can add an entry of its own.
QString freeTdsConnectionString(const LoginSettings &login);

/// The Qt SQL driver name for a kind of server.
QString qtDriverName(ServerKind kind);

/// The options of QPSQL for a login ("connect_timeout=N", the statement timeout).
QString postgresConnectOptions(const LoginSettings &login);

/// The name of the ODBC driver that FreeTDS registers; MGIMPORT8_FREETDS_DRIVER overrides it.
QString freeTdsDriverName();

} // namespace MGImport8::SqlAdmin
