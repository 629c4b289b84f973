#include "wizard/sources/textdecoder.h"

#include "common/codepage.h"

#include <QString>

#include <array>
#include <cstring>

namespace MGImport8 {

namespace {

constexpr unsigned char utf8Mark[] = {0xEF, 0xBB, 0xBF};
constexpr unsigned char utf16LeMark[] = {0xFF, 0xFE};
constexpr unsigned char utf16BeMark[] = {0xFE, 0xFF};
constexpr char32_t replacementCharacter = 0xFFFD;
// The longest UTF-8 form of one UTF-16 code unit (a pair of units takes four bytes, two each).
constexpr qsizetype maxUtf8PerUtf16Unit = 3;

template<size_t N>
bool startsWith(const QByteArray &bytes, const unsigned char (&mark)[N])
{
    return bytes.size() >= qsizetype(N) && std::memcmp(bytes.constData(), mark, N) == 0;
}

char *putUtf8(char *out, char32_t c)
{
    if (c < 0x80) {
        *out++ = char(c);
    } else if (c < 0x800) {
        *out++ = char(0xC0 | (c >> 6));
        *out++ = char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        *out++ = char(0xE0 | (c >> 12));
        *out++ = char(0x80 | ((c >> 6) & 0x3F));
        *out++ = char(0x80 | (c & 0x3F));
    } else {
        *out++ = char(0xF0 | (c >> 18));
        *out++ = char(0x80 | ((c >> 12) & 0x3F));
        *out++ = char(0x80 | ((c >> 6) & 0x3F));
        *out++ = char(0x80 | (c & 0x3F));
    }
    return out;
}

std::optional<QByteArray> utf16ToUtf8(const QByteArray &bytes, qsizetype begin, bool bigEndian,
                                      qsizetype maxBytes)
{
    const auto *in = reinterpret_cast<const unsigned char *>(bytes.constData()) + begin;
    const qsizetype units = (bytes.size() - begin) / 2;
    const bool oddByte = (bytes.size() - begin) % 2 != 0;
    const auto unitAt = [&](qsizetype i) -> char16_t {
        return bigEndian ? char16_t(in[2 * i] << 8 | in[2 * i + 1])
                         : char16_t(in[2 * i + 1] << 8 | in[2 * i]);
    };
    // Sized exactly first: a unit takes one to three bytes, a surrogate pair four.
    qsizetype outSize = oddByte ? maxUtf8PerUtf16Unit : 0;
    for (qsizetype i = 0; i < units; ++i) {
        const char16_t unit = unitAt(i);
        outSize += unit < 0x80 ? 1 : unit < 0x800 ? 2 : maxUtf8PerUtf16Unit;
    }
    if (outSize > maxBytes)
        return std::nullopt;
    QByteArray out(outSize, Qt::Uninitialized);
    char *o = out.data();
    for (qsizetype i = 0; i < units; ++i) {
        const char16_t unit = unitAt(i);
        if (unit < 0x80) {
            *o++ = char(unit);
        } else if (QChar::isHighSurrogate(unit) && i + 1 < units
                   && QChar::isLowSurrogate(unitAt(i + 1))) {
            o = putUtf8(o, QChar::surrogateToUcs4(unit, unitAt(i + 1)));
            ++i;
        } else if (QChar::isSurrogate(unit)) {
            o = putUtf8(o, replacementCharacter);
        } else {
            o = putUtf8(o, unit);
        }
    }
    if (oddByte)
        o = putUtf8(o, replacementCharacter);
    out.truncate(o - out.constData());
    return out;
}

std::optional<QByteArray> windows1252ToUtf8(const QByteArray &bytes, qsizetype maxBytes)
{
    // The UTF-8 form of every byte, worked out once from the code page's own table.
    struct Table
    {
        std::array<std::array<char, 4>, 256> code{};
        std::array<unsigned char, 256> length{};
    };
    static const Table table = [] {
        Table t;
        char all[256];
        for (int i = 0; i < 256; ++i)
            all[i] = char(i);
        const QString text = decodeWindows1252(QByteArrayView(all, 256));
        for (int i = 0; i < 256; ++i) {
            char *end = putUtf8(t.code[i].data(), text[i].unicode());
            t.length[i] = static_cast<unsigned char>(end - t.code[i].data());
        }
        return t;
    }();

    const auto *in = reinterpret_cast<const unsigned char *>(bytes.constData());
    const qsizetype size = bytes.size();
    qsizetype outSize = 0;
    for (qsizetype i = 0; i < size; ++i)
        outSize += table.length[in[i]];
    if (outSize > maxBytes)
        return std::nullopt;
    QByteArray out(outSize, Qt::Uninitialized);
    char *o = out.data();
    for (qsizetype i = 0; i < size; ++i) {
        const unsigned char byte = in[i];
        if (byte < 0x80) {
            *o++ = char(byte);
        } else {
            std::memcpy(o, table.code[byte].data(), table.length[byte]);
            o += table.length[byte];
        }
    }
    return out;
}

} // namespace

std::optional<DecodedText> decodeText(QByteArray bytes, qsizetype maxBytes)
{
    std::optional<QByteArray> converted;
    if (startsWith(bytes, utf8Mark)) {
        if (bytes.size() > maxBytes)
            return std::nullopt;
        return DecodedText{std::move(bytes), qsizetype(sizeof utf8Mark)};
    }
    if (startsWith(bytes, utf16LeMark))
        converted = utf16ToUtf8(bytes, sizeof utf16LeMark, false, maxBytes);
    else if (startsWith(bytes, utf16BeMark))
        converted = utf16ToUtf8(bytes, sizeof utf16BeMark, true, maxBytes);
    else if (isValidUtf8(bytes))
        return bytes.size() > maxBytes ? std::nullopt
                                       : std::optional(DecodedText{std::move(bytes), 0});
    else
        converted = windows1252ToUtf8(bytes, maxBytes);
    if (!converted)
        return std::nullopt;
    return DecodedText{std::move(*converted), 0};
}

} // namespace MGImport8
