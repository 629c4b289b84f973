#include "sqladmin/manageddatabase.h"

#include "sqladmin/managementserver.h"

using namespace Qt::StringLiterals;

namespace MGImport8 {

using namespace SqlAdmin;

namespace {

QVariantList tableValues(const ObjectName &table)
{
    return {table.schema, table.name};
}

} // namespace

SQLDatabase::SQLDatabase(ManagementServer &server, QString name)
    : m_server(server)
    , m_name(std::move(name))
{}

SQLDatabase::~SQLDatabase() = default;

Result<SqlSession *> SQLDatabase::session()
{
    if (!m_session) {
        Result<std::unique_ptr<SqlSession>> opened = m_server.factory()(m_server.kind(),
                                                                        m_server.loginFor(m_name));
        if (!opened)
            return Error{opened.error()};
        m_session = opened.take();
    }
    return m_session.get();
}

Result<QList<ObjectName>> SQLDatabase::tables()
{
    Result<SqlSession *> open = session();
    if (!open)
        return Error{open.error()};
    Result<Rows> rows = open.value()->query(m_server.dialect().tablesQuery());
    if (!rows)
        return Error{rows.error()};
    QList<ObjectName> tables;
    for (const Row &row : std::as_const(rows.value()))
        tables.append({row.value(0).toString(), row.value(1).toString()});
    return tables;
}

Result<ObjectName> SQLDatabase::findTable(const QString &name)
{
    Result<QList<ObjectName>> all = tables();
    if (!all)
        return Error{all.error()};
    const qsizetype dot = name.indexOf(u'.');
    if (dot > 0) {
        const ObjectName qualified{name.first(dot), name.sliced(dot + 1)};
        if (all.value().contains(qualified))
            return qualified;
    }
    const QString preferred = m_server.dialect().defaultSchema();
    std::optional<ObjectName> found;
    for (const ObjectName &table : std::as_const(all.value())) {
        if (table.name == name && table.schema == preferred)
            return table;
        if (!found && table.name.compare(name, Qt::CaseInsensitive) == 0)
            found = table;
    }
    if (found)
        return *found;
    return Error{u"Table '"_s + name + u"' does not exist in database '"_s + m_name + u"'."_s};
}

Result<QList<ColumnInfo>> SQLDatabase::columns(const ObjectName &table)
{
    Result<SqlSession *> open = session();
    if (!open)
        return Error{open.error()};
    Result<Rows> rows = open.value()->query(m_server.dialect().columnsQuery(), tableValues(table));
    if (!rows)
        return Error{rows.error()};
    QList<ColumnInfo> columns;
    for (const Row &row : std::as_const(rows.value())) {
        columns.append({row.value(0).toString(), row.value(1).toString(), row.value(2).toInt(),
                        row.value(3).toBool(), row.value(4).toBool(), row.value(5).toString(),
                        row.value(6).toString()});
    }
    return columns;
}

Result<PrimaryKeyInfo> SQLDatabase::primaryKey(const ObjectName &table)
{
    Result<SqlSession *> open = session();
    if (!open)
        return Error{open.error()};
    Result<Rows> rows = open.value()->query(m_server.dialect().primaryKeyQuery(),
                                            tableValues(table));
    if (!rows)
        return Error{rows.error()};
    PrimaryKeyInfo key;
    for (const Row &row : std::as_const(rows.value())) {
        key.name = row.value(0).toString();
        key.clustered = row.value(1).toBool();
        key.columns.append(row.value(2).toString());
    }
    return key;
}

Result<QList<IndexInfo>> SQLDatabase::indexes(const ObjectName &table)
{
    Result<SqlSession *> open = session();
    if (!open)
        return Error{open.error()};
    Result<Rows> rows = open.value()->query(m_server.dialect().indexesQuery(), tableValues(table));
    if (!rows)
        return Error{rows.error()};
    // One row per key column, the columns of an index together and in key order.
    QList<IndexInfo> indexes;
    for (const Row &row : std::as_const(rows.value()))
        addIndexRow(indexes, row, 0);
    return indexes;
}

Result<QList<RoutineInfo>> SQLDatabase::routines(bool views)
{
    Result<SqlSession *> open = session();
    if (!open)
        return Error{open.error()};
    const Dialect &dialect = m_server.dialect();
    bool withDates = false;
    if (const QString probe = dialect.createdRecordQuery(); !probe.isEmpty()) {
        Result<Rows> found = open.value()->query(probe);
        if (!found)
            return Error{found.error()};
        withDates = !found.value().isEmpty();
    }
    Result<Rows> rows = open.value()->query(views ? dialect.viewsQuery(withDates)
                                                  : dialect.functionsQuery(withDates));
    if (!rows)
        return Error{rows.error()};
    QList<RoutineInfo> routines;
    for (const Row &row : std::as_const(rows.value())) {
        routines.append({{row.value(0).toString(), row.value(1).toString()},
                         row.value(2).toDateTime(),
                         row.value(3).toString()});
    }
    return routines;
}

Result<QList<RoutineInfo>> SQLDatabase::views()
{
    return routines(true);
}

Result<QList<RoutineInfo>> SQLDatabase::functions()
{
    return routines(false);
}

Result<QList<DatabaseUserInfo>> SQLDatabase::users()
{
    Result<SqlSession *> open = session();
    if (!open)
        return Error{open.error()};
    Result<Rows> rows = open.value()->query(m_server.dialect().usersQuery());
    if (!rows)
        return Error{rows.error()};
    QList<DatabaseUserInfo> users;
    for (const Row &row : std::as_const(rows.value()))
        users.append({row.value(0).toString(), row.value(1).toString()});
    return users;
}

Result<QList<RoleInfo>> SQLDatabase::roles()
{
    Result<SqlSession *> open = session();
    if (!open)
        return Error{open.error()};
    Result<Rows> rows = open.value()->query(m_server.dialect().rolesQuery());
    if (!rows)
        return Error{rows.error()};
    QList<RoleInfo> roles;
    for (const Row &row : std::as_const(rows.value())) {
        const QString name = row.value(0).toString();
        if (roles.isEmpty() || roles.last().name != name)
            roles.append({name, {}});
        if (!row.value(1).isNull() && !row.value(1).toString().isEmpty())
            roles.last().members.append(row.value(1).toString());
    }
    return roles;
}

Result<bool> SQLDatabase::dropUser(const QString &user)
{
    return executeImmediate(m_server.dialect().dropUserStatement(m_name, user));
}

Result<bool> SQLDatabase::createUser(const QString &user, const QString &login)
{
    return executeImmediate(m_server.dialect().createUserStatement(m_name, user, login));
}

Result<bool> SQLDatabase::addRoleMember(const QString &role, const QString &member)
{
    return executeImmediate(m_server.dialect().addRoleMemberStatement(role, member));
}

Result<bool> SQLDatabase::executeImmediate(const QString &batch)
{
    Result<SqlSession *> open = session();
    if (!open)
        return Error{open.error()};
    return open.value()->execute(batch);
}

Result<bool> SQLDatabase::createRoutine(QChar kind, const ObjectName &object,
                                            const QString &statement)
{
    Result<SqlSession *> open = session();
    if (!open)
        return Error{open.error()};
    SqlSession &db = *open.value();
    const QStringList record = m_server.dialect().recordCreatedStatements();
    if (record.isEmpty())
        return db.execute(statement);
    if (Result<bool> begun = db.begin(); !begun)
        return begun;
    Result<bool> step = db.execute(statement);
    for (qsizetype at = 0; step && at < record.size(); ++at) {
        // The last statement writes the record and takes the object's kind, schema and name.
        if (at + 1 < record.size()) {
            step = db.execute(record.at(at));
        } else {
            Result<Rows> written = db.query(record.at(at),
                                            {QString(kind), object.schema, object.name});
            if (!written)
                step = Error{written.error()};
        }
    }
    if (!step) {
        (void)db.rollback();
        return step;
    }
    return db.commit();
}

} // namespace MGImport8
