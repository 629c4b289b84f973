#include "common/yesno.h"

#include <QStringList>

namespace MGImport8 {

bool IsTrue(QStringView text)
{
    static constexpr QStringView yesWords[] = {u"YES", u"TRUE", u"1", u"Y", u"USER"};
    for (QStringView word : yesWords) {
        if (text.compare(word, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

} // namespace MGImport8
