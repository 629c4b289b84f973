#include "scriptedsession.h"

#include <MGImport8/sqladmin.h>

#include "sqladmin/admin/sqladmin_p.h"

namespace MGImport8::Test {

namespace {

class ScriptedSession : public SqlAdmin::SqlSession
{
public:
    ScriptedSession(ScriptedServer &server, QString database)
        : m_server(server)
        , m_database(std::move(database))
    {}

    Result<SqlAdmin::Rows> query(const QString &statement, const QVariantList &values) override
    {
        m_server.sent.append({m_database, statement, values});
        for (const ScriptedServer::Answer &answer : std::as_const(m_server.answers)) {
            if (!statement.contains(answer.contains)
                || (!answer.values.isEmpty() && answer.values != values))
                continue;
            if (!answer.error.isEmpty())
                return Error{answer.error};
            return answer.rows;
        }
        return SqlAdmin::Rows();
    }
    Result<bool> execute(const QString &batch) override
    {
        Result<SqlAdmin::Rows> rows = query(batch, {});
        if (!rows)
            return Error{rows.error()};
        return true;
    }
    Result<bool> begin() override { return execute(QStringLiteral("BEGIN TRANSACTION")); }
    Result<bool> commit() override { return execute(QStringLiteral("COMMIT")); }
    Result<bool> rollback() override { return execute(QStringLiteral("ROLLBACK")); }

private:
    ScriptedServer &m_server;
    QString m_database;
};

} // namespace

SqlAdmin::SessionFactory ScriptedServer::factory()
{
    return [this](SqlAdmin::ServerKind, const SqlAdmin::LoginSettings &login)
               -> Result<std::unique_ptr<SqlAdmin::SqlSession>> {
        logins.append(login);
        if (!loginError.isEmpty())
            return Error{loginError};
        return std::unique_ptr<SqlAdmin::SqlSession>(
            std::make_unique<ScriptedSession>(*this, login.database));
    };
}

void ScriptedServer::serve(SQLAdmin &admin, const QString &serverName)
{
    SqlAdmin::SQLAdminAccess::of(admin).factory = factory();
    SqlAdmin::SQLAdminAccess::of(admin).probeLibrary = [](auto) {
        return ManagementLibraryProbe{true, 8, 5};
    };
    admin.setServerName(serverName);
}

QStringList ScriptedServer::texts() const
{
    QStringList result;
    for (const SentStatement &statement : sent)
        result.append(statement.text);
    return result;
}

} // namespace MGImport8::Test
