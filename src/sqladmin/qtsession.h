#pragma once

#include "sqladmin/sqlsession.h"

#include <QString>

namespace MGImport8::SqlAdmin {

/// Opens a Qt SQL connection for a login under a fresh connection name and returns the name. The
/// error says why it failed, with every password taken out.
Result<QString> openQtConnection(ServerKind kind, const LoginSettings &login);

/// Closes the connection of that name and releases the name.
void closeQtConnection(const QString &connectionName);

/// A session over one Qt SQL connection, which it closes when it goes.
class QtSqlSession : public SqlSession
{
public:
    QtSqlSession(QString connectionName, QStringList secrets);
    ~QtSqlSession() override;

    Result<Rows> query(const QString &statement, const QVariantList &values) override;
    Result<bool> execute(const QString &batch) override;
    Result<bool> begin() override;
    Result<bool> commit() override;
    Result<bool> rollback() override;

private:
    QString m_name;
    QStringList m_secrets;
};

} // namespace MGImport8::SqlAdmin
