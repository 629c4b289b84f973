#pragma once

#include "common/result.h"

#include <QList>
#include <QString>
#include <QVariant>

#include <functional>
#include <memory>

namespace MGImport8::SqlAdmin {

using Row = QVariantList;
using Rows = QList<Row>;

/// One open connection to one database of a server, as the management layer uses it: queries that
/// return rows, and batches run as they stand. Every statement of the layer passes here, so this is
/// also where a test stands in for a server that cannot run on the machine.
class SqlSession
{
public:
    virtual ~SqlSession() = default;

    /// Runs one statement with positional `?` values and returns all of its rows.
    virtual Result<Rows> query(const QString &statement, const QVariantList &values = {}) = 0;
    /// Runs a batch as it stands and returns whether it ran without error.
    virtual Result<bool> execute(const QString &batch) = 0;
    /// Begins, commits or rolls back a transaction on the connection.
    virtual Result<bool> begin() = 0;
    virtual Result<bool> commit() = 0;
    virtual Result<bool> rollback() = 0;
};

/// Where a server lives and how to log in to it; the database names the one to open.
struct LoginSettings
{
    QString server;
    QString database;
    QString login;
    QString password;
    bool integrated = true;
    /// Seconds to wait for the login; 0 waits as long as the driver does.
    int loginTimeout = 20;
    /// Seconds a statement may run; 0 for no limit.
    int commandTimeout = 0;
};

enum class ServerKind { SqlServer, PostgreSql };

/// Opens sessions. The real one goes through Qt SQL; tests may give their own.
using SessionFactory
    = std::function<Result<std::unique_ptr<SqlSession>>(ServerKind, const LoginSettings &)>;

/// The factory that opens real connections through Qt SQL (QODBC with FreeTDS, or QPSQL).
SessionFactory qtSessionFactory();

} // namespace MGImport8::SqlAdmin
