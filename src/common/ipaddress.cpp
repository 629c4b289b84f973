#include "common/ipaddress.h"

#include <QString>
#include <QStringList>
#include <QStringTokenizer>

#include <algorithm>

namespace MGImport8 {

namespace {

constexpr int partsInAddress = 4;
constexpr int largestAddressPart = 255;
constexpr int int16Min = -32768;
constexpr int int16Max = 32767;
constexpr unsigned radixLiteralMax = 0xFFFF;
// Larger exponents only matter for deciding overflow versus zero; clamping keeps the arithmetic
// in range however many exponent digits the text has.
constexpr int exponentClamp = 100000;

bool isBlank(QChar c)
{
    return c == u' ' || c == u'\t';
}

int digitValue(QChar c, int radix)
{
    const char16_t u = c.unicode();
    int value = radix;
    if (u >= u'0' && u <= u'9')
        value = u - u'0';
    else if (u >= u'a' && u <= u'f')
        value = u - u'a' + 10;
    else if (u >= u'A' && u <= u'F')
        value = u - u'A' + 10;
    return value < radix ? value : -1;
}

// "&H1F" and "&O17": no sign, one or more digits, at most 16 bits.
std::optional<qint16> radixLiteral(QStringView digits, int radix)
{
    if (digits.isEmpty())
        return std::nullopt;
    unsigned value = 0;
    for (QChar c : digits) {
        const int d = digitValue(c, radix);
        if (d < 0)
            return std::nullopt;
        value = value * unsigned(radix) + unsigned(d);
        if (value > radixLiteralMax)
            return std::nullopt;
    }
    return static_cast<qint16>(static_cast<quint16>(value));
}

std::optional<qint16> decimalNumber(QStringView text)
{
    qsizetype i = 0;
    bool negative = false;
    if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) {
        negative = text[i] == u'-';
        ++i;
    }

    // Significant digits without leading zeros, and how many of them precede the decimal point.
    QString digits;
    qsizetype integerDigits = 0;
    bool anyDigit = false;
    bool inFraction = false;
    for (; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c == u'.' && !inFraction) {
            inFraction = true;
        } else if (c.unicode() >= u'0' && c.unicode() <= u'9') {
            anyDigit = true;
            if (digits.isEmpty() && c == u'0') {
                if (inFraction)
                    --integerDigits; // a zero right after the point shifts the value down
                continue;
            }
            digits.append(c);
            if (!inFraction)
                ++integerDigits;
        } else {
            break;
        }
    }
    if (!anyDigit)
        return std::nullopt;

    if (i < text.size() && (text[i] == u'e' || text[i] == u'E')) {
        ++i;
        bool negativeExponent = false;
        if (i < text.size() && (text[i] == u'+' || text[i] == u'-')) {
            negativeExponent = text[i] == u'-';
            ++i;
        }
        int exponent = 0;
        bool anyExponentDigit = false;
        for (; i < text.size() && text[i].unicode() >= u'0' && text[i].unicode() <= u'9'; ++i) {
            anyExponentDigit = true;
            exponent = std::min(exponent * 10 + (text[i].unicode() - u'0'), exponentClamp);
        }
        if (!anyExponentDigit)
            return std::nullopt;
        integerDigits += negativeExponent ? -exponent : exponent;
    }
    if (i != text.size())
        return std::nullopt;

    if (digits.isEmpty())
        return qint16(0);
    // With no leading zeros, more than five integer digits is at least 100000.
    constexpr qsizetype maxIntegerDigits = 5;
    if (integerDigits > maxIntegerDigits)
        return std::nullopt;

    int magnitude = 0;
    for (qsizetype k = 0; k < integerDigits; ++k)
        magnitude = magnitude * 10 + (k < digits.size() ? digits[k].unicode() - u'0' : 0);

    // Round half to even on the exact decimal fraction. A negative count of integer digits means
    // the value is below 0.1, which rounds to zero.
    if (integerDigits >= 0 && integerDigits < digits.size()) {
        const int roundingDigit = digits[integerDigits].unicode() - u'0';
        bool beyondHalf = false;
        for (qsizetype k = integerDigits + 1; k < digits.size() && !beyondHalf; ++k)
            beyondHalf = digits[k] != u'0';
        if (roundingDigit > 5 || (roundingDigit == 5 && (beyondHalf || magnitude % 2 == 1)))
            ++magnitude;
    }

    const int value = negative ? -magnitude : magnitude;
    if (value < int16Min || value > int16Max)
        return std::nullopt;
    return static_cast<qint16>(value);
}

} // namespace

std::optional<qint16> toInteger16(QStringView text)
{
    qsizetype first = 0;
    qsizetype last = text.size();
    while (first < last && isBlank(text[first]))
        ++first;
    while (last > first && isBlank(text[last - 1]))
        --last;
    const QStringView number = text.sliced(first, last - first);
    if (number.size() >= 2 && number[0] == u'&') {
        const QChar kind = number[1].toUpper();
        if (kind == u'H')
            return radixLiteral(number.sliced(2), 16);
        if (kind == u'O')
            return radixLiteral(number.sliced(2), 8);
        return std::nullopt;
    }
    return decimalNumber(number);
}

bool IsValidIPAddress(QStringView text)
{
    int parts = 0;
    for (QStringView part : QStringTokenizer(text, u'.')) {
        if (++parts > partsInAddress)
            return false;
        const std::optional<qint16> value = toInteger16(part);
        if (!value || *value < 0 || *value > largestAddressPart)
            return false;
    }
    return parts == partsInAddress;
}

QString canonicalIPAddress(QStringView text)
{
    if (!IsValidIPAddress(text))
        return {};
    QStringList parts;
    for (QStringView part : QStringTokenizer(text, u'.'))
        parts.append(QString::number(*toInteger16(part)));
    return parts.join(u'.');
}

} // namespace MGImport8
