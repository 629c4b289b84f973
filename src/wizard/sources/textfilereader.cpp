#include "wizard/sources/textfilereader.h"

#include "common/texthelpers.h"
#include "wizard/importgrid.h"
#include "wizard/sources/textsource.h"
#include "wizard/wizardview.h"

using namespace Qt::StringLiterals;

namespace MGImport8::TextFileReader {

bool readFile(const QString &path, const QString &delimiters, bool onDelimiterPanel,
              ImportGrid &grid, WizardView &view)
{
    grid.clear();
    if (delimiters.isEmpty() && onDelimiterPanel) {
        view.showMessage(u"Please select at least one delimiter"_s, MessageIcon::Exclamation, {});
        return false;
    }
    auto table = readDelimitedText(path, delimiters);
    if (!table) {
        view.showMessage(u"Cannot open '"_s % FileNameFromPath(path, false) % u"'\r\n"_s
                             % table.error(),
                         MessageIcon::None, {});
        return false;
    }
    if (const qsizetype wide = ImportGrid::firstRowTooWide(*table.value()); wide >= 0) {
        view.showMessage(u"Cannot open '"_s % FileNameFromPath(path, false) % u"'\r\nLine "_s
                             % QString::number(wide + 1) % u" has "_s
                             % QString::number(table.value()->cellCount(wide))
                             % u" fields; the import grid holds at most "_s
                             % QString::number(ImportGrid::MaxColumns)
                             % u" columns. Check the delimiters."_s,
                         MessageIcon::None, {});
        return false;
    }
    grid.setTable(table.take());
    return true;
}

} // namespace MGImport8::TextFileReader
