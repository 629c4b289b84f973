#pragma once

// A stand-in for SQL Server, which cannot run on these machines: sessions that record every
// statement the management layer sends and answer with rows laid out as the server's catalogue
// returns them. The real-server suites run the same paths when MGIMPORT8_TEST_MSSQL names a server.

#include <MGImport8/sqladmin.h>

#include "sqladmin/admin/sqladmin_p.h"
#include "sqladmin/sqlsession.h"

#include <QList>
#include <QString>

#include <memory>

namespace MGImport8::Test {

struct SentStatement
{
    QString database;
    QString text;
    QVariantList values;
};

/// What the stand-in server answers and what it was sent, shared by all its sessions.
struct ScriptedServer
{
    /// Answers by a piece of the statement's text, the first that matches; statements that match
    /// none return no rows. An answer with an error fails the statement.
    struct Answer
    {
        QString contains;
        SqlAdmin::Rows rows = {};
        QString error = {};
        /// When not empty, the answer is only for statements sent with exactly these values.
        QVariantList values = {};
    };
    QList<Answer> answers;
    QList<SentStatement> sent;
    QList<SqlAdmin::LoginSettings> logins;

    class Session : public SqlAdmin::SqlSession
    {
    public:
        Session(ScriptedServer &server, QString database)
            : m_server(server)
            , m_database(std::move(database))
        {}
        Result<SqlAdmin::Rows> query(const QString &statement, const QVariantList &values) override
        {
            m_server.sent.append({m_database, statement, values});
            for (const Answer &answer : std::as_const(m_server.answers)) {
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

    /// Makes `admin` log in here, with the management library reported present, on `serverName`.
    void serve(SQLAdmin &admin, const QString &serverName)
    {
        auto &d = SqlAdmin::SQLAdminAccess::of(admin);
        d.factory = [this](SqlAdmin::ServerKind, const SqlAdmin::LoginSettings &login)
            -> Result<std::unique_ptr<SqlAdmin::SqlSession>> {
            logins.append(login);
            return std::unique_ptr<SqlAdmin::SqlSession>(
                std::make_unique<Session>(*this, login.database));
        };
        d.probeLibrary = [](auto) { return ManagementLibraryProbe{true, 8, 5}; };
        admin.setServerName(serverName);
    }
    /// The statements sent, texts only.
    QStringList texts() const
    {
        QStringList result;
        for (const SentStatement &statement : sent)
            result.append(statement.text);
        return result;
    }
};

} // namespace MGImport8::Test
