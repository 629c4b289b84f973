#include "wizard/workbook/cellvalues.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace MGImport8::CellValues {

namespace {

constexpr int MaxSignificantDigits = 15;
constexpr int LargestPlainExponent = 14;  // 1E+15 and up are shown scientific
constexpr int SmallestPlainExponent = -9; // below 1E-09 too
constexpr double LastSerialDay = 2958465; // 9999-12-31 in the 1900 system
constexpr int SecondsPerDay = 86400;

// Digits and decimal exponent of `value` written with `precision` significant digits.
struct Decimal
{
    std::string digits; // no leading or trailing zeros
    int exponent = 0;   // of the first digit
};

Decimal toDecimal(double value, int precision)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*e", precision - 1, value);
    Decimal result;
    const char *p = text.data();
    for (; *p && *p != 'e'; ++p) {
        if (*p >= '0' && *p <= '9')
            result.digits += *p;
    }
    if (*p == 'e')
        result.exponent = std::atoi(p + 1);
    while (result.digits.size() > 1 && result.digits.back() == '0')
        result.digits.pop_back();
    return result;
}

// Days since 1970-01-01 to a civil date (proleptic Gregorian).
void civilFromDays(long long days, int &year, int &month, int &day)
{
    days += 719468;
    const long long era = (days >= 0 ? days : days - 146096) / 146097;
    const long long dayOfEra = days - era * 146097;
    const long long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096)
                                / 365;
    const long long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const long long mp = (5 * dayOfYear + 2) / 153;
    day = int(dayOfYear - (153 * mp + 2) / 5 + 1);
    month = int(mp < 10 ? mp + 3 : mp - 9);
    year = int(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
}

std::string twoDigits(long long value)
{
    std::string text = std::to_string(value);
    return text.size() < 2 ? "0" + text : text;
}

std::string dateText(int year, int month, int day)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d", year, month, day);
    return text.data();
}

std::string timeText(long long hours, long long minutes, long long seconds)
{
    return twoDigits(hours) + ":" + twoDigits(minutes) + ":" + twoDigits(seconds);
}

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
}

bool isElapsedToken(std::string_view token)
{
    if (token.empty())
        return false;
    const char first = lower(token.front());
    if (first != 'h' && first != 'm' && first != 's')
        return false;
    for (char c : token) {
        if (lower(c) != first)
            return false;
    }
    return true;
}

} // namespace

std::string generalNumber(double value)
{
    if (!std::isfinite(value))
        return "#NUM!";
    if (value == 0)
        return "0";
    // The value as the sheet keeps it (15 digits), then the fewest digits that give it back.
    const Decimal full = toDecimal(value, MaxSignificantDigits);
    const double rounded = std::strtod((std::string(value < 0 ? "-" : "") + full.digits.substr(0, 1)
                                        + "." + full.digits.substr(1) + "e"
                                        + std::to_string(full.exponent))
                                           .c_str(),
                                       nullptr);
    Decimal shortest = full;
    for (int precision = 1; precision < MaxSignificantDigits; ++precision) {
        std::array<char, 64> text{};
        std::snprintf(text.data(), text.size(), "%.*e", precision - 1, rounded);
        if (std::strtod(text.data(), nullptr) == rounded) {
            shortest = toDecimal(rounded, precision);
            break;
        }
    }
    std::string result = value < 0 ? "-" : "";
    const std::string &digits = shortest.digits;
    const int exponent = shortest.exponent;
    if (exponent > LargestPlainExponent || exponent < SmallestPlainExponent) {
        result += digits.substr(0, 1);
        if (digits.size() > 1)
            result += "." + digits.substr(1);
        result += exponent < 0 ? "E-" : "E+";
        result += twoDigits(std::abs(exponent));
    } else if (exponent < 0) {
        result += "0." + std::string(size_t(-exponent - 1), '0') + digits;
    } else if (size_t(exponent) + 1 >= digits.size()) {
        result += digits + std::string(size_t(exponent) + 1 - digits.size(), '0');
    } else {
        result += digits.substr(0, size_t(exponent) + 1) + "."
                  + digits.substr(size_t(exponent) + 1);
    }
    return result;
}

NumberKind builtinFormatKind(int id)
{
    if ((id >= 14 && id <= 17) || (id >= 27 && id <= 31) || (id >= 34 && id <= 36)
        || (id >= 50 && id <= 58))
        return NumberKind::Date;
    if ((id >= 18 && id <= 21) || id == 32 || id == 33 || id == 45 || id == 47)
        return NumberKind::Time;
    if (id == 22)
        return NumberKind::DateTime;
    if (id == 46)
        return NumberKind::ElapsedTime;
    return NumberKind::General;
}

NumberKind formatCodeKind(std::string_view code)
{
    bool date = false, hours = false, seconds = false, minutes = false, elapsed = false;
    for (size_t i = 0; i < code.size(); ++i) {
        const char c = lower(code[i]);
        if (c == ';')
            break; // the first section decides
        if (c == '"') {
            const size_t end = code.find('"', i + 1);
            if (end == std::string_view::npos)
                break;
            i = end;
        } else if (c == '\\' || c == '_' || c == '*') {
            ++i;
        } else if (c == '[') {
            const size_t end = code.find(']', i + 1);
            if (end == std::string_view::npos)
                break;
            if (isElapsedToken(code.substr(i + 1, end - i - 1))) {
                elapsed = true;
                hours = true;
            }
            i = end;
        } else if (c == 'y' || c == 'd') {
            date = true;
        } else if (c == 'h') {
            hours = true;
        } else if (c == 's') {
            seconds = true;
        } else if (c == 'm') {
            minutes = true;
        } else if (c == 'g' && code.substr(i).size() >= 7) {
            // "General" holds none of the date letters but is a word; skip it whole.
            std::string word;
            for (size_t j = i; j < i + 7; ++j)
                word += lower(code[j]);
            if (word == "general")
                i += 6;
        }
    }
    const bool time = hours || seconds;
    if (elapsed)
        return NumberKind::ElapsedTime;
    if (minutes && !time)
        date = true;
    if (date && time)
        return NumberKind::DateTime;
    if (date)
        return NumberKind::Date;
    if (time)
        return NumberKind::Time;
    return NumberKind::General;
}

std::string serialDateText(double serial, NumberKind kind, DateSystem system)
{
    if (kind == NumberKind::General || !std::isfinite(serial) || serial < 0
        || serial >= LastSerialDay + 1)
        return generalNumber(serial);
    const long long totalSeconds = std::llround(serial * SecondsPerDay);
    const long long wholeDays = totalSeconds / SecondsPerDay;
    const long long secondOfDay = totalSeconds % SecondsPerDay;
    if (kind == NumberKind::ElapsedTime)
        return timeText(totalSeconds / 3600, totalSeconds / 60 % 60, totalSeconds % 60);
    const std::string time = timeText(secondOfDay / 3600, secondOfDay / 60 % 60, secondOfDay % 60);
    if (kind == NumberKind::Time)
        return time;

    std::string date;
    if (system == DateSystem::From1904) {
        int year = 0, month = 0, day = 0;
        civilFromDays(wholeDays - 24107, year, month, day); // 1904-01-01 is day -24107
        date = dateText(year, month, day);
    } else if (wholeDays == 0) {
        date = "1900-01-00";
    } else if (wholeDays == 60) {
        date = "1900-02-29";
    } else {
        int year = 0, month = 0, day = 0;
        // Serial 1 is 1900-01-01 (day -25567); from 61 on the counted 29 February shifts by one.
        civilFromDays(wholeDays - 25568 - (wholeDays > 60 ? 1 : 0), year, month, day);
        date = dateText(year, month, day);
    }
    return kind == NumberKind::Date ? date : date + " " + time;
}

std::string isoDateText(std::string_view value)
{
    int year = 0, month = 0, day = 0, hour = 0, minute = 0;
    double second = 0;
    const std::string text(value);
    int consumed = 0;
    if (std::sscanf(text.c_str(), "%d-%d-%d%n", &year, &month, &day, &consumed) != 3)
        return text;
    std::string date = dateText(year, month, day);
    if (size_t(consumed) >= text.size() || text[size_t(consumed)] != 'T')
        return date;
    if (std::sscanf(text.c_str() + consumed + 1, "%d:%d:%lf", &hour, &minute, &second) != 3)
        return date;
    const long long seconds = std::llround(second);
    if (hour == 0 && minute == 0 && seconds == 0)
        return date;
    return date + " " + timeText(hour, minute, seconds);
}

std::string isoDurationText(std::string_view value)
{
    size_t i = 0;
    bool negative = false;
    if (i < value.size() && value[i] == '-') {
        negative = true;
        ++i;
    }
    if (i >= value.size() || value[i] != 'P')
        return std::string(value);
    ++i;
    double total = 0;
    bool inTime = false;
    while (i < value.size()) {
        if (value[i] == 'T') {
            inTime = true;
            ++i;
            continue;
        }
        double number = 0;
        const auto [end, error] = std::from_chars(value.data() + i, value.data() + value.size(),
                                                  number);
        if (error != std::errc() || end == value.data() + value.size())
            return std::string(value);
        i = size_t(end - value.data());
        const char unit = value[i++];
        if (unit == 'D' && !inTime)
            total += number * SecondsPerDay;
        else if (unit == 'H' && inTime)
            total += number * 3600;
        else if (unit == 'M' && inTime)
            total += number * 60;
        else if (unit == 'S' && inTime)
            total += number;
        else
            return std::string(value);
    }
    if (total > 1e15)
        return std::string(value);
    const long long seconds = std::llround(total);
    return (negative ? "-" : "") + timeText(seconds / 3600, seconds / 60 % 60, seconds % 60);
}

} // namespace MGImport8::CellValues
