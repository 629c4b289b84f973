#pragma once

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

} // namespace MGImport8::Tool
