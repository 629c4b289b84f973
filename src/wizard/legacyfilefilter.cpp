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
    // Qt reads the patterns from the last parentheses of an entry, splits entries at ";;" and
    // matches an entry as one line: none of these may stay in a caption.
    for (QChar &character : caption) {
        if (character == u'(')
            character = u'[';
        else if (character == u')')
            character = u']';
        else if (character == u';')
            character = u',';
        else if (character.unicode() < u' ')
            character = u' ';
    }
    caption = caption.trimmed();
    return caption.isEmpty() ? u"Files"_s : caption;
}

/// Whether Qt's file dialog reads `pattern` as a pattern: it takes only these characters between
/// an entry's parentheses (blanks separate patterns), and the whole entry as a pattern otherwise.
bool isQtPattern(const QString &pattern)
{
    static const QString allowed = u"_.,*?+#-[]@{}/!<>$%&=^~:"_s;
    if (pattern.isEmpty())
        return false;
    for (const QChar character : pattern) {
        const char16_t code = character.unicode();
        const bool alphanumeric = (code >= u'a' && code <= u'z') || (code >= u'A' && code <= u'Z')
                                  || (code >= u'0' && code <= u'9');
        if (!alphanumeric && !allowed.contains(character))
            return false;
    }
    return true;
}

/// ";"-separated legacy patterns as Qt's blank-separated list; a pattern Qt cannot read (a blank,
/// parentheses, letters beyond ASCII) is dropped.
QString qtPatterns(const QString &legacy)
{
    QStringList patterns;
    const QStringList parts = legacy.split(u';', Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        const QString pattern = part.trimmed();
        if (!isQtPattern(pattern))
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
