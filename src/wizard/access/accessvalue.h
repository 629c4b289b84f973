#pragma once

#include <QByteArray>
#include <QByteArrayView>

namespace MGImport8::AccessValue {

// How the Access reader shows a field's value as text. Nulls never get here: they are empty.

/// A date/time value (days since 30 December 1899, the fraction the time of day) as
/// "yyyy-MM-dd HH:mm:ss"; a date at midnight as "yyyy-MM-dd", a time on day 0 as "HH:mm:ss".
/// Values outside the years 100 to 9999 are shown as the number.
QByteArray dateTime(double days);

/// A currency or decimal value printed with trailing fraction zeros: "12.7500" becomes "12.75",
/// "42.0000" becomes "42".
QByteArrayView trimmedDecimal(QByteArrayView text);

/// A yes/no value as "True" or "False"; `text` is what the library bound ("1" or "0").
QByteArrayView boolean(QByteArrayView text);

/// A fixed-size binary value in upper-case hex digits, two a byte.
QByteArray hex(QByteArrayView bytes);

} // namespace MGImport8::AccessValue
