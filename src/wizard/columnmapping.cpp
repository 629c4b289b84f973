#include "wizard/columnmapping.h"

#include "wizard/cellscanner.h"
#include "wizard/gridrules.h"
#include "wizard/importgrid.h"

#include <QList>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace MGImport8::ColumnMapping {

namespace {

const QString crlf = u"\r\n"_s;

bool sameName(const QString &a, const QString &b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

QString missingColumnMessage(const QString &name)
{
    return u"You must assign '"_s % name % u"' to a column first."_s % crlf % crlf
           % u"Select the column for '"_s % name
           % u"', then click the drop-down menu in the top cell"_s % crlf % u"and select '"_s % name
           % u"' from the drop-down menu."_s;
}

QString twiceBoundMessage(const QString &name)
{
    return u"'"_s % name % u"' has been assigned to more than one column."_s;
}

} // namespace

int detectAddressColumn(const ImportGrid &grid)
{
    const int columns = grid.columnCount();
    if (columns == 0)
        return -1;
    // Row by row, so a grid far larger than the caches is streamed through once.
    QList<qsizetype> counts(columns, 0);
    CellScanner cells(grid);
    for (qsizetype row = 1; row < grid.rowCount(); ++row) {
        for (int column = 0; column < columns; ++column) {
            if (isValidIPAddressUtf8(cells.utf8(row, column)))
                ++counts[column];
        }
    }

    int best = 0;
    for (int column = 1; column < columns; ++column) {
        if (counts[column] >= counts[best])
            best = column;
    }
    const qsizetype dataRows = grid.rowCount() - 1;
    const double threshold = AddressShareThreshold * double(dataRows - 1);
    return double(counts[best]) > threshold ? best : -1;
}

qsizetype findHeaderRow(const ImportGrid &grid)
{
    if (grid.columnCount() == 0)
        return -1;
    CellScanner cells(grid);
    for (qsizetype row = 1; row < grid.rowCount(); ++row) {
        if (containsHeaderMark(cells.utf8(row, 0)))
            return row;
    }
    return -1;
}

void bindColumns(ImportGrid &grid, const QString &columns, const QString &ipColumn,
                 const QString &fieldMap)
{
    const GridRules::UpdateGuard update(grid);
    const QString ignore = QString::fromUtf16(GridRules::IgnoreChoice);
    for (int column = 0; column < grid.columnCount(); ++column)
        grid.setText(0, column, ignore);

    QStringList targets = columns.split(u',');
    for (QString &target : targets) {
        if (target.isEmpty() || !sameName(target, ipColumn))
            continue;
        const int addressColumn = detectAddressColumn(grid);
        if (addressColumn >= 0) {
            grid.setText(0, addressColumn, ipColumn);
            // Bound once by content, never again by a header.
            target.clear();
        }
        break;
    }

    const qsizetype headerRow = findHeaderRow(grid);
    if (headerRow < 0)
        return;
    for (int column = 0; column < grid.columnCount(); ++column) {
        const QString header = grid.text(headerRow, column);
        for (const QString &target : std::as_const(targets)) {
            if (!target.isEmpty() && sameName(header, target))
                grid.setText(0, column, target);
        }
    }

    if (fieldMap.isEmpty())
        return;
    const QStringList pairs = fieldMap.split(u',');
    for (int column = 0; column < grid.columnCount(); ++column) {
        const QString header = grid.text(headerRow, column);
        for (const QString &pair : pairs) {
            const QStringList sides = pair.split(u'=');
            if (sides.size() >= 2 && sameName(header, sides.at(0)))
                grid.setText(0, column, sides.at(1));
        }
    }
}

std::optional<QString> validate(const ImportGrid &grid, const QString &requiredColumns)
{
    const QStringList required = requiredColumns.split(u',', Qt::SkipEmptyParts);
    const int first = GridRules::firstSourceColumn(grid);
    const auto boundCount = [&](const QString &name, int enough) {
        int count = 0;
        for (int column = first; column < grid.columnCount() && count < enough; ++column) {
            if (sameName(grid.text(0, column), name))
                ++count;
        }
        return count;
    };
    for (const QString &name : required) {
        if (boundCount(name, 1) == 0)
            return missingColumnMessage(name);
    }
    for (const QString &name : required) {
        if (boundCount(name, 2) == 2)
            return twiceBoundMessage(name);
    }
    return std::nullopt;
}

void selectRowsByAddress(ImportGrid &grid)
{
    const GridRules::UpdateGuard update(grid);
    if (grid.rowCount() > 1 && grid.rowTag(1) == QString::fromUtf16(GridRules::FieldHeaderTag))
        grid.removeRow(1);

    QList<int> addressColumns;
    for (int column = GridRules::firstSourceColumn(grid); column < grid.columnCount(); ++column) {
        const QString name = grid.text(0, column).toUpper();
        for (const char16_t *addressName : AddressColumnNames) {
            if (name == QStringView(addressName)) {
                addressColumns.append(column);
                break;
            }
        }
    }

    CellScanner cells(grid);
    for (qsizetype row = 1; row < grid.rowCount(); ++row) {
        bool selected = true;
        for (const int column : std::as_const(addressColumns)) {
            if (!isValidIPAddressUtf8(cells.utf8(row, column))) {
                selected = false;
                break;
            }
        }
        grid.setCheckState(row, 0, selected ? CheckState::Checked : CheckState::Unchecked);
    }
}

} // namespace MGImport8::ColumnMapping
