#pragma once

#include <QJsonArray>
#include <QJsonDocument>
#include <QString>
#include <QTextStream>

namespace MGImport8::Tool {

/// Standard output and error as UTF-8 text streams.
QTextStream &out();
QTextStream &err();

/// A message of the system as the terminal shows it: each CR LF becomes a newline.
inline QString forTerminal(QString message)
{
    return message.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}

/// One JSON string, quoted and escaped; the commands write their objects by hand so that keys
/// keep their order (QJsonObject sorts them).
inline QString jsonString(const QString &text)
{
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1).chopped(1));
}

} // namespace MGImport8::Tool
