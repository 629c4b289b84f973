#pragma once

#include "common/result.h"
#include "sqladmin/catalogue.h"
#include "sqladmin/sqlsession.h"

#include <QString>

#include <memory>

namespace MGImport8::SqlAdmin {

/// What differs between the two kinds of server: the statements that read the catalogue and
/// the few facts that are not statements. Every catalogue statement returns its columns in the
/// order its comment gives, the same for both kinds, so that one reader interprets both.
/// Values that name an object always travel as `?` parameters.
class Dialect
{
public:
    virtual ~Dialect() = default;

    static std::unique_ptr<Dialect> create(ServerKind kind);

    virtual ServerKind kind() const = 0;
    /// The database the management connection opens.
    virtual QString adminDatabase() const = 0;
    /// The schema that a bare table name means.
    virtual QString defaultSchema() const = 0;

    /// One row, one column: whether the login is a system administrator.
    virtual QString sysAdminQuery() const = 0;
    /// One row, one column: the login the server accepted.
    virtual QString loginIdentityQuery() const = 0;
    /// One row, one column: the machine name; empty when the server cannot say.
    virtual QString netNameQuery() const = 0;
    virtual QString versionQuery() const = 0;
    /// One row, one column: the security mode in SQL-DMO's values.
    virtual QString securityModeQuery() const = 0;
    /// The batch that sets the security mode, or an error when the server cannot do it.
    virtual Result<QString> setSecurityModeStatement(int mode) const = 0;
    /// name, in the server's order.
    virtual QString databasesQuery() const = 0;
    /// One row, one column: the path of the master database's primary file, or a folder.
    virtual QString dataFileQuery() const = 0;
    /// The statement that stops the server, or an error when it cannot be stopped from a client.

    /// schema, name.
    virtual QString tablesQuery() const = 0;
    /// name, type, length, nullable, identity, default, computed; parameters schema, table.
    virtual QString columnsQuery() const = 0;
    /// key name, clustered, column, in key order; parameters schema, table.
    virtual QString primaryKeyQuery() const = 0;
    /// index name, primary key, unique, clustered, column; parameters schema, table.
    virtual QString indexesQuery() const = 0;
    /// schema, name, created, definition. `withDates` tells whether the creation date record of
    /// the layer exists in the database (asked with createdRecordQuery()).
    virtual QString viewsQuery(bool withDates) const = 0;
    virtual QString functionsQuery(bool withDates) const = 0;
    /// One row when the database keeps the layer's creation date record; empty when the server
    /// keeps the dates itself.
    virtual QString createdRecordQuery() const = 0;
    /// The statements that record an object's creation in the same transaction as its CREATE;
    /// parameters kind ("V" or "F"), schema, name. Empty when the server keeps the dates itself.
    virtual QStringList recordCreatedStatements() const = 0;
    /// name, kind, disabled, default database.
    virtual QString loginsQuery() const = 0;
    /// user name, login name.
    virtual QString usersQuery() const = 0;
    /// role name, member name (null for a role without members), grouped by role.
    virtual QString rolesQuery() const = 0;

    /// The name quoted as the server quotes identifiers ([a]]b] or "a""b").
    virtual QString quoteName(const QString &name) const = 0;
    /// The text as a string literal of the server, quotes (and on PostgreSQL backslashes) doubled,
    /// so that nothing in it can end the literal early.
    virtual QString quoteLiteral(const QString &text) const = 0;

    // Logins, users and roles. The statements put names in as quoted identifiers and passwords as
    // literals: DDL of this kind takes no parameters. They hold passwords, so callers never log
    // them and take the password out of any error they pass on.

    /// The statements that create a login with a password and a default database.
    virtual QStringList createLoginStatements(const QString &login, const QString &password,
                                              const QString &database) const = 0;
    /// The statement that sets a login's password without knowing the old one.
    virtual QString setPasswordStatement(const QString &login, const QString &password) const = 0;
    virtual QString setDefaultDatabaseStatement(const QString &login,
                                                const QString &database) const = 0;
    /// In the database concerned: drop the user, create it for the login, make it a role member.
    virtual QString dropUserStatement(const QString &database, const QString &user) const = 0;
    virtual QString createUserStatement(const QString &database, const QString &user,
                                        const QString &login) const = 0;
    virtual QString addRoleMemberStatement(const QString &role, const QString &member) const = 0;
};

std::unique_ptr<Dialect> makeSqlServerDialect();
std::unique_ptr<Dialect> makePostgresDialect();

} // namespace MGImport8::SqlAdmin
