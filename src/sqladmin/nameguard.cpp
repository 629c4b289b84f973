#include "sqladmin/nameguard.h"

using namespace Qt::StringLiterals;

namespace MGImport8::SqlAdmin {

namespace {

// The characters that end or break out of each place.
QString breakers(NamePlace place)
{
    switch (place) {
    case NamePlace::BracketedIdentifier:
        return u"[];"_s;
    case NamePlace::QuotedIdentifier:
        return u"\";"_s;
    case NamePlace::StringLiteral:
        return u"';"_s;
    case NamePlace::ConnectionValue:
        return u";"_s;
    }
    return {};
}

QString describe(QChar c)
{
    if (c == u';')
        return u"a semicolon"_s;
    if (c == u'\'' || c == u'"')
        return u"a quote ("_s + c + u")"_s;
    if (c == u'[' || c == u']' || c == u'{' || c == u'}')
        return u"a bracket ("_s + c + u")"_s;
    return u"a control character (code "_s + QString::number(c.unicode()) + u")"_s;
}

} // namespace

Result<bool> checkNameAsItStands(const QString &name, NamePlace place)
{
    const QString refused = breakers(place);
    // A value that starts with a quote would be read as a quoted one.
    if (place == NamePlace::ConnectionValue && !name.isEmpty()
        && (name.front() == u'\'' || name.front() == u'"')) {
        return Error{u"The name \""_s + name + u"\" cannot be used: it starts with "_s
                     + describe(name.front())
                     + u", which would change the meaning of the connection string."_s};
    }
    for (const QChar c : name) {
        if (refused.contains(c) || c.category() == QChar::Other_Control) {
            return Error{u"The name \""_s + name + u"\" cannot be used: it holds "_s + describe(c)
                         + u", which would change the meaning of the statement it goes into."_s};
        }
    }
    return true;
}

} // namespace MGImport8::SqlAdmin
