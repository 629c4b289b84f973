#pragma once

// A stand-in for SQL Server, which cannot run on these machines: sessions that record every
// statement the management layer sends and answer with rows laid out as the server's catalogue
// returns them. The real-server suite runs the same paths when MGIMPORT8_TEST_MSSQL names a server.

#include "sqladmin/sqlsession.h"

#include <QList>
#include <QString>

#include <memory>

namespace MGImport8 {
class SQLAdmin;
}

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
        SqlAdmin::Rows rows;
        QString error;
        /// When not empty, the answer is only for statements sent with exactly these values.
        QVariantList values = {};
    };
    QList<Answer> answers;
    QList<SentStatement> sent;
    QList<SqlAdmin::LoginSettings> logins;
    /// Set to make every login fail with this text.
    QString loginError;

    SqlAdmin::SessionFactory factory();
    /// Makes `admin` log in here, with the management library reported present, on `serverName`.
    void serve(SQLAdmin &admin, const QString &serverName);
    /// The statements sent, texts only.
    QStringList texts() const;
};

} // namespace MGImport8::Test
