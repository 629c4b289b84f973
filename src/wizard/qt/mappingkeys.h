#pragma once

#include <QComboBox>
#include <QKeyEvent>

namespace MGImport8 {

/// F4 and Alt+Down open a cell's drop-down list, as they do in any combo box.
inline bool opensMappingChoice(const QKeyEvent &event)
{
    return (event.key() == Qt::Key_F4 && event.modifiers() == Qt::NoModifier)
           || (event.key() == Qt::Key_Down && event.modifiers() == Qt::AltModifier);
}

/// Shows the list of a drop-down editor the keys opened, as the keys do in a combo box.
inline void openDropDown(QWidget *editor)
{
    if (auto *choices = qobject_cast<QComboBox *>(editor))
        choices->showPopup();
}

} // namespace MGImport8
