#include "dbstructure/structuremaintenance.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace MGImport8::DbStructure {

namespace {

bool isFloatingPoint(const QString &type)
{
    static const QStringList names{u"real"_s, u"float"_s, u"double precision"_s};
    return names.contains(type, Qt::CaseInsensitive);
}

bool isDateTime(const QString &type)
{
    return type.startsWith(u"timestamp"_s, Qt::CaseInsensitive)
           || type.contains(u"datetime"_s, Qt::CaseInsensitive);
}

// The legacy CInt() of a flag's text: "True" is -1, "False" 0, numbers round half to even.
qint16 flagNumber(const QString &text)
{
    const QString word = text.trimmed();
    if (word.compare(u"true"_s, Qt::CaseInsensitive) == 0)
        return -1;
    bool ok = false;
    const double value = std::nearbyint(word.toDouble(&ok));
    if (!ok || std::fabs(value) > 32767)
        return 0;
    return static_cast<qint16>(value);
}

} // namespace

void StructureMaintenance::loadSeedData(const QString &tableName, const pugi::xml_node &data)
{
    const std::optional<SqlAdmin::ObjectName> table = lookUpTable(tableName);
    if (!table)
        return;
    if (tableName.toUpper() == u"SERVICEPORTS"_s)
        seedServicePorts(*table, tableName, data);
    else
        seedKeyed(*table, tableName, data);
}

void StructureMaintenance::seedKeyed(const SqlAdmin::ObjectName &table, const QString &tableName,
                                     const pugi::xml_node &data)
{
    const QString keyColumn = attributeText(data, "KeyColumn");
    Result<SqlAdmin::SqlSession *> open = m_database.session();
    Result<QList<SqlAdmin::ColumnInfo>> columns = m_catalogue.columns(table);
    if (!open || !columns)
        return;
    SqlAdmin::SqlSession &session = *open.value();

    // The keys present, trimmed, in a hashed set: one read of the table instead of a scan per row.
    QSet<QString> present;
    Result<SqlAdmin::Rows> keys = session.query(m_statements->keyValuesQuery(table, keyColumn));
    if (keys) {
        for (const SqlAdmin::Row &row : std::as_const(keys.value()))
            present.insert(row.value(0).toString().trimmed());
    }
    const qsizetype tableRows = keys ? keys.value().size() : 0;

    bool added = false;
    QString firstError;
    bool inTransaction = false;
    // Rows wait here while they share their columns, and go in together: one statement for many
    // rows, falling back to one savepoint per row when any of them fails, so that a failed row
    // still loses only itself.
    QStringList pendingNames;
    QList<QVariantList> pending;
    auto insertRows = [&](const QList<QVariantList> &rows) -> Result<SqlAdmin::Rows> {
        QVariantList values;
        for (const QVariantList &row : rows)
            values.append(row);
        const QString insert = m_statements->insertRows(table, pendingNames, rows.size());
        m_reporter.statement(insert);
        ++m_changes;
        (void)session.execute(m_statements->savepoint());
        Result<SqlAdmin::Rows> inserted = session.query(insert, values);
        if (!inserted) {
            (void)session.execute(m_statements->rollbackToSavepoint());
        } else if (const QString release = m_statements->releaseSavepoint(); !release.isEmpty()) {
            (void)session.execute(release);
        }
        return inserted;
    };
    auto flush = [&] {
        if (pending.isEmpty())
            return;
        if (pending.size() == 1 || !insertRows(pending)) {
            for (const QVariantList &row : std::as_const(pending)) {
                if (Result<SqlAdmin::Rows> inserted = insertRows({row});
                    !inserted && firstError.isEmpty())
                    firstError = inserted.error();
            }
        }
        pending.clear();
    };

    int counter = 0;
    for (const pugi::xpath_node &selected : data.select_nodes("Rows/row")) {
        const pugi::xml_node row = selected.node();
        ++counter;
        if (counter == 1 || counter % seedProgressStep == 0) {
            // The legacy count divides by the rows the table held; an empty table raises none.
            if (tableRows > 0)
                m_reporter.progress(percentOf(counter, tableRows));
            m_reporter.altering(u"Adding Data to Table "_s + tableName + u": "_s
                                + QString::number(counter));
        }
        const QString key = attributeText(row, keyColumn.toUtf8().constData()).trimmed();
        if (present.contains(key))
            continue;
        present.insert(key);

        QStringList names;
        QVariantList values;
        for (const SqlAdmin::ColumnInfo &column : std::as_const(columns.value())) {
            const pugi::xml_attribute value = row.attribute(column.name.toUtf8().constData());
            if (column.identity || !value)
                continue;
            const QString text = QString::fromUtf8(value.value());
            names.append(column.name);
            if (isFloatingPoint(column.typeName))
                values.append(text.toDouble());
            else if (isDateTime(column.typeName))
                values.append(QString(text).replace(u'T', u' '));
            else
                values.append(text);
        }
        if (!inTransaction && !m_dryRun)
            inTransaction = static_cast<bool>(session.begin());
        added = true;
        const qsizetype perRow = std::max<qsizetype>(1, names.size());
        const qsizetype batchRows = std::clamp<qsizetype>(m_statements->maxParameters() / perRow, 1,
                                                          seedBatchRows);
        if (names != pendingNames || pending.size() >= batchRows)
            flush();
        pendingNames = names;
        pending.append(values);
    }
    flush();
    if (!added)
        return;
    if (inTransaction) {
        if (Result<bool> saved = session.commit(); !saved && firstError.isEmpty())
            firstError = saved.error();
    }
    if (firstError.isEmpty())
        m_reporter.trace(u"Data Added to Table ("_s + tableName + u") with no errors"_s + lineEnd);
    else
        m_reporter.trace(u"Error adding data to Table ("_s + tableName + u')' + firstError
                         + lineEnd);
}

void StructureMaintenance::seedServicePorts(const SqlAdmin::ObjectName &table,
                                            const QString &tableName, const pugi::xml_node &data)
{
    QList<int> ports;
    QStringList serviceNames;
    QList<qint16> enabled;
    QList<qint16> system;
    for (const pugi::xpath_node &selected : data.select_nodes("Rows/row")) {
        m_reporter.yield();
        const pugi::xml_node row = selected.node();
        ports.append(static_cast<int>(
            std::nearbyint(QString::fromUtf8(row.attribute("Port").value()).trimmed().toDouble())));
        serviceNames.append(QString::fromUtf8(row.attribute("ServiceName").value()));
        enabled.append(flagNumber(QString::fromUtf8(row.attribute("Enabled").value())));
        system.append(flagNumber(QString::fromUtf8(row.attribute("System").value())));
    }
    m_reporter.yield();

    Result<SqlAdmin::SqlSession *> open = m_database.session();
    if (!open)
        return;
    SqlAdmin::SqlSession &session = *open.value();
    // The four fields by the names the table spells them with.
    QStringList names{u"Port"_s, u"ServiceName"_s, u"Enabled"_s, u"System"_s};
    if (Result<QList<SqlAdmin::ColumnInfo>> columns = m_catalogue.columns(table)) {
        for (QString &name : names) {
            for (const SqlAdmin::ColumnInfo &column : std::as_const(columns.value())) {
                if (column.name.compare(name, Qt::CaseInsensitive) == 0)
                    name = column.name;
            }
        }
    }
    const QString insert = m_statements->insertRow(table, names);
    const bool inTransaction = !m_dryRun && static_cast<bool>(session.begin());
    for (qsizetype at = 0; at < ports.size(); ++at) {
        const qsizetype position = at + 1;
        m_reporter.statement(insert);
        ++m_changes;
        // A failed row must not take the rows after it along with it.
        (void)session.execute(m_statements->savepoint());
        if (!session.query(insert,
                           {ports.at(at), serviceNames.at(at), enabled.at(at), system.at(at)}))
            (void)session.execute(m_statements->rollbackToSavepoint());
        if (position == 1 || position % bulkProgressStep == 0) {
            m_reporter.progress(percentOf(position, ports.size()));
            m_reporter.altering(u"Adding Data to Table "_s + tableName + u": "_s
                                + QString::number(position));
        }
    }
    if (inTransaction)
        (void)session.commit();
    m_reporter.yield();
}

} // namespace MGImport8::DbStructure
