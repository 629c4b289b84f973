#include "dbstructure/structuremaintenance.h"

#include <QSet>

using namespace Qt::StringLiterals;

namespace MGImport8::DbStructure {

bool StructureMaintenance::checkPrimaryKey(const SqlAdmin::ObjectName &table,
                                           const QString &tableName,
                                           const pugi::xml_node &tableElement)
{
    const PrimaryKeyTemplate wanted = readPrimaryKey(tableElement);
    Result<SqlAdmin::PrimaryKeyInfo> present = m_catalogue.primaryKey(table);
    const bool hasKey = present && !present.value().name.isEmpty();
    if (!wanted.present) {
        if (hasKey) {
            // Both lines without a line end: the next trace text continues them.
            m_reporter.trace(u"Primary Key Exists on table "_s + tableName
                             + u", but is not defined on Database Template"_s);
            m_reporter.trace(u"Removing Primary Key from table "_s + tableName);
            (void)change(m_statements->dropConstraint(table, present.value().name));
            m_catalogue.tableChanged(table);
        }
        return true;
    }
    if (!hasKey)
        return replacePrimaryKey(tableName, wanted);
    const SqlAdmin::PrimaryKeyInfo &key = present.value();
    if (wanted.name != key.name || wanted.clustered != key.clustered
        || wanted.columns != key.columns)
        return replacePrimaryKey(tableName, wanted);
    return true;
}

bool StructureMaintenance::replacePrimaryKey(const QString &tableName, const PrimaryKeyTemplate &key)
{
    const std::optional<SqlAdmin::ObjectName> table = lookUpTable(tableName);
    if (!table)
        return false;
    Result<SqlAdmin::PrimaryKeyInfo> present = m_catalogue.primaryKey(*table);
    if (present && !present.value().name.isEmpty()) {
        m_reporter.altering(u"Removing Primary Key on Database Table "_s + tableName);
        m_reporter.trace(u"Removing Primary Key on Database Table "_s + tableName + lineEnd);
        (void)change(m_statements->dropConstraint(*table, present.value().name));
        m_catalogue.tableChanged(*table);
    }
    if (key.statement.isEmpty())
        return true;
    m_reporter.altering(u"Adding Primary Key on Database Table "_s + tableName);
    m_reporter.trace(u"Adding Primary Key on Database Table "_s + tableName + lineEnd);
    const Result<bool> added = change(key.statement);
    m_catalogue.tableChanged(*table);
    if (!added) {
        const QString message = u"Cannot add Primary Key ("_s + tableName + u") to "_s
                                + m_database.name() + lineEnd + added.error() + lineEnd;
        m_reporter.setLastError(message);
        m_reporter.trace(message);
        return false;
    }
    m_reporter.trace(u"Primary Key  ("_s + tableName + u") to "_s + m_database.name() + u" added."_s
                     + lineEnd);
    return true;
}

bool StructureMaintenance::checkIndex(const QString &tableName, const pugi::xml_node &element)
{
    const IndexTemplate index = readIndex(element);
    const std::optional<SqlAdmin::ObjectName> table = lookUpTable(tableName);
    std::optional<SqlAdmin::IndexInfo> present;
    if (table) {
        if (Result<QList<SqlAdmin::IndexInfo>> all = m_catalogue.indexes(*table)) {
            for (const SqlAdmin::IndexInfo &candidate : std::as_const(all.value())) {
                if (candidate.name.compare(index.name, Qt::CaseInsensitive) == 0) {
                    present = candidate;
                    if (candidate.name == index.name)
                        break;
                }
            }
        }
    }

    QStringList statements{index.statement};
    QString action = u"Adding Index to Database Table "_s;
    if (present) {
        // Same columns in any order is the same index; order, uniqueness and clustering are not
        // compared.
        QSet<QString> remaining(present->columns.cbegin(), present->columns.cend());
        bool differs = false;
        for (const QString &column : index.columns) {
            if (!remaining.remove(column))
                differs = true;
        }
        if (!differs && remaining.isEmpty())
            return true;
        statements = m_statements->replaceIndex(*table, present->name, index.statement);
        action = u"Changing Index on Database Table "_s;
    }
    m_reporter.altering(action + tableName);
    m_reporter.trace(action + tableName + lineEnd);
    const Result<bool> ran = change(statements);
    if (table) {
        SqlAdmin::IndexInfo made;
        made.name = present ? present->name : index.name;
        made.columns = index.columns;
        if (ran)
            m_catalogue.indexCreated(*table, made);
        else
            m_catalogue.tableChanged(*table);
    }
    if (!ran) {
        const QString message = u"Cannot add index ("_s + index.name + u") to "_s + tableName
                                + lineEnd + ran.error();
        m_reporter.setLastError(message);
        m_reporter.trace(message + lineEnd);
        return false;
    }
    m_reporter.trace(u"Added Index ("_s + index.name + u") to "_s + tableName + lineEnd);
    return true;
}

} // namespace MGImport8::DbStructure
