#pragma once

#include "common/result.h"
#include "sqladmin/catalogue.h"
#include "sqladmin/dialect.h"
#include "sqladmin/sqlsession.h"

#include <QList>
#include <QString>

#include <memory>

namespace MGImport8 {

namespace SqlAdmin {
class ManagementServer;
} // namespace SqlAdmin

/// One database of a connected server: its tables, their columns, keys and indexes, its views and
/// functions, users and roles, and immediate execution of a batch. It opens its own connection to
/// the database on first use and keeps it.
class SQLDatabase
{
public:
    SQLDatabase(SqlAdmin::ManagementServer &server, QString name);
    ~SQLDatabase();

    QString name() const { return m_name; }

    Result<QList<SqlAdmin::ObjectName>> tables();
    /// The table a name means: "schema.table" when the schema exists with such a table, otherwise
    /// the table of that name (compared without regard to case, the default schema first).
    Result<SqlAdmin::ObjectName> findTable(const QString &name);
    Result<QList<SqlAdmin::ColumnInfo>> columns(const SqlAdmin::ObjectName &table);
    /// The table's primary key; a key without a name and without columns when it has none.
    Result<SqlAdmin::PrimaryKeyInfo> primaryKey(const SqlAdmin::ObjectName &table);
    Result<QList<SqlAdmin::IndexInfo>> indexes(const SqlAdmin::ObjectName &table);
    Result<QList<SqlAdmin::RoutineInfo>> views();
    Result<QList<SqlAdmin::RoutineInfo>> functions();
    Result<QList<SqlAdmin::DatabaseUserInfo>> users();
    Result<QList<SqlAdmin::RoleInfo>> roles();

    /// Drops the database user of that name; creates one for a login (named as the login);
    /// makes a user (or login role) a member of a role.
    Result<bool> dropUser(const QString &user);
    Result<bool> createUser(const QString &user, const QString &login);
    Result<bool> addRoleMember(const QString &role, const QString &member);

    /// Runs a batch as it stands.
    Result<bool> executeImmediate(const QString &batch);
    /// Runs the CREATE statement of a view (`kind` 'V') or a function ('F') and records when it
    /// was created, in one transaction, where the server keeps no such date itself.
    Result<bool> createRoutine(QChar kind, const SqlAdmin::ObjectName &object, const QString &statement);

    /// The connection, opened on first use.
    Result<SqlAdmin::SqlSession *> session();

private:
    Result<QList<SqlAdmin::RoutineInfo>> routines(bool views);

    SqlAdmin::ManagementServer &m_server;
    QString m_name;
    std::unique_ptr<SqlAdmin::SqlSession> m_session;
};

namespace SqlAdmin {
/// The management layer's name for a database's object.
using ManagedDatabase = MGImport8::SQLDatabase;
} // namespace SqlAdmin

} // namespace MGImport8
