#include "wizard/qt/popupcombobox.h"

namespace MGImport8 {

void PopupComboBox::showPopup()
{
    Q_EMIT aboutToShowPopup();
    QComboBox::showPopup();
}

} // namespace MGImport8
