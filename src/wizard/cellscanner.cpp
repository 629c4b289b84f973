#include "wizard/cellscanner.h"

#include "common/ipaddress.h"
#include "wizard/importgrid.h"

#include <QString>

namespace MGImport8 {

namespace {

constexpr int dotsInAddress = 3;
constexpr int largestAddressPart = 255;
constexpr char headerMark[] = "header:";
constexpr qsizetype headerMarkLength = sizeof(headerMark) - 1;

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Every character an address part may hold: digits, blanks, signs, the exponent, "&H"/"&O"
// literals with their hexadecimal digits. (The decimal point cannot occur: parts are split at it.)
bool mayBeInAddress(char c)
{
    if (isDigit(c) || c == '.' || c == ' ' || c == '\t' || c == '+' || c == '-' || c == '&')
        return true;
    const char lower = char(c | 0x20);
    return (lower >= 'a' && lower <= 'f') || lower == 'h' || lower == 'o';
}

} // namespace

QByteArrayView CellScanner::utf8(qsizetype row, int column)
{
    return m_grid.utf8(row, column, m_scratch);
}

bool isValidIPAddressUtf8(QByteArrayView utf8)
{
    int dots = 0;
    bool plain = true;
    for (const char c : utf8) {
        if (c == '.')
            ++dots;
        else if (!isDigit(c))
            plain = false;
        if (!mayBeInAddress(c))
            return false;
    }
    if (dots != dotsInAddress)
        return false;
    if (!plain)
        return IsValidIPAddress(QString::fromLatin1(utf8));

    // Digits and dots only: each part must be non-empty and at most 255 (leading zeros allowed).
    int value = 0;
    bool anyDigit = false;
    for (const char c : utf8) {
        if (c == '.') {
            if (!anyDigit)
                return false;
            value = 0;
            anyDigit = false;
            continue;
        }
        anyDigit = true;
        value = value * 10 + (c - '0');
        if (value > largestAddressPart)
            return false;
    }
    return anyDigit;
}

bool containsHeaderMark(QByteArrayView utf8)
{
    for (qsizetype start = 0; start + headerMarkLength <= utf8.size(); ++start) {
        qsizetype k = 0;
        while (k < headerMarkLength) {
            const char c = utf8[start + k];
            const char lower = (c >= 'A' && c <= 'Z') ? char(c | 0x20) : c;
            if (lower != headerMark[k])
                break;
            ++k;
        }
        if (k == headerMarkLength)
            return true;
    }
    return false;
}

} // namespace MGImport8
