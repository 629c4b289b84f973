// File patterns come from import method files written by anyone. Whatever the pattern, the Qt
// filter must be well formed: entries joined by ";;", each "caption (patterns)" with the only
// parentheses around a non-empty, blank-separated list of patterns without ";".
#include "wizard/legacyfilefilter.h"

#include <QString>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString legacy = QString::fromUtf8(reinterpret_cast<const char *>(data),
                                             static_cast<qsizetype>(size));
    const QString filter = MGImport8::qtFileFilter(legacy);
    const QStringList entries = filter.split(QStringLiteral(";;"));
    if (entries.isEmpty() || entries.size() > legacy.count(u'|') / 2 + 1)
        std::abort();
    for (const QString &entry : entries) {
        const qsizetype open = entry.indexOf(u'(');
        if (open <= 0 || !entry.endsWith(u')') || entry.indexOf(u'(', open + 1) >= 0
            || entry.indexOf(u')') != entry.size() - 1)
            std::abort();
        const QString patterns = entry.mid(open + 1, entry.size() - open - 2);
        if (patterns.trimmed().isEmpty() || patterns.contains(u';') || patterns.contains(u"  "))
            std::abort();
        // The character set Qt's file dialog accepts between the parentheses.
        static const QString allowed = QStringLiteral("_.,*?+#-[]@{}/!<>$%&=^~: ");
        for (const QChar character : patterns) {
            if (!character.isLetterOrNumber() && !allowed.contains(character))
                std::abort();
            if (character.unicode() > 0x7F)
                std::abort();
        }
        for (const QChar character : entry.left(open)) {
            if (character == u';' || character.unicode() < u' ')
                std::abort();
        }
    }
    return 0;
}
