#pragma once

#include <QString>

namespace MGImport8 {

/// A modal message box with the critical-stop icon and an OK button, over the active window.
/// Messages arrive with CR LF line ends, which the box shows as line breaks.
void showCriticalMessage(const QString &title, const QString &text);

} // namespace MGImport8
