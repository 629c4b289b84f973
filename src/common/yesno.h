#pragma once

#include <QStringView>

namespace MGImport8 {

/// Reads a yes/no word as the method files and settings write it: "YES", "TRUE", "1", "Y" and
/// "USER" (in any case) are yes, everything else, the empty text included, is no. "USER" counts as
/// yes on purpose: older method files disable a method "for the user" that way.
bool IsTrue(QStringView text);

} // namespace MGImport8
