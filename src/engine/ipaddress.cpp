#include <MGImport8/ipaddress.h>

#include "common/ipaddress.h"

namespace MGImport8 {

bool IPAddress::IsValid(const QString &Text)
{
    return IsValidIPAddress(Text);
}

QString IPAddress::Canonical(const QString &Text)
{
    return canonicalIPAddress(Text);
}

} // namespace MGImport8
