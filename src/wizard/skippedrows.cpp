#include "wizard/skippedrows.h"

#include "wizard/gridrules.h"
#include "wizard/importgrid.h"

#include <QSaveFile>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace MGImport8::SkippedRows {

namespace {

QString field(const QString &text, QChar delimiter)
{
    if (!text.contains(delimiter) && !text.contains(u'"') && !text.contains(u'\n')
        && !text.contains(u'\r')) {
        return text;
    }
    QString quoted = text;
    quoted.replace(u"\""_s, u"\"\""_s);
    return u'"' + quoted + u'"';
}

} // namespace

QChar delimiterOf(const QString &delimiterSet)
{
    return delimiterSet.isEmpty() ? QChar(DefaultDelimiter) : delimiterSet.at(0);
}

QByteArray line(const ImportGrid &grid, const SkippedRow &row, QChar delimiter)
{
    QStringList fields;
    if (row.row >= 0 && row.row < grid.rowCount()) {
        for (int column = GridRules::firstSourceColumn(grid); column < grid.columnCount(); ++column)
            fields.append(field(grid.text(row.row, column), delimiter));
    }
    fields.append(field(row.status, delimiter));
    // The same 8-bit text the reader reads.
    return fields.join(delimiter).toLocal8Bit();
}

QString write(const QString &path, const ImportGrid &grid, const QList<SkippedRow> &rows,
              QChar delimiter)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return u"Cannot write '"_s % path % u"'\r\n"_s % file.errorString();
    for (const SkippedRow &row : rows) {
        file.write(line(grid, row, delimiter));
        file.write("\r\n");
    }
    if (!file.commit())
        return u"Cannot write '"_s % path % u"'\r\n"_s % file.errorString();
    return {};
}

} // namespace MGImport8::SkippedRows
