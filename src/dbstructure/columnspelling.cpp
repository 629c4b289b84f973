#include "dbstructure/columnspelling.h"

using namespace Qt::StringLiterals;

namespace MGImport8::DbStructure {

ColumnSpelling spellColumn(const SqlAdmin::ColumnInfo &column)
{
    return {column.typeName, QString::number(column.length)};
}

QString columnTypeDeclaration(const QString &dataType, int length, bool sqlServer)
{
    if (!dataType.contains(u"char"_s, Qt::CaseInsensitive))
        return dataType;
    if (length > 0)
        return dataType + u'(' + QString::number(length) + u')';
    if (length < 0 && sqlServer)
        return dataType + u"(max)"_s;
    return dataType;
}

} // namespace MGImport8::DbStructure
