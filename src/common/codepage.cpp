#include "common/codepage.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace MGImport8 {

namespace {

// The 0x80-0x9F block of the code page; everything else coincides with Latin-1.
constexpr std::array<char16_t, 32> highControlBlock = {0x20AC, 0x0081, 0x201A, 0x0192,
                                                       0x201E, 0x2026, 0x2020, 0x2021, //
                                                       0x02C6, 0x2030, 0x0160, 0x2039,
                                                       0x0152, 0x008D, 0x017D, 0x008F, //
                                                       0x0090, 0x2018, 0x2019, 0x201C,
                                                       0x201D, 0x2022, 0x2013, 0x2014, //
                                                       0x02DC, 0x2122, 0x0161, 0x203A,
                                                       0x0153, 0x009D, 0x017E, 0x0178};

constexpr unsigned char blockStart = 0x80;
constexpr unsigned char blockEnd = 0x9F;

// The ASCII test takes sixteen bytes at a time, as two 64-bit words.
constexpr qsizetype asciiStride = 16;
constexpr std::uint64_t highBits = 0x8080808080808080ULL;

} // namespace

QString decodeWindows1252(QByteArrayView bytes)
{
    QString text(bytes.size(), Qt::Uninitialized);
    QChar *out = text.data();
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        *out++ = (byte >= blockStart && byte <= blockEnd)
                     ? QChar(highControlBlock[byte - blockStart])
                     : QChar(char16_t(byte));
    }
    return text;
}

bool isValidUtf8(QByteArrayView bytes)
{
    const qsizetype size = bytes.size();
    const char *data = bytes.data();
    qsizetype i = 0;
    while (i < size) {
        // Most text is ASCII: test sixteen bytes at a time for a byte with its high bit set.
        while (i + asciiStride <= size) {
            std::uint64_t first;
            std::uint64_t second;
            std::memcpy(&first, data + i, sizeof first);
            std::memcpy(&second, data + i + sizeof first, sizeof second);
            if ((first | second) & highBits)
                break;
            i += asciiStride;
        }
        // Check sequence by sequence until past the stretch that held a non-ASCII byte.
        const qsizetype stop = std::min(size, i + asciiStride);
        while (i < stop) {
            const auto lead = static_cast<unsigned char>(data[i]);
            if (lead < 0x80) {
                ++i;
                continue;
            }
            // The allowed range of the second byte narrows for the leads that would otherwise
            // admit overlong forms (E0, F0), surrogates (ED) or code points past U+10FFFF (F4).
            qsizetype length = 0;
            unsigned char secondMin = 0x80;
            unsigned char secondMax = 0xBF;
            if (lead >= 0xC2 && lead <= 0xDF) {
                length = 2;
            } else if (lead >= 0xE0 && lead <= 0xEF) {
                length = 3;
                if (lead == 0xE0)
                    secondMin = 0xA0;
                else if (lead == 0xED)
                    secondMax = 0x9F;
            } else if (lead >= 0xF0 && lead <= 0xF4) {
                length = 4;
                if (lead == 0xF0)
                    secondMin = 0x90;
                else if (lead == 0xF4)
                    secondMax = 0x8F;
            } else {
                return false;
            }
            if (size - i < length)
                return false;
            const auto second = static_cast<unsigned char>(data[i + 1]);
            if (second < secondMin || second > secondMax)
                return false;
            for (qsizetype k = 2; k < length; ++k) {
                const auto next = static_cast<unsigned char>(data[i + k]);
                if (next < 0x80 || next > 0xBF)
                    return false;
            }
            i += length;
        }
    }
    return true;
}

} // namespace MGImport8
