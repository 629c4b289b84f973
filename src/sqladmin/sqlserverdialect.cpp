#include "sqladmin/dialect.h"
#include "sqladmin/nameguard.h"

using namespace Qt::StringLiterals;

namespace MGImport8::SqlAdmin {

namespace {

// SQL-DMO's security modes and the server's LoginMode values they stand for.
constexpr int integratedOnlyMode = 0;
constexpr int windowsLoginMode = 1;
constexpr int mixedLoginMode = 2;

// The object id of the table named by the two parameters schema and name.
const QString tableId = u"(SELECT o.object_id FROM sys.objects o JOIN sys.schemas s ON s.schema_id "
                        u"= o.schema_id WHERE s.name = ? AND o.name = ? AND o.type = 'U')"_s;

class SqlServerDialect : public Dialect
{
public:
    ServerKind kind() const override { return ServerKind::SqlServer; }
    QString adminDatabase() const override { return u"master"_s; }
    QString defaultSchema() const override { return u"dbo"_s; }

    QString sysAdminQuery() const override { return u"SELECT IS_SRVROLEMEMBER('sysadmin')"_s; }
    QString loginIdentityQuery() const override { return u"SELECT SUSER_SNAME()"_s; }
    QString netNameQuery() const override
    {
        return u"SELECT CAST(SERVERPROPERTY('MachineName') AS nvarchar(128))"_s;
    }
    QString versionQuery() const override { return u"SELECT @@VERSION"_s; }
    QString securityModeQuery() const override
    {
        return u"SELECT CASE CAST(SERVERPROPERTY('IsIntegratedSecurityOnly') AS int) "
               u"WHEN 1 THEN 0 ELSE 2 END"_s;
    }
    Result<QString> setSecurityModeStatement(int mode) const override
    {
        const int loginMode = mode == integratedOnlyMode ? windowsLoginMode : mixedLoginMode;
        return QString(u"EXEC master.dbo.xp_instance_regwrite N'HKEY_LOCAL_MACHINE', "
                       u"N'Software\\Microsoft\\MSSQLServer\\MSSQLServer', N'LoginMode', "
                       u"REG_DWORD, "_s
                       + QString::number(loginMode));
    }
    QString databasesQuery() const override
    {
        return u"SELECT name FROM sys.databases ORDER BY database_id"_s;
    }
    QString dataFileQuery() const override
    {
        return u"SELECT physical_name FROM sys.master_files WHERE database_id = DB_ID(N'master') "
               u"AND data_space_id = 1 ORDER BY file_id"_s;
    }

    QString tablesQuery() const override
    {
        return u"SELECT s.name, t.name FROM sys.tables t JOIN sys.schemas s ON s.schema_id = "
               u"t.schema_id WHERE t.is_ms_shipped = 0 ORDER BY s.name, t.name"_s;
    }
    QString columnsQuery() const override
    {
        return u"SELECT c.name, ty.name, CASE WHEN ty.name IN ('nchar', 'nvarchar') AND "
               u"c.max_length > 0 THEN c.max_length / 2 ELSE c.max_length END, c.is_nullable, "
               u"c.is_identity, dc.definition, cc.definition FROM sys.columns c JOIN sys.types ty "
               u"ON ty.user_type_id = c.user_type_id LEFT JOIN sys.default_constraints dc ON "
               u"dc.object_id = c.default_object_id LEFT JOIN sys.computed_columns cc ON "
               u"cc.object_id = c.object_id AND cc.column_id = c.column_id WHERE c.object_id = "_s
               + tableId + u" ORDER BY c.column_id"_s;
    }
    QString primaryKeyQuery() const override
    {
        return u"SELECT k.name, CASE WHEN i.type = 1 THEN 1 ELSE 0 END, c.name FROM "
               u"sys.key_constraints k JOIN sys.indexes i ON i.object_id = k.parent_object_id AND "
               u"i.index_id = k.unique_index_id JOIN sys.index_columns ic ON ic.object_id = "
               u"i.object_id AND ic.index_id = i.index_id JOIN sys.columns c ON c.object_id = "
               u"ic.object_id AND c.column_id = ic.column_id WHERE k.type = 'PK' AND "
               u"k.parent_object_id = "_s
               + tableId + u" ORDER BY ic.key_ordinal"_s;
    }
    QString indexesQuery() const override
    {
        return u"SELECT i.name, i.is_primary_key, i.is_unique, CASE WHEN i.type = 1 THEN 1 ELSE 0 "
               u"END, c.name FROM sys.indexes i JOIN sys.index_columns ic ON ic.object_id = "
               u"i.object_id AND ic.index_id = i.index_id JOIN sys.columns c ON c.object_id = "
               u"ic.object_id AND c.column_id = ic.column_id WHERE i.index_id > 0 AND "
               u"ic.is_included_column = 0 AND i.object_id = "_s
               + tableId + u" ORDER BY i.index_id, ic.key_ordinal"_s;
    }
    QString viewsQuery(bool) const override
    {
        return u"SELECT s.name, v.name, v.create_date, m.definition FROM sys.views v JOIN "
               u"sys.schemas s ON s.schema_id = v.schema_id LEFT JOIN sys.sql_modules m ON "
               u"m.object_id = v.object_id WHERE v.is_ms_shipped = 0 ORDER BY s.name, v.name"_s;
    }
    QString functionsQuery(bool) const override
    {
        return u"SELECT s.name, o.name, o.create_date, m.definition FROM sys.objects o JOIN "
               u"sys.schemas s ON s.schema_id = o.schema_id LEFT JOIN sys.sql_modules m ON "
               u"m.object_id = o.object_id WHERE o.type IN ('FN', 'IF', 'TF', 'FS', 'FT') AND "
               u"o.is_ms_shipped = 0 ORDER BY s.name, o.name"_s;
    }
    QString createdRecordQuery() const override { return {}; }
    QStringList recordCreatedStatements() const override { return {}; }
    QString loginsQuery() const override
    {
        return u"SELECT name, type_desc, is_disabled, default_database_name FROM "
               u"sys.server_principals WHERE type IN ('S', 'U', 'G') ORDER BY principal_id"_s;
    }
    QString usersQuery() const override
    {
        return u"SELECT dp.name, sp.name FROM sys.database_principals dp LEFT JOIN "
               u"sys.server_principals sp ON sp.sid = dp.sid WHERE dp.type IN ('S', 'U', 'G') "
               u"ORDER BY dp.principal_id"_s;
    }
    QString rolesQuery() const override
    {
        return u"SELECT r.name, m.name FROM sys.database_principals r LEFT JOIN "
               u"sys.database_role_members rm ON rm.role_principal_id = r.principal_id LEFT JOIN "
               u"sys.database_principals m ON m.principal_id = rm.member_principal_id WHERE "
               u"r.type = 'R' ORDER BY r.principal_id, m.name"_s;
    }
    QString quoteName(const QString &name) const override { return bracketedIdentifier(name); }
    QString quoteLiteral(const QString &text) const override
    {
        QString escaped = text;
        escaped.replace(u"'"_s, u"''"_s);
        return u"N'"_s + escaped + u'\'';
    }
    QStringList createLoginStatements(const QString &login, const QString &password,
                                      const QString &database) const override
    {
        return {u"CREATE LOGIN "_s + quoteName(login) + u" WITH PASSWORD = "_s
                + quoteLiteral(password) + u", DEFAULT_DATABASE = "_s + quoteName(database)};
    }
    QString setPasswordStatement(const QString &login, const QString &password) const override
    {
        return u"ALTER LOGIN "_s + quoteName(login) + u" WITH PASSWORD = "_s
               + quoteLiteral(password);
    }
    QString setDefaultDatabaseStatement(const QString &login, const QString &database) const override
    {
        return u"ALTER LOGIN "_s + quoteName(login) + u" WITH DEFAULT_DATABASE = "_s
               + quoteName(database);
    }
    QString dropUserStatement(const QString &, const QString &user) const override
    {
        return u"DROP USER "_s + quoteName(user);
    }
    QString createUserStatement(const QString &, const QString &user,
                                const QString &login) const override
    {
        return u"CREATE USER "_s + quoteName(user) + u" FOR LOGIN "_s + quoteName(login);
    }
    QString addRoleMemberStatement(const QString &role, const QString &member) const override
    {
        return u"ALTER ROLE "_s + quoteName(role) + u" ADD MEMBER "_s + quoteName(member);
    }
};

} // namespace

std::unique_ptr<Dialect> makeSqlServerDialect()
{
    return std::make_unique<SqlServerDialect>();
}

std::unique_ptr<Dialect> Dialect::create(ServerKind kind)
{
    return kind == ServerKind::SqlServer ? makeSqlServerDialect() : makePostgresDialect();
}

} // namespace MGImport8::SqlAdmin
