#include "sqladmin/dialect.h"
#include "sqladmin/nameguard.h"

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <QRandomGenerator>

using namespace Qt::StringLiterals;

namespace MGImport8::SqlAdmin {

namespace {

// Schemas of the server itself and of this layer, left out of every listing.
const QString userSchemas = u"n.nspname NOT IN ('pg_catalog', 'information_schema', 'mgimport8') "
                            u"AND n.nspname NOT LIKE 'pg\\_toast%' AND n.nspname NOT LIKE "
                            u"'pg\\_temp\\_%'"_s;

// The oid of the table named by the two parameters schema and name.
const QString tableOid = u"(SELECT c.oid FROM pg_class c JOIN pg_namespace n ON n.oid = "
                         u"c.relnamespace WHERE n.nspname = ? AND c.relname = ? AND c.relkind IN "
                         u"('r', 'p'))"_s;

// The creation date that the layer records, joined to an object of kind `kind` whose schema and
// name are the expressions given.
QString createdColumn(bool withDates, const QString &kind, const QString &schema,
                      const QString &name)
{
    if (!withDates)
        return u"NULL::timestamptz"_s;
    return u"(SELECT d.created FROM mgimport8.object_created d WHERE d.kind = '"_s + kind
           + u"' AND d.schema_name = "_s + schema + u" AND d.object_name = "_s + name + u")"_s;
}

// The server's own parameters for stored SCRAM-SHA-256 secrets.
constexpr int scramIterations = 4096;
constexpr int scramSaltBytes = 16;

QByteArray hmac(const QByteArray &key, const QByteArray &message)
{
    return QMessageAuthenticationCode::hash(message, key, QCryptographicHash::Sha256);
}

// PBKDF2 with HMAC-SHA-256, one block: the key is as long as the hash.
QByteArray saltedPassword(const QByteArray &password, const QByteArray &salt)
{
    QByteArray u = hmac(password, salt + QByteArray("\0\0\0\1", 4));
    QByteArray result = u;
    for (int round = 1; round < scramIterations; ++round) {
        u = hmac(password, u);
        for (qsizetype at = 0; at < result.size(); ++at)
            result[at] = char(result[at] ^ u[at]);
    }
    return result;
}

// The secret the server stores for a password, computed here so that the password itself never
// travels in a statement, where the server would write it to its log with a failed statement.
// Only for ASCII, which SASLprep leaves as it is on both sides; other passwords go as they are
// and the server prepares them itself.
QString scramSecret(const QString &password)
{
    for (const QChar c : password) {
        if (c.unicode() == 0 || c.unicode() > 0x7f)
            return {};
    }
    QByteArray salt(scramSaltBytes, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32 *>(salt.data()),
                                          scramSaltBytes / int(sizeof(quint32)));
    const QByteArray salted = saltedPassword(password.toLatin1(), salt);
    const QByteArray storedKey = QCryptographicHash::hash(hmac(salted, "Client Key"),
                                                          QCryptographicHash::Sha256);
    const QByteArray serverKey = hmac(salted, "Server Key");
    return u"SCRAM-SHA-256$"_s + QString::number(scramIterations) + u':'
           + QString::fromLatin1(salt.toBase64()) + u'$' + QString::fromLatin1(storedKey.toBase64())
           + u':' + QString::fromLatin1(serverKey.toBase64());
}

// The role setting that stands for a login's default database.
const QString defaultDatabaseSetting = u"mgimport8.default_database"_s;

class PostgresDialect : public Dialect
{
public:
    ServerKind kind() const override { return ServerKind::PostgreSql; }
    QString adminDatabase() const override { return u"postgres"_s; }
    QString defaultSchema() const override { return u"public"_s; }

    QString sysAdminQuery() const override
    {
        return u"SELECT rolsuper FROM pg_roles WHERE rolname = current_user"_s;
    }
    QString loginIdentityQuery() const override { return u"SELECT session_user::text"_s; }
    // The server does not know its machine's name; the layer writes it from the address.
    QString netNameQuery() const override { return {}; }
    QString versionQuery() const override { return u"SELECT version()"_s; }
    // From the authentication rules in force: rules that trust the operating system's identity
    // and rules that ask for a password, or both.
    QString securityModeQuery() const override
    {
        return u"SELECT CASE WHEN bool_or(auth_method IN ('peer', 'ident', 'gss', 'sspi', "
               u"'cert')) AND bool_or(auth_method IN ('md5', 'scram-sha-256', 'password')) THEN 2 "
               u"WHEN bool_or(auth_method IN ('md5', 'scram-sha-256', 'password', 'trust')) THEN 1 "
               u"ELSE 0 END FROM pg_hba_file_rules WHERE error IS NULL AND auth_method <> "
               u"'reject'"_s;
    }
    Result<QString> setSecurityModeStatement(int) const override
    {
        return Error{u"A PostgreSQL server's authentication is set in its pg_hba.conf file, not "
                     u"through a connection."_s};
    }
    QString databasesQuery() const override
    {
        return u"SELECT datname FROM pg_database WHERE NOT datistemplate ORDER BY oid"_s;
    }
    QString dataFileQuery() const override
    {
        return u"SELECT current_setting('data_directory') || '/'"_s;
    }

    QString tablesQuery() const override
    {
        return u"SELECT n.nspname, c.relname FROM pg_class c JOIN pg_namespace n ON n.oid = "
               u"c.relnamespace WHERE c.relkind IN ('r', 'p') AND NOT c.relispartition AND "_s
               + userSchemas + u" ORDER BY 1, 2"_s;
    }
    QString columnsQuery() const override
    {
        return u"SELECT a.attname, format_type(a.atttypid, NULL), CASE WHEN a.atttypid IN "
               u"('varchar'::regtype, 'bpchar'::regtype) AND a.atttypmod > 0 THEN a.atttypmod - 4 "
               u"WHEN a.attlen > 0 THEN a.attlen ELSE -1 END, NOT a.attnotnull, a.attidentity <> "
               u"'' OR pg_get_serial_sequence(a.attrelid::regclass::text, a.attname) IS NOT NULL, "
               u"CASE WHEN a.attgenerated = '' THEN pg_get_expr(d.adbin, d.adrelid) END, CASE WHEN "
               u"a.attgenerated <> '' THEN pg_get_expr(d.adbin, d.adrelid) END FROM pg_attribute a "
               u"LEFT JOIN pg_attrdef d ON d.adrelid = a.attrelid AND d.adnum = a.attnum WHERE "
               u"a.attnum > 0 AND NOT a.attisdropped AND a.attrelid = "_s
               + tableOid + u" ORDER BY a.attnum"_s;
    }
    QString primaryKeyQuery() const override
    {
        return u"SELECT con.conname, i.indisclustered, a.attname FROM pg_constraint con JOIN "
               u"pg_index i ON i.indexrelid = con.conindid CROSS JOIN LATERAL unnest(con.conkey) "
               u"WITH ORDINALITY AS k(attnum, ord) JOIN pg_attribute a ON a.attrelid = "
               u"con.conrelid AND a.attnum = k.attnum WHERE con.contype = 'p' AND con.conrelid = "_s
               + tableOid + u" ORDER BY k.ord"_s;
    }
    QString indexesQuery() const override
    {
        return u"SELECT ic.relname, i.indisprimary, i.indisunique, i.indisclustered, "
               u"coalesce(a.attname, pg_get_indexdef(i.indexrelid, k.ord::int, true)) FROM "
               u"pg_index i JOIN pg_class ic ON ic.oid = i.indexrelid CROSS JOIN LATERAL "
               u"unnest(i.indkey::int2[]) WITH ORDINALITY AS k(attnum, ord) LEFT JOIN pg_attribute "
               u"a ON a.attrelid = i.indrelid AND a.attnum = k.attnum WHERE k.ord <= i.indnkeyatts "
               u"AND i.indrelid = "_s
               + tableOid + u" ORDER BY i.indexrelid, k.ord"_s;
    }
    QString viewsQuery(bool withDates) const override
    {
        return u"SELECT n.nspname, c.relname, "_s
               + createdColumn(withDates, u"V"_s, u"n.nspname"_s, u"c.relname"_s)
               + u", pg_get_viewdef(c.oid, true) FROM pg_class c JOIN pg_namespace n ON n.oid = "
                 u"c.relnamespace WHERE c.relkind IN ('v', 'm') AND "_s
               + userSchemas + u" ORDER BY 1, 2"_s;
    }
    QString functionsQuery(bool withDates) const override
    {
        return u"SELECT n.nspname, p.proname, "_s
               + createdColumn(withDates, u"F"_s, u"n.nspname"_s, u"p.proname"_s)
               + u", pg_get_functiondef(p.oid) FROM pg_proc p JOIN pg_namespace n ON n.oid = "
                 u"p.pronamespace WHERE p.prokind = 'f' AND NOT EXISTS (SELECT 1 FROM pg_depend "
                 u"dep WHERE dep.classid = 'pg_proc'::regclass AND dep.objid = p.oid AND "
                 u"dep.deptype = 'e') AND "_s
               + userSchemas + u" ORDER BY 1, 2"_s;
    }
    QString createdRecordQuery() const override
    {
        return u"SELECT 1 WHERE to_regclass('mgimport8.object_created') IS NOT NULL"_s;
    }
    QStringList recordCreatedStatements() const override
    {
        return {u"CREATE SCHEMA IF NOT EXISTS mgimport8"_s,
                u"CREATE TABLE IF NOT EXISTS mgimport8.object_created (kind char(1) NOT NULL, "
                u"schema_name name NOT NULL, object_name name NOT NULL, created timestamptz NOT "
                u"NULL DEFAULT now(), PRIMARY KEY (kind, schema_name, object_name))"_s,
                u"INSERT INTO mgimport8.object_created (kind, schema_name, object_name) VALUES (?, "
                u"?, ?) ON CONFLICT (kind, schema_name, object_name) DO UPDATE SET created = "
                u"now()"_s};
    }
    QString loginsQuery() const override
    {
        return u"SELECT r.rolname, 'SQL_LOGIN', false, coalesce((SELECT substr(c, "
               u"length('mgimport8.default_database=') + 1) FROM pg_db_role_setting s CROSS JOIN "
               u"LATERAL unnest(s.setconfig) AS c WHERE s.setdatabase = 0 AND s.setrole = r.oid "
               u"AND "
               u"c LIKE 'mgimport8.default\\_database=%' LIMIT 1), '') FROM pg_roles r WHERE "
               u"r.rolcanlogin ORDER BY r.oid"_s;
    }
    // PostgreSQL has no users per database: the login roles granted CONNECT on it by name (the
    // owner's implicit grant included, the grant to PUBLIC not) stand in.
    QString usersQuery() const override
    {
        return u"SELECT r.rolname, r.rolname FROM pg_roles r WHERE r.rolcanlogin AND EXISTS "
               u"(SELECT 1 FROM pg_database d CROSS JOIN LATERAL aclexplode(coalesce(d.datacl, "
               u"acldefault('d', d.datdba))) AS a WHERE d.datname = current_database() AND "
               u"a.grantee = r.oid AND a.privilege_type = 'CONNECT') ORDER BY r.oid"_s;
    }
    QString rolesQuery() const override
    {
        return u"SELECT r.rolname, m.rolname FROM pg_roles r LEFT JOIN pg_auth_members am ON "
               u"am.roleid = r.oid LEFT JOIN pg_roles m ON m.oid = am.member WHERE NOT "
               u"r.rolcanlogin AND r.rolname NOT LIKE 'pg\\_%' ORDER BY r.oid, m.rolname"_s;
    }
    QString quoteName(const QString &name) const override { return quotedIdentifier(name); }
    // The escape form reads backslashes the same whatever standard_conforming_strings says.
    QString quoteLiteral(const QString &text) const override
    {
        QString escaped = text;
        escaped.replace(u"\\"_s, u"\\\\"_s);
        escaped.replace(u"'"_s, u"''"_s);
        return u"E'"_s + escaped + u'\'';
    }
    QStringList createLoginStatements(const QString &login, const QString &password,
                                      const QString &database) const override
    {
        return {u"CREATE ROLE "_s + quoteName(login) + u" LOGIN PASSWORD "_s
                    + passwordLiteral(password),
                setDefaultDatabaseStatement(login, database)};
    }
    QString setPasswordStatement(const QString &login, const QString &password) const override
    {
        return u"ALTER ROLE "_s + quoteName(login) + u" PASSWORD "_s + passwordLiteral(password);
    }
    QString passwordLiteral(const QString &password) const
    {
        const QString secret = scramSecret(password);
        return quoteLiteral(secret.isEmpty() ? password : secret);
    }
    // A login role has no default database; a setting of the role's own records which one it
    // belongs to, so that the decision can be read back and repaired.
    QString setDefaultDatabaseStatement(const QString &login, const QString &database) const override
    {
        return u"ALTER ROLE "_s + quoteName(login) + u" SET "_s + defaultDatabaseSetting + u" = "_s
               + quoteLiteral(database);
    }
    // A database user is a login role with CONNECT on the database.
    QString dropUserStatement(const QString &database, const QString &user) const override
    {
        return u"REVOKE CONNECT ON DATABASE "_s + quoteName(database) + u" FROM "_s
               + quoteName(user);
    }
    QString createUserStatement(const QString &database, const QString &,
                                const QString &login) const override
    {
        return u"GRANT CONNECT ON DATABASE "_s + quoteName(database) + u" TO "_s + quoteName(login);
    }
    QString addRoleMemberStatement(const QString &role, const QString &member) const override
    {
        return u"GRANT "_s + quoteName(role) + u" TO "_s + quoteName(member);
    }
};

} // namespace

std::unique_ptr<Dialect> makePostgresDialect()
{
    return std::make_unique<PostgresDialect>();
}

} // namespace MGImport8::SqlAdmin
