#include "methods/sourcekind.h"

#include <MGImport8/importtype.h>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

struct KindName
{
    SourceKind kind;
    const char16_t *name;
};

constexpr KindName kindNames[] = {
    {SourceKind::TextFile, u"IMPORTTEXT"},
    {SourceKind::AccessDatabase, u"IMPORTACCESS"},
    {SourceKind::SqlServer, u"IMPORTSQL"},
    {SourceKind::PostgreSql, u"IMPORTPOSTGRESQL"},
};

} // namespace

SourceKind sourceKind(const QString &methodName)
{
    const QString upper = methodName.toUpper();
    for (const KindName &entry : kindNames) {
        if (upper == QStringView(entry.name))
            return entry.kind;
    }
    return SourceKind::Other;
}

SourceKind sourceKind(const ImportType &method)
{
    return sourceKind(method.Method());
}

QString methodName(SourceKind kind)
{
    for (const KindName &entry : kindNames) {
        if (entry.kind == kind)
            return QString::fromUtf16(entry.name);
    }
    return {};
}

} // namespace MGImport8
