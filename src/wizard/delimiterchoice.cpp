#include "wizard/delimiterchoice.h"

#include <MGImport8/importtype.h>

namespace MGImport8::DelimiterChoice {

void preset(ImportType &method, WizardState &state)
{
    QString delimiter = method.Delimiter();
    if (delimiter.isEmpty()) {
        delimiter = QString::fromUtf16(DefaultDelimiter);
        method.setDelimiter(delimiter);
    }
    for (const QChar character : std::as_const(delimiter)) {
        for (int box = 0; box < DelimiterBoxCount; ++box)
            state.delimiterChecked[box] = QStringView(BoxTags[box]) == QStringView(&character, 1);
    }
}

QString delimiterSet(const WizardState &state)
{
    QString set;
    for (int box = 0; box < DelimiterBoxCount; ++box) {
        if (!state.delimiterChecked[box])
            continue;
        const QStringView tag(BoxTags[box]);
        if (tag.isEmpty())
            set += state.otherDelimiter;
        else
            set += tag;
    }
    return set;
}

} // namespace MGImport8::DelimiterChoice
