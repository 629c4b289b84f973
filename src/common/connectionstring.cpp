#include "common/connectionstring.h"

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

const QString jetPrefix = u"Provider=Microsoft.Jet.OLEDB.4.0;Data Source="_s;
const QString jetProvider = u"Microsoft.Jet.OLEDB.4.0"_s;
const QString jetProviderEntry = u"Provider=Microsoft.Jet.OLEDB.4.0;"_s;

bool isBlank(QChar c)
{
    return c == u' ' || c == u'\t';
}

// The end of a quoted value that starts after the opening quote at `open`: the first quote that is
// followed, after blanks, by a semicolon or the end.
qsizetype closingQuote(const QString &text, qsizetype open)
{
    const QChar quote = text.at(open);
    for (qsizetype at = open + 1; at < text.size(); ++at) {
        if (text.at(at) != quote)
            continue;
        qsizetype after = at + 1;
        while (after < text.size() && isBlank(text.at(after)))
            ++after;
        if (after == text.size() || text.at(after) == u';')
            return at;
    }
    return -1;
}

// A double-quoted value that starts after the quote at `open`, with doubled quotes read as one;
// the index of its closing quote, or -1 when it never closes.
qsizetype readDoubleQuoted(const QString &text, qsizetype open, QString &value)
{
    value.clear();
    for (qsizetype at = open + 1; at < text.size(); ++at) {
        if (text.at(at) == u'"') {
            if (at + 1 < text.size() && text.at(at + 1) == u'"') {
                value += u'"';
                ++at;
                continue;
            }
            return at;
        }
        value += text.at(at);
    }
    return -1;
}

} // namespace

ConnectionString ConnectionString::parse(const QString &text)
{
    ConnectionString result;
    qsizetype at = 0;
    while (at < text.size()) {
        const qsizetype equals = text.indexOf(u'=', at);
        const qsizetype semicolon = text.indexOf(u';', at);
        if (equals < 0 || (semicolon >= 0 && semicolon < equals)) {
            // No key here: skip to the next entry.
            if (semicolon < 0)
                break;
            at = semicolon + 1;
            continue;
        }
        const QString key = text.sliced(at, equals - at).trimmed();
        qsizetype start = equals + 1;
        while (start < text.size() && isBlank(text.at(start)))
            ++start;
        QString value;
        qsizetype next = -1;
        const QChar first = start < text.size() ? text.at(start) : QChar();
        QString unquoted;
        const qsizetype close = first == u'"'    ? readDoubleQuoted(text, start, unquoted)
                                : first == u'\'' ? closingQuote(text, start)
                                                 : -1;
        if (close >= 0) {
            value = first == u'"' ? unquoted : text.sliced(start + 1, close - start - 1);
            next = text.indexOf(u';', close);
        } else {
            next = text.indexOf(u';', start);
            value = text.sliced(start, (next < 0 ? text.size() : next) - start).trimmed();
        }
        if (!key.isEmpty()) {
            for (qsizetype index = 0; index < result.m_entries.size(); ++index) {
                if (result.m_entries.at(index).first.compare(key, Qt::CaseInsensitive) == 0) {
                    result.m_entries.removeAt(index);
                    break;
                }
            }
            result.m_entries.append({key, value});
        }
        if (next < 0)
            break;
        at = next + 1;
    }
    return result;
}

std::optional<QString> ConnectionString::value(const QString &key) const
{
    for (const Entry &entry : m_entries) {
        if (entry.first.compare(key, Qt::CaseInsensitive) == 0)
            return entry.second;
    }
    return std::nullopt;
}

bool ConnectionString::isProvider(const QString &provider) const
{
    return text(u"Provider"_s).compare(provider, Qt::CaseInsensitive) == 0;
}

QString quotedValue(const QString &value)
{
    const bool asItStands = !value.contains(u';') && value.trimmed() == value
                            && !value.startsWith(u'\'') && !value.startsWith(u'"')
                            && !value.startsWith(u'{');
    if (asItStands)
        return value;
    QString quoted = value;
    quoted.replace(u"\""_s, u"\"\""_s);
    return u'"' + quoted + u'"';
}

QString jetConnectionString(const QString &file)
{
    return jetPrefix % file;
}

bool startsWithJetProvider(const QString &connectionString)
{
    return connectionString.startsWith(jetProviderEntry, Qt::CaseInsensitive);
}

std::optional<QString> jetDataSource(const QString &connectionString)
{
    if (connectionString.startsWith(jetPrefix, Qt::CaseInsensitive))
        return connectionString.sliced(jetPrefix.size());
    const ConnectionString parsed = ConnectionString::parse(connectionString);
    if (!parsed.isProvider(jetProvider))
        return std::nullopt;
    return parsed.text(u"Data Source"_s);
}

} // namespace MGImport8
