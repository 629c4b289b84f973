#include "wizard/delimiterchoice.h"

#include "common/commonfunctions.h"
#include "wizard/importgrid.h"
#include "wizard/textsource.h"
#include "wizard/wizardview.h"

#include <MGImport8/importtype.h>

using namespace Qt::StringLiterals;

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

bool readFile(const QString &path, const WizardState &state, bool onDelimiterPanel,
              ImportGrid &grid, WizardView &view)
{
    grid.clear();
    const QString set = delimiterSet(state);
    if (set.isEmpty() && onDelimiterPanel) {
        view.showMessage(u"Please select at least one delimiter"_s, MessageIcon::Exclamation, {});
        return false;
    }
    auto table = readDelimitedText(path, set);
    if (!table) {
        view.showMessage(u"Cannot open '"_s % FileNameFromPath(path, false) % u"'\r\n"_s
                             % table.error(),
                         MessageIcon::None, {});
        return false;
    }
    grid.setTable(table.take());
    return true;
}

} // namespace MGImport8::DelimiterChoice
