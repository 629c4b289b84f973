// Yes/no words: every accepted spelling in any case, and near misses that must read as no.
// Numbers: lenient 16-bit conversion accepts what automation accepts, rounds half to even, and
//   fails (never wraps or crashes) on overflow, however long the digits or exponent.
// Addresses are checked through the node store's canonical form, which follows the same rules.
// decodeWindows1252: the 0x80-0x9F block takes the code page's characters (the euro sign, quotes,
//   dashes), its five undefined bytes keep their numbers, and all other bytes are Latin-1.
// isValidUtf8: overlong forms, surrogates, out-of-range code points and truncated sequences are
//   refused, so such files fall back to the code page instead of decoding to garbage.
// Connection strings come back exactly as the system wrote them: unescaped quotes in passwords,
// semicolons in Access paths, keys in any case. Names quoted for a connection string and read
// back whole are checked through the administration library that writes them.
#include "common/codepage.h"
#include "common/connectionstring.h"
#include "common/ipaddress.h" // toInteger16
#include "common/yesno.h"

#include <QString>

#include <gtest/gtest.h>

#include <optional>

using namespace MGImport8;
using namespace Qt::StringLiterals;

TEST(YesNo, OnlyTheYesWordsInAnyCaseAreTrue)
{
    const std::pair<const char16_t *, bool> cases[] = {
        {u"YES", true}, {u"yes", true},  {u"True", true},  {u"1", true},
        {u"y", true},   {u"User", true}, {u"uSeR", true},  {u"", false},
        {u"NO", false}, {u"0", false},   {u"yes ", false}, {u" y", false},
        {u"-1", false}, {u"ON", false},  {u"T", false},    {u"users", false},
    };
    for (const auto &[word, yes] : cases)
        EXPECT_EQ(IsTrue(QStringView(word)), yes) << QString::fromUtf16(word).toStdString();
}

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

TEST(Windows1252, DecodesTheWholeHighBlock)
{
    QByteArray all;
    for (int byte = 0; byte < 256; ++byte)
        all.append(char(byte));
    const QString text = decodeWindows1252(all);
    ASSERT_EQ(text.size(), 256);

    // clang-format off
    const std::pair<int, char16_t> block[] = {
        {0x80, 0x20AC}, {0x81, 0x0081}, {0x82, 0x201A}, {0x8A, 0x0160}, {0x8D, 0x008D},
        {0x8F, 0x008F}, {0x90, 0x0090}, {0x92, 0x2019}, {0x96, 0x2013}, {0x9F, 0x0178}};
    // clang-format on
    for (const auto &[byte, expected] : block)
        EXPECT_EQ(text[byte].unicode(), expected) << std::hex << byte;
    for (int byte : {0x00, 0x41, 0x7F, 0xA0, 0xE9, 0xFF})
        EXPECT_EQ(text[byte].unicode(), byte) << std::hex << byte;
}

TEST(Utf8, AcceptsOnlyWellFormedSequences)
{
    // Plain, two, three and four bytes, U+10FFFF; a Latin-1 byte, overlong forms, a surrogate,
    // past U+10FFFF, truncated, a stray continuation byte.
    // clang-format off
    const std::pair<QByteArray, bool> cases[] = {
        {"", true}, {"caf\xC3\xA9", true}, {"\xE2\x82\xAC", true}, {"\xF0\x9F\x98\x80", true},
        {"\xF4\x8F\xBF\xBF", true}, {"caf\xE9", false}, {"\xC0\xAF", false},
        {"\xE0\x80\xAF", false}, {"\xED\xA0\x80", false}, {"\xF4\x90\x80\x80", false},
        {"\xE2\x82", false}, {"\x80", false}, {"\xFF\xFE", false}};
    // clang-format on
    for (const auto &[bytes, valid] : cases)
        EXPECT_EQ(isValidUtf8(bytes), valid) << bytes.toHex().toStdString();
}

TEST(ConnectionString, ReadsWhatTheSystemWrites)
{
    // Quoted as it stands: the password's own quotes and semicolon stay.
    const ConnectionString sql = ConnectionString::parse(
        u"Provider=SQLOLEDB.1;User ID='sa';Password='it''s;a ' secret';Initial Catalog=;"
        u"Data Source=HOST\\INST"_s);
    EXPECT_TRUE(sql.isProvider(u"sqloledb.1"_s));
    EXPECT_EQ(sql.text(u"user id"_s), u"sa"_s);
    EXPECT_EQ(sql.text(u"Password"_s), u"it''s;a ' secret"_s);
    EXPECT_EQ(sql.value(u"Initial Catalog"_s), QString());
    EXPECT_EQ(sql.text(u"DATA SOURCE"_s), u"HOST\\INST"_s);
    EXPECT_FALSE(sql.value(u"Integrated Security"_s).has_value());

    const ConnectionString odd = ConnectionString::parse(u";;junk;a = 1 ;A=2; b=\"x;y\""_s);
    ASSERT_EQ(odd.entries().size(), 2);
    EXPECT_EQ(odd.text(u"a"_s), u"2"_s);
    EXPECT_EQ(odd.text(u"b"_s), u"x;y"_s);
    // An opening quote that never closes is part of the value.
    EXPECT_EQ(ConnectionString::parse(u"Password='abc"_s).text(u"Password"_s), u"'abc"_s);

    EXPECT_EQ(jetDataSource(u"Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/data/a;b 'c'.mdb"_s),
              u"/data/a;b 'c'.mdb"_s);
    EXPECT_EQ(jetDataSource(u"Data Source=/x.mdb;Provider=microsoft.jet.oledb.4.0"_s), u"/x.mdb"_s);
    EXPECT_FALSE(jetDataSource(u"Provider=SQLOLEDB.1;Data Source=srv"_s).has_value());
}
