#pragma once

// What the management tests share: admins set up for a server, and catalogue answers written as
// one line each so that a whole table's description compares at once.

#include <MGImport8/sqladmin.h>

#include "common/connectionstring.h"
#include "sqladmin/catalogue.h"

#include <QStringList>

#include <memory>

namespace MGImport8::Test {

/// A PostgreSQL admin for `server`: by the operating-system identity when `login` is empty.
inline std::unique_ptr<SQLAdmin> postgresAdmin(const QString &server, const QString &login = {},
                                               const QString &password = {})
{
    auto admin = std::make_unique<SQLAdmin>();
    admin->setServerType(QStringLiteral("PostgreSQL"));
    admin->setServerName(server);
    admin->setUseIntegratedNTSecurity(login.isEmpty());
    admin->setLoginName(login);
    admin->setLoginPassword(password);
    return admin;
}

/// The SQL Server that MGIMPORT8_TEST_MSSQL names as a FreeTDS connection string
/// ("SERVER=host;PORT=1433;UID=sa;PWD=..."), as an admin set up to log in to it and its server
/// name in `server`; nullptr when the variable is not set.
inline std::unique_ptr<SQLAdmin> realSqlServerAdmin(QString *server)
{
    const QString target = qEnvironmentVariable("MGIMPORT8_TEST_MSSQL");
    if (target.isEmpty())
        return nullptr;
    const auto entries = ConnectionString::parse(target);
    *server = entries.text(QStringLiteral("SERVER"));
    if (!entries.text(QStringLiteral("PORT")).isEmpty())
        *server += u',' + entries.text(QStringLiteral("PORT"));
    auto admin = std::make_unique<SQLAdmin>();
    admin->setServerName(*server);
    admin->setUseIntegratedNTSecurity(entries.text(QStringLiteral("UID")).isEmpty());
    admin->setLoginName(entries.text(QStringLiteral("UID")));
    admin->setLoginPassword(entries.text(QStringLiteral("PWD")));
    return admin;
}

#define MGIMPORT8_REQUIRE_MSSQL(admin, server)                                                     \
    QString server;                                                                                \
    const auto admin = ::MGImport8::Test::realSqlServerAdmin(&server);                             \
    if (!admin)                                                                                    \
    GTEST_SKIP() << "MGIMPORT8_TEST_MSSQL names no SQL Server (a FreeTDS connection string)"

/// "name type length [null] [identity] [default=...] [computed=...]" per column.
inline QStringList describe(const QList<SqlAdmin::ColumnInfo> &columns)
{
    QStringList lines;
    for (const SqlAdmin::ColumnInfo &c : columns)
        lines.append(c.name + u' ' + c.typeName + u' ' + QString::number(c.length)
                     + (c.nullable ? QStringLiteral(" null") : QString())
                     + (c.identity ? QStringLiteral(" identity") : QString())
                     + (c.defaultText.isEmpty() ? QString() : u" default=" + c.defaultText)
                     + (c.computedText.isEmpty() ? QString() : u" computed=" + c.computedText));
    return lines;
}

/// "name(a,b) [unique] [clustered] [primary]" per index.
inline QStringList describe(const QList<SqlAdmin::IndexInfo> &indexes)
{
    QStringList lines;
    for (const SqlAdmin::IndexInfo &i : indexes)
        lines.append(i.name + u'(' + i.columns.join(u',') + u')'
                     + (i.unique ? QStringLiteral(" unique") : QString())
                     + (i.clustered ? QStringLiteral(" clustered") : QString())
                     + (i.primaryKey ? QStringLiteral(" primary") : QString()));
    return lines;
}

} // namespace MGImport8::Test
