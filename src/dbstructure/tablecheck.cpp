#include "dbstructure/structuremaintenance.h"

using namespace Qt::StringLiterals;

namespace MGImport8::DbStructure {

namespace {

std::optional<SqlAdmin::ColumnInfo> findColumn(const QList<SqlAdmin::ColumnInfo> &columns,
                                               const QString &name)
{
    std::optional<SqlAdmin::ColumnInfo> found;
    for (const SqlAdmin::ColumnInfo &column : columns) {
        if (column.name == name)
            return column;
        if (!found && column.name.compare(name, Qt::CaseInsensitive) == 0)
            found = column;
    }
    return found;
}

} // namespace

bool StructureMaintenance::checkTable(const pugi::xml_node &table)
{
    const QString name = nodeText(table, "@Name");
    m_reporter.altering(u"Checking Structure of Table "_s + name);
    m_reporter.trace(u"Checking Structure of Table "_s + name + lineEnd);
    const std::optional<SqlAdmin::ObjectName> found = lookUpTable(name);
    if (!found) {
        const QString statement = nodeText(table, "SQL/Table");
        m_reporter.altering(u"Adding New Table "_s + name);
        m_reporter.trace(u"Adding New Table "_s + name + lineEnd);
        const Result<bool> created = change(statement);
        m_catalogue.tablesChanged();
        if (!created) {
            const QString message = u"Cannot create new Table ("_s + name + u')' + lineEnd
                                    + created.error() + lineEnd;
            m_reporter.setLastError(message);
            m_reporter.trace(lineEnd + message);
        } else {
            m_reporter.trace(u"Added Table ("_s + name + u')' + lineEnd);
        }
        return false;
    }

    for (const pugi::xpath_node &column : table.select_nodes("Columns/*")) {
        if (!reconcileColumn(name, column.node()))
            return false;
    }
    if (!checkPrimaryKey(*found, name, table))
        return false;
    for (const pugi::xpath_node &index : table.select_nodes("Indexes/*")) {
        if (!checkIndex(name, index.node()))
            return false;
    }
    if (const pugi::xml_node data = seedData(table))
        loadSeedData(name, data);
    m_reporter.altering(u"Checking Structure of Table "_s + name);
    return true;
}

bool StructureMaintenance::tableNeedsUpgrade(const QString &table, const QString &column)
{
    m_reporter.altering(u"Checking Table Version"_s + table);
    m_reporter.trace(u"Checking Table Version of Table "_s + table + lineEnd);
    const std::optional<SqlAdmin::ObjectName> found = lookUpTable(table);
    if (!found) {
        m_reporter.trace(u"Column ("_s + column + u") NOT found in ("_s + table
                         + u"). Table does not exist. Version check complete."_s + lineEnd);
        return true;
    }
    // The column names of the table, as a SELECT * would list its fields, compared exactly.
    if (Result<QList<SqlAdmin::ColumnInfo>> columns = m_catalogue.columns(*found)) {
        for (const SqlAdmin::ColumnInfo &present : std::as_const(columns.value())) {
            if (present.name == column) {
                m_reporter.trace(u"Column ("_s + column + u") WAS found in ("_s + table
                                 + u"). Version check complete."_s + lineEnd);
                return false;
            }
        }
    }
    m_reporter.trace(u"Column ("_s + column + u") NOT found in ("_s + table
                     + u"). Version check complete."_s + lineEnd);
    return true;
}

bool StructureMaintenance::dropTable(const QString &name)
{
    m_reporter.altering(u"Upgrading Table "_s + name);
    m_reporter.trace(u"Dropping Table "_s + name + lineEnd);
    if (!lookUpTable(name)) {
        m_reporter.trace(u"Unable to drop Table ("_s + name + u"). Table does not exist."_s
                         + lineEnd);
        return true;
    }
    // The statement's outcome is discarded: a found table always reports as dropped.
    (void)change(u"DROP TABLE "_s + name + u';');
    m_catalogue.tablesChanged();
    m_reporter.trace(u"Table ("_s + name + u") dropped successfully."_s + lineEnd);
    return true;
}

bool StructureMaintenance::reconcileColumn(const QString &table, const pugi::xml_node &element)
{
    const ColumnTemplate column = readColumn(element);
    const std::optional<SqlAdmin::ObjectName> found = lookUpTable(table);
    if (!found)
        return true;
    Result<QList<SqlAdmin::ColumnInfo>> columns = m_catalogue.columns(*found);
    if (!columns)
        return true;
    const std::optional<SqlAdmin::ColumnInfo> current = findColumn(columns.value(), column.name);

    if (!current) {
        m_reporter.altering(u"Adding Column "_s + column.name + u" to Table "_s + table);
        const Result<bool> added = change(m_statements->addColumn(*found, column));
        m_catalogue.tableChanged(*found);
        if (!added) {
            const QString message = u"Could not add Column "_s + table + u'.' + column.name
                                    + u" to the Database."_s + lineEnd + added.error();
            m_reporter.setLastError(message);
            m_reporter.trace(message + lineEnd);
        } else {
            m_reporter.trace(u"Added "_s + table + u'.' + column.name + u" to Database"_s + lineEnd);
        }
        // The new column carries the template's default and expression already.
        return true;
    }

    if (current->identity != column.identity) {
        m_reporter.criticalMessage(u"Identity Fields Missing From Database"_s,
                                   u"The column "_s + column.name + u" in the table "_s + table
                                       + u" does not have the Identity property enable."_s + lineEnd
                                       + lineEnd
                                       + u"It is beyond the capability of the Wizard to repair "
                                         u"this database"_s
                                       + lineEnd + lineEnd
                                       + u"Search on the keyword 'Identity' at "_s + supportPage
                                       + u" for a procedure to resolve this problem"_s);
    }

    const bool neverRetyped = current->typeName.compare(u"text"_s, Qt::CaseInsensitive) == 0
                              || current->typeName.compare(u"ntext"_s, Qt::CaseInsensitive) == 0;
    if (!neverRetyped && (current->typeName != column.dataType || current->length < column.length)) {
        // Indexes over the column would block the change; the index check rebuilds them.
        if (Result<QList<SqlAdmin::IndexInfo>> indexes = m_catalogue.indexes(*found)) {
            int steps = 0;
            for (const SqlAdmin::IndexInfo &index : std::as_const(indexes.value())) {
                if (++steps > indexWalkLimit)
                    break;
                if (index.primaryKey)
                    continue;
                if (index.columns.contains(current->name)) {
                    (void)change(m_statements->dropIndex(*found, index.name));
                    m_catalogue.tableChanged(*found);
                }
            }
        }
        const bool character = column.dataType.contains(u"char"_s, Qt::CaseInsensitive);
        if (!character)
            m_reporter.altering(u"Changing Column Datatype on "_s + column.name + u" on Table "_s
                                + table);
        const Result<bool> altered = change(
            m_statements->alterColumnType(*found, *current, column.dataType,
                                          character ? column.length : 0));
        m_catalogue.tableChanged(*found);
        const QString typeText = column.dataType + u'(' + QString::number(column.length) + u')';
        if (!altered) {
            const QString message = u"Could not Alter DataType of "_s + table + u'.' + column.name
                                    + u" to "_s + typeText + lineEnd + altered.error() + lineEnd;
            m_reporter.setLastError(message);
            m_reporter.trace(message);
        } else {
            m_reporter.trace(u"Changed "_s + table + u'.' + column.name + u" DataType to "_s
                             + typeText + lineEnd);
        }
    }

    if (column.defaultText != current->defaultText) {
        (void)change(m_statements->setDefault(*found, current->name, column.defaultText));
        m_catalogue.tableChanged(*found);
    }
    if (column.isComputed && current->computedText != column.computedText) {
        (void)change(m_statements->setComputed(*found, *current, column.computedText));
        m_catalogue.tableChanged(*found);
    }
    return true;
}

} // namespace MGImport8::DbStructure
