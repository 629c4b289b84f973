#include "wizard/headermatch.h"

#include "wizard/gridrules.h"
#include "wizard/importgrid.h"

namespace MGImport8::HeaderMatch {

QList<Binding> fromFirstLine(const ImportGrid &grid, const QString &columns)
{
    const bool mapped = grid.rowCount() > 0
                        && grid.rowTag(0).compare(QStringView(GridRules::MappingTag),
                                                  Qt::CaseInsensitive)
                               == 0;
    const qsizetype firstLine = mapped ? 1 : 0;
    QList<Binding> bindings;
    if (firstLine >= grid.rowCount())
        return bindings;
    const QStringList targets = columns.split(u',');
    for (int column = GridRules::firstSourceColumn(grid); column < grid.columnCount(); ++column) {
        const QString header = grid.text(firstLine, column).trimmed();
        if (header.isEmpty())
            continue;
        for (const QString &target : targets) {
            if (!target.isEmpty() && header.compare(target.trimmed(), Qt::CaseInsensitive) == 0) {
                bindings.append({column, target});
                break;
            }
        }
    }
    return bindings;
}

} // namespace MGImport8::HeaderMatch
