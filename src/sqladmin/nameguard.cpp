#include "sqladmin/nameguard.h"

using namespace Qt::StringLiterals;

namespace MGImport8::SqlAdmin {

namespace {

QString enclosed(const QString &name, QChar open, QChar close)
{
    QString text;
    text.reserve(name.size() + 2);
    text += open;
    for (const QChar c : name) {
        text += c;
        if (c == close)
            text += c;
    }
    text += close;
    return text;
}

} // namespace

QString bracketedIdentifier(const QString &name)
{
    return enclosed(name, u'[', u']');
}

QString quotedIdentifier(const QString &name)
{
    return enclosed(name, u'"', u'"');
}

Result<bool> checkNameCanBeQuoted(const QString &name, const QString &what)
{
    if (!name.contains(QChar(0)))
        return true;
    QString shown = name;
    shown.replace(QChar(0), u"\\0"_s);
    return Error{u"The "_s + what + u" '"_s + shown
                 + u"' cannot be used: it holds a NUL character (shown as \\0), which no "
                   "statement or connection string can carry."_s};
}

} // namespace MGImport8::SqlAdmin
