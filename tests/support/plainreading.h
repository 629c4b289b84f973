#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace MGImport8::Test {

/// The delimited-text reading written as plainly as it can be, to check the fast reader against:
/// delete every carriage return, split on line feeds, take fields from the front of each line at
/// every delimiter character, and unquote each field. Slow on purpose.
inline QList<QStringList> plainReading(const QString &decoded, const QString &delimiters)
{
    const QString text = QString(decoded).remove(u'\r');
    QList<QStringList> rows;
    if (text.isEmpty())
        return rows;
    const QList<uint> set = delimiters.toUcs4();
    for (const QString &line : text.split(u'\n')) {
        QStringList fields;
        const QList<uint> chars = line.toUcs4();
        qsizetype start = 0;
        while (start < chars.size()) {
            qsizetype p = start;
            while (p < chars.size() && !set.contains(chars[p]))
                ++p;
            // Character by character: QString::fromUcs4() would drop a U+FEFF at the start.
            QString field;
            for (qsizetype i = start; i < p; ++i)
                field += QChar::fromUcs4(chars[i]);
            if (field.size() >= 2 && (field.front() == u'"' || field.front() == u'\'')
                && field.back() == field.front())
                field = field.mid(1, field.size() - 2);
            fields.append(field);
            start = p + 1;
        }
        rows.append(fields);
    }
    return rows;
}

} // namespace MGImport8::Test
