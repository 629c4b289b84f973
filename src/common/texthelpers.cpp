#include "common/texthelpers.h"

using namespace Qt::StringLiterals;

namespace MGImport8 {

QString FileNameFromPath(QString path, bool stripExtension)
{
    path.replace(u'/', u'\\');
    const qsizetype slash = path.lastIndexOf(u'\\');
    if (slash >= 0)
        path.remove(0, slash + 1);
    const qsizetype colon = path.lastIndexOf(u':');
    if (colon >= 0)
        path.remove(0, colon + 1);
    if (stripExtension) {
        const qsizetype dot = path.lastIndexOf(u'.');
        if (dot >= 0)
            path.truncate(dot);
    }
    return path;
}

QVariant NullToZero(const QVariant &value)
{
    return value.isNull() ? QVariant::fromValue<qint16>(0) : value;
}

QString TrimNull(QStringView text)
{
    const qsizetype nul = text.indexOf(QChar(u'\0'));
    return (nul < 0 ? text : text.first(nul)).toString();
}

} // namespace MGImport8
