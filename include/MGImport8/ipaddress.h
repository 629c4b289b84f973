#pragma once

#include <MGImport8/mgimport8_export.h>

#include <QString>

namespace MGImport8 {

/// The wizard's reading of an IPv4 address, for hosts that check or store the addresses they are
/// handed: four parts separated by ".", each a number from 0 to 255 in any of the forms the
/// wizard's IP check accepts (blanks around it, a sign, a fraction rounded half to even, an
/// exponent, "&H" hexadecimal, "&O" octal). A host that uses it agrees with the wizard's row
/// selection on what an address is.
class MGIMPORT8_EXPORT IPAddress
{
public:
    IPAddress() = delete;

    /// True when `Text` is such an address: " 10.+0.0.1" is one; "10.0.0.256", "10.0.0" and
    /// "10..0.1" are not.
    static bool IsValid(const QString &Text);
    /// The address in plain dotted decimal (" 10.+0.0.01" gives "10.0.0.1"), so that two
    /// spellings of one address compare equal; empty when `Text` is no address.
    static QString Canonical(const QString &Text);
};

} // namespace MGImport8
