#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>

// pugixml is built for UTF-8 `char` strings; these convert at the boundary so the rest of the
// code deals in QString only.
namespace MGImport8::Xml {

inline QString fromXml(const char *text)
{
    return QString::fromUtf8(text);
}

inline QByteArray toXml(QStringView text)
{
    return text.toUtf8();
}

} // namespace MGImport8::Xml
