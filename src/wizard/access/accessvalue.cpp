#include "wizard/access/accessvalue.h"

#include <QDate>

#include <cmath>

namespace MGImport8::AccessValue {

namespace {

constexpr int SecondsPerDay = 24 * 60 * 60;
constexpr int FirstYear = 100;
constexpr int LastYear = 9999;

QDate dayZero()
{
    return QDate(1899, 12, 30);
}

} // namespace

QByteArray dateTime(double days)
{
    if (!std::isfinite(days))
        return QByteArray::number(days);
    // Before day 0 the whole part counts backwards but the fraction is still the time of day
    // (-1.25 is 29 December 1899, 06:00).
    double whole = std::trunc(days);
    double seconds = std::round(std::fabs(days - whole) * SecondsPerDay);
    if (seconds >= SecondsPerDay) {
        seconds -= SecondsPerDay;
        whole += days < 0 ? -1 : 1;
    }
    const QDate date = std::fabs(whole) < double(LastYear) * 366
                           ? dayZero().addDays(static_cast<qint64>(whole))
                           : QDate();
    if (!date.isValid() || date.year() < FirstYear || date.year() > LastYear)
        return QByteArray::number(days, 'g', 17);

    const int secondOfDay = static_cast<int>(seconds);
    char buffer[32];
    const int hour = secondOfDay / 3600;
    const int minute = secondOfDay / 60 % 60;
    const int second = secondOfDay % 60;
    int length = 0;
    if (whole == 0 && secondOfDay != 0)
        length = std::snprintf(buffer, sizeof buffer, "%02d:%02d:%02d", hour, minute, second);
    else if (secondOfDay == 0)
        length = std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d", date.year(), date.month(),
                               date.day());
    else
        length = std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d", date.year(),
                               date.month(), date.day(), hour, minute, second);
    return QByteArray(buffer, length);
}

QByteArrayView trimmedDecimal(QByteArrayView text)
{
    if (!text.contains('.'))
        return text;
    while (text.endsWith('0'))
        text.chop(1);
    if (text.endsWith('.'))
        text.chop(1);
    return text;
}

QByteArrayView boolean(QByteArrayView text)
{
    return text == "0" || text.isEmpty() ? QByteArrayView("False") : QByteArrayView("True");
}

QByteArray hex(QByteArrayView bytes)
{
    return QByteArray(bytes.data(), bytes.size()).toHex().toUpper();
}

} // namespace MGImport8::AccessValue
