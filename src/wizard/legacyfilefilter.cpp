#include "wizard/legacyfilefilter.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

const QString everyFile = u"*"_s;
const QString allFilesEntry = u"All Files (*)"_s;

/// The caption without a trailing "(...)" that repeats the patterns.
QString bareCaption(QString caption)
{
    caption = caption.trimmed();
    if (caption.endsWith(u')')) {
        const qsizetype open = caption.lastIndexOf(u'(');
        if (open >= 0)
            caption = caption.left(open).trimmed();
    }
    // Qt reads the patterns from the last parentheses of an entry; brackets left in the caption
    // would be taken for them.
    caption.replace(u'(', u'[').replace(u')', u']');
    return caption.isEmpty() ? u"Files"_s : caption;
}

/// ";"-separated legacy patterns as Qt's blank-separated list. Qt splits on blanks, so a pattern
/// holding one cannot be kept and is dropped; parentheses would end the list early.
QString qtPatterns(const QString &legacy)
{
    QStringList patterns;
    const QStringList parts = legacy.split(u';', Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        const QString pattern = part.trimmed();
        if (pattern.isEmpty() || pattern.contains(u' ') || pattern.contains(u'(')
            || pattern.contains(u')'))
            continue;
        patterns.append(pattern == u"*.*"_s ? everyFile : pattern);
    }
    if (patterns.isEmpty())
        patterns.append(everyFile);
    patterns.removeDuplicates();
    return patterns.join(u' ');
}

} // namespace

QString qtFileFilter(const QString &legacyPattern)
{
    const QStringList parts = legacyPattern.split(u'|');
    QStringList entries;
    for (qsizetype index = 0; index < parts.size(); index += 2) {
        const QString caption = parts.at(index);
        const QString patterns = index + 1 < parts.size() ? parts.at(index + 1) : QString();
        if (caption.trimmed().isEmpty() && patterns.trimmed().isEmpty())
            continue;
        entries.append(bareCaption(caption) % u" ("_s % qtPatterns(patterns) % u')');
    }
    if (entries.isEmpty())
        entries.append(allFilesEntry);
    return entries.join(u";;"_s);
}

} // namespace MGImport8
