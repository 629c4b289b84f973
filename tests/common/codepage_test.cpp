// decodeWindows1252: the 0x80-0x9F block takes the code page's characters (the euro sign, quotes,
//   dashes), its five undefined bytes keep their numbers, and all other bytes are Latin-1.
// isValidUtf8: overlong forms, surrogates, out-of-range code points and truncated sequences are
//   refused, so such files fall back to the code page instead of decoding to garbage.
#include "common/codepage.h"

#include <gtest/gtest.h>

using namespace MGImport8;

TEST(Windows1252, DecodesTheWholeHighBlock)
{
    QByteArray all;
    for (int byte = 0; byte < 256; ++byte)
        all.append(char(byte));
    const QString text = decodeWindows1252(all);
    ASSERT_EQ(text.size(), 256);

    const std::pair<int, char16_t> block[] = {
        {0x80, 0x20AC}, {0x81, 0x0081}, {0x82, 0x201A}, {0x8A, 0x0160},
        {0x8D, 0x008D}, {0x8F, 0x008F}, {0x90, 0x0090}, {0x92, 0x2019},
        {0x96, 0x2013}, {0x99, 0x2122}, {0x9D, 0x009D}, {0x9F, 0x0178},
    };
    for (const auto &[byte, expected] : block)
        EXPECT_EQ(text[byte].unicode(), expected) << std::hex << byte;
    for (int byte : {0x00, 0x41, 0x7F, 0xA0, 0xE9, 0xFF})
        EXPECT_EQ(text[byte].unicode(), byte) << std::hex << byte;
}

TEST(Utf8, AcceptsOnlyWellFormedSequences)
{
    const std::pair<QByteArray, bool> cases[] = {
        {"", true},
        {"plain ascii", true},
        {"caf\xC3\xA9", true},
        {"\xE2\x82\xAC", true},      // euro sign
        {"\xF0\x9F\x98\x80", true},  // emoji
        {"\xF4\x8F\xBF\xBF", true},  // U+10FFFF
        {"caf\xE9", false},          // Latin-1 byte
        {"\xC0\xAF", false},         // overlong "/"
        {"\xE0\x80\xAF", false},     // overlong three-byte form
        {"\xED\xA0\x80", false},     // surrogate
        {"\xF4\x90\x80\x80", false}, // past U+10FFFF
        {"\xE2\x82", false},         // truncated
        {"\x80", false},             // stray continuation byte
        {"\xFF\xFE", false},
    };
    for (const auto &[bytes, valid] : cases)
        EXPECT_EQ(isValidUtf8(bytes), valid) << bytes.toHex().toStdString();
}
