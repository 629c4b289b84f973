#pragma once

#include <QString>
#include <QStringView>
#include <QtGlobal>

#include <optional>

namespace MGImport8 {

/// Converts text to a 16-bit signed integer as automation's lenient conversion does, or gives
/// nothing when the text is not a number or the value lies outside -32768..32767.
///
/// Accepted: blanks before and after; a "+" or "-" directly before the digits; decimal digits
/// with an optional fraction (".5") and an optional exponent ("1E2", "25e-1"); "&H" followed by
/// hexadecimal or "&O" by octal digits (no sign), where values 0x8000-0xFFFF stand for the
/// negative numbers of the same bit pattern, as 16-bit literals do. Fractions round half to even
/// ("2.5" is 2, "3.5" is 4). Not accepted: the empty text, group separators, currency signs.
std::optional<qint16> toInteger16(QStringView text);

/// True when `text` is a dotted IPv4 address: exactly four parts separated by ".", each of which
/// converts with toInteger16() to a number from 0 to 255. So " 10.+0.0.1" is an address, while
/// "10.0.0.256", "10.0.0", "10..0.1" and "10.0.0.99999" are not.
bool IsValidIPAddress(QStringView text);

/// The dotted form of an address that passes IsValidIPAddress(), each part in plain decimal
/// (" 10.+0.0.01" becomes "10.0.0.1"); empty when the text is no address.
QString canonicalIPAddress(QStringView text);

} // namespace MGImport8
