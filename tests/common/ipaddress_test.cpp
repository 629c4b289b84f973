// Numbers: lenient 16-bit conversion accepts what automation accepts, rounds half to even, and
//   fails (never wraps or crashes) on overflow, however long the digits or exponent.
// Addresses: exactly four parts in 0..255; extra, missing, empty and non-numeric parts fail.
#include "common/ipaddress.h"

#include <QString>

#include <gtest/gtest.h>

#include <optional>

using MGImport8::IsValidIPAddress;
using MGImport8::toInteger16;

TEST(ToInteger16, ConvertsLikeAutomation)
{
    // clang-format off
    const std::pair<const char16_t *, int> numbers[] = {
        {u"12", 12},        {u" 12 ", 12},         {u"\t+5", 5},        {u"-5", -5},
        {u"007", 7},        {u"-0", 0},            {u"&H1F", 31},       {u"&hff", 255},
        {u"&HFFFF", -1},    {u"&H8000", -32768},   {u"&O17", 15},       {u"1E2", 100},
        {u"1e+2", 100},     {u"25E-1", 2},         {u"2.5", 2},         {u"3.5", 4},
        {u"2.51", 3},       {u"-2.5", -2},         {u"0.05", 0},        {u".5", 0},
        {u"5.", 5},         {u"1.5E1", 15},        {u"32767", 32767},   {u"-32768", -32768},
        {u"-32768.5", -32768},                     {u"1E-99999999999", 0}};
    // Out of range, not a number, or malformed.
    const char16_t *failures[] = {
        u"32768", u"-32769", u"32767.5", u"99999999999999999999", u"1E99999999999", u"&H10000",
        u"", u"  ", u"abc", u"1a", u"1 2", u"+ 1", u"--1", u"+", u".", u"1E", u"&H", u"&X1",
        u"&O8", u"-&H1", u"1,000", u"\u0661"};
    // clang-format on
    for (const auto &[text, expected] : numbers) {
        const std::optional<qint16> result = toInteger16(QStringView(text));
        ASSERT_TRUE(result.has_value()) << QString::fromUtf16(text).toStdString();
        EXPECT_EQ(*result, expected) << QString::fromUtf16(text).toStdString();
    }
    for (const char16_t *text : failures) {
        EXPECT_FALSE(toInteger16(QStringView(text)).has_value())
            << QString::fromUtf16(text).toStdString();
    }
}

TEST(IsValidIPAddress, AcceptsOnlyFourPartsInByteRange)
{
    // clang-format off
    const std::pair<const char16_t *, bool> cases[] = {
        {u"10.0.0.1", true},     {u"0.0.0.0", true},       {u"255.255.255.255", true},
        {u" 10.+0.0.1", true},   {u"10.0.0.1 ", true},     {u"&HA.0.0.1", true},
        {u"1E2.0.0.1", true},    {u"10.0.0.256", false},   {u"10.0.0", false},
        {u"10.0.0.1.5", false},  {u"10..0.1", false},      {u"10.0..1", false},
        {u"a.b.c.d", false},     {u"10.0.0.99999", false}, {u"10.0.0.-1", false},
        {u"", false},            {u"...", false},          {u"10.0.0.1.", false},
        {u"10.0.0.1,5", false},  {u"1.2.3.4.5.6.7.8", false}};
    // clang-format on
    for (const auto &[text, valid] : cases)
        EXPECT_EQ(IsValidIPAddress(QStringView(text)), valid)
            << QString::fromUtf16(text).toStdString();
}
