#include "sqladmin/secrets.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace MGImport8::SqlAdmin {

namespace {
const QString mask = u"****"_s;
} // namespace

QString scrubSecrets(const QString &text, const QStringList &secrets)
{
    QString result = text;
    // Longest first, so that a password holding another one is masked whole.
    QStringList ordered = secrets;
    std::sort(ordered.begin(), ordered.end(),
              [](const QString &a, const QString &b) { return a.size() > b.size(); });
    for (const QString &secret : std::as_const(ordered)) {
        if (!secret.isEmpty())
            result.replace(secret, mask);
    }
    // A connection string echoed by a driver: the value runs to the next semicolon, or to the
    // closing brace or quote when it stands in one.
    static const QRegularExpression
        entry(uR"((\b(?:PWD|Password)\s*=\s*)(\{(?:[^}]|\}\})*\}|'[^']*'|"[^"]*"|[^;]*))"_s,
              QRegularExpression::CaseInsensitiveOption);
    result.replace(entry, u"\\1"_s + mask);
    return result;
}

} // namespace MGImport8::SqlAdmin
