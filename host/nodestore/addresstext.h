#pragma once

#include <QString>
#include <QStringView>

#include <optional>

namespace NodeInventory {

/// The node store's reading of an address part: text converted to a 16-bit integer as the import
/// wizard's IP check converts it (blanks around, a sign, a fraction rounded half to even, an
/// exponent, "&H" hexadecimal and "&O" octal), or nothing. The store keeps addresses in the form
/// the wizard accepted them, so it reads them by the same rules.
std::optional<qint16> lenientInteger16(QStringView text);

/// The dotted form of an address that passes the import's IP check, with each part in plain
/// decimal (" 10.+0.0.01" becomes "10.0.0.1"); empty when the text is no address.
QString canonicalIPAddress(const QString &text);

} // namespace NodeInventory
