#include "wizard/sources/accesssourcereader.h"

#include "common/texthelpers.h"
#include "common/connectionstring.h"
#include "sqladmin/nameguard.h"
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
QString databasePath(const SourceChoice &source)
{
    return jetDataSource(source.connectionString).value_or(QString());
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
    return u"Select TOP "_s % QString::number(TableRecordLimit) % u" * From "_s
           % SqlAdmin::bracketedIdentifier(table.trimmed());
}

bool AccessSourceReader::listTables(const SourceChoice &source, QStringList &tables)
{
    tables.clear();
    const QString path = databasePath(source);
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

bool AccessSourceReader::readTable(const SourceChoice &source, const QString &table,
                                   ImportGrid &grid)
{
    grid.clear();
    const QString path = databasePath(source);
    const QString sourceName = FileNameFromPath(path, false);
    const Result<std::unique_ptr<AccessDatabase>> database = openDatabase(path);
    if (!database) {
        m_view.showMessage(u"Cannot open '"_s % sourceName % u"'"_s % crlf % database.error(),
                           MessageIcon::None, {});
        return false;
    }

    // The table text is trimmed as the server reader trims it. A table is read by its name
    // through libmdb, not through a statement: libmdbsql's brackets cannot carry a "]", and its
    // names end at a NUL, the one character refused here.
    const QString text = table.trimmed();
    if (const Result<bool> carried = SqlAdmin::checkNameCanBeQuoted(text, u"table name"_s);
        !isQuery(text) && !carried) {
        m_view.showMessage(carried.error(), MessageIcon::Exclamation, {});
        return false;
    }
    GridSink sink;
    const Result<qsizetype> read = isQuery(text)
                                       ? database.value()->runQuery(text, sink)
                                       : database.value()->readTable(text, TableRecordLimit, sink);
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
