#include "wizard/sources/accesssourcereader.h"

#include "common/commonfunctions.h"
#include "common/connectionstring.h"
#include "wizard/access/accessdatabase.h"
#include "wizard/importgrid.h"
#include "wizard/table/texttable.h"
#include "wizard/wizardview.h"

#include <MGImport8/importtype.h>

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

const QString crlf = u"\r\n"_s;
const QString queryStart = u"SELECT "_s;

// Fills a text table as the database yields rows.
class GridSink : public AccessRowSink
{
public:
    void addRow() override { m_builder.addRow(); }
    void addCell(QByteArrayView utf8) override { m_builder.addCell(utf8); }
    std::shared_ptr<const TextTable> finish() { return m_builder.finish(); }

private:
    TextTable::Builder m_builder;
};

// The database file of the method's connection string; empty when it names none.
QString databasePath(const ImportType &method)
{
    return jetDataSource(method.ConnectionString()).value_or(QString());
}

Result<std::unique_ptr<AccessDatabase>> openDatabase(const QString &path)
{
    if (path.isEmpty())
        return Error{u"The connection names no database file."_s};
    return AccessDatabase::open(path);
}

// A file database has no server: the folder that holds it stands in its place.
QString serverName(const QString &path)
{
    return QDir::toNativeSeparators(QFileInfo(path).absolutePath());
}

} // namespace

AccessSourceReader::AccessSourceReader(WizardView &view)
    : m_view(view)
{}

bool AccessSourceReader::isQuery(const QString &table)
{
    return table.trimmed().left(queryStart.size()).compare(queryStart, Qt::CaseInsensitive) == 0;
}

QString AccessSourceReader::statementFor(const QString &table)
{
    if (isQuery(table))
        return table.trimmed();
    return u"Select TOP "_s % QString::number(TableRecordLimit) % u" * From ["_s % table % u"]"_s;
}

bool AccessSourceReader::listTables(const ImportType &method, QStringList &tables)
{
    tables.clear();
    const QString path = databasePath(method);
    const QString databaseName = FileNameFromPath(path, false);
    const Result<std::unique_ptr<AccessDatabase>> database = openDatabase(path);
    if (!database) {
        m_view.showMessage(u"Cannot open '"_s % databaseName % u"'' on '"_s % serverName(path)
                               % crlf % database.error(),
                           MessageIcon::Exclamation, {});
        return false;
    }
    tables = database.value()->userTables();
    return true;
}

bool AccessSourceReader::readTable(const ImportType &method, const QString &table, ImportGrid &grid)
{
    grid.clear();
    const QString path = databasePath(method);
    const QString sourceName = FileNameFromPath(path, false);
    const Result<std::unique_ptr<AccessDatabase>> database = openDatabase(path);
    if (!database) {
        m_view.showMessage(u"Cannot open '"_s % sourceName % u"'"_s % crlf % database.error(),
                           MessageIcon::None, {});
        return false;
    }

    GridSink sink;
    const QString text = table.trimmed();
    const Result<qsizetype> read = isQuery(text)
                                       ? database.value()->runQuery(text, sink)
                                       : database.value()->readTable(table, TableRecordLimit, sink);
    if (!read) {
        m_view.showMessage(u"Cannot open '"_s % table % u"' table within '"_s % sourceName % u"'"_s
                               % crlf % read.error(),
                           MessageIcon::None, {});
        return false;
    }
    std::shared_ptr<const TextTable> rows = sink.finish();
    if (rows->maxColumns() > ImportGrid::MaxColumns) {
        m_view.showMessage(u"Cannot open '"_s % table % u"' table within '"_s % sourceName % u"'"_s
                               % crlf % u"The table has "_s % QString::number(rows->maxColumns())
                               % u" columns; the import grid holds at most "_s
                               % QString::number(ImportGrid::MaxColumns) % u"."_s,
                           MessageIcon::None, {});
        return false;
    }
    grid.setTable(std::move(rows));
    if (grid.rowCount() > 0)
        grid.setRowTag(0, u"FieldHeader"_s);
    if (grid.rowCount() < 2)
        m_view.showMessage(u"There are no records in the '"_s % table % u"' table within '"_s
                               % sourceName % u"'"_s,
                           MessageIcon::Exclamation, {});
    return true;
}

} // namespace MGImport8
