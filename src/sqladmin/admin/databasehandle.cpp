#include <MGImport8/sqladmin.h>

#include "sqladmin/qtsession.h"

#include <QSqlDatabase>

namespace MGImport8 {

DatabaseHandle::DatabaseHandle(const QString &connectionName)
    : m_name(connectionName)
{}

DatabaseHandle::DatabaseHandle(DatabaseHandle &&other) noexcept
    : m_name(std::exchange(other.m_name, QString()))
{}

DatabaseHandle &DatabaseHandle::operator=(DatabaseHandle &&other) noexcept
{
    if (this != &other) {
        close();
        m_name = std::exchange(other.m_name, QString());
    }
    return *this;
}

DatabaseHandle::~DatabaseHandle()
{
    close();
}

bool DatabaseHandle::isOpen() const
{
    return !m_name.isEmpty() && QSqlDatabase::database(m_name, false).isOpen();
}

QSqlDatabase DatabaseHandle::database() const
{
    return m_name.isEmpty() ? QSqlDatabase() : QSqlDatabase::database(m_name, false);
}

void DatabaseHandle::close()
{
    SqlAdmin::closeQtConnection(std::exchange(m_name, QString()));
}

} // namespace MGImport8
