#include "wizard/workbook/bifftext.h"

#include <QByteArray>
#include <QString>

#include <algorithm>

namespace MGImport8::BiffText {

namespace {

constexpr std::uint8_t HighBytesFlag = 0x01;
constexpr std::uint8_t ExtensionFlag = 0x04;
constexpr std::uint8_t RichTextFlag = 0x08;
constexpr std::uint32_t RichRunBytes = 4;

void appendCodePoint(std::string &out, char32_t c)
{
    if (c < 0x80) {
        out += char(c);
    } else if (c < 0x800) {
        out += char(0xC0 | (c >> 6));
        out += char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += char(0xE0 | (c >> 12));
        out += char(0x80 | ((c >> 6) & 0x3F));
        out += char(0x80 | (c & 0x3F));
    } else {
        out += char(0xF0 | (c >> 18));
        out += char(0x80 | ((c >> 12) & 0x3F));
        out += char(0x80 | ((c >> 6) & 0x3F));
        out += char(0x80 | (c & 0x3F));
    }
}

// The name ICU knows a Windows code page by.
QByteArray codepageName(int number)
{
    switch (number) {
    case 367:
    case 1252:
    case 32769: // the older formats' "ANSI"
        return "windows-1252";
    case 932:
        return "Shift_JIS";
    case 936:
        return "GBK";
    case 949:
        return "windows-949";
    case 950:
        return "Big5";
    case 1361:
        return "johab";
    case 10000:
    case 32768: // the older formats' "Apple Roman"
        return "macintosh";
    case 65001:
        return "UTF-8";
    default:
        if (number == 874 || (number >= 1250 && number <= 1258))
            return "windows-" + QByteArray::number(number);
        return "IBM" + QByteArray::number(number);
    }
}

} // namespace

void appendLatin1(std::string &out, std::string_view bytes)
{
    for (char c : bytes)
        appendCodePoint(out, char32_t(std::uint8_t(c)));
}

void appendUtf16(std::string &out, std::string_view bytes)
{
    const std::size_t units = bytes.size() / 2;
    for (std::size_t i = 0; i < units; ++i) {
        char32_t c = char32_t(std::uint8_t(bytes[2 * i]) | std::uint8_t(bytes[2 * i + 1]) << 8);
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < units) {
            const char32_t low = char32_t(std::uint8_t(bytes[2 * i + 2])
                                          | std::uint8_t(bytes[2 * i + 3]) << 8);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                appendCodePoint(out, 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00));
                ++i;
                continue;
            }
        }
        if (c >= 0xD800 && c <= 0xDFFF)
            c = 0xFFFD;
        appendCodePoint(out, c);
    }
}

Codepage::Codepage(int number)
    : m_number(number)
    , m_decoder(codepageName(number).constData())
{
    if (!m_decoder.isValid())
        m_decoder = QStringDecoder("windows-1252");
}

void Codepage::append(std::string &out, std::string_view bytes)
{
    if (std::all_of(bytes.begin(), bytes.end(), [](char c) { return std::uint8_t(c) < 0x80; })) {
        out.append(bytes);
        return;
    }
    m_decoder.resetState();
    const QString text = m_decoder.decode(QByteArrayView(bytes.data(), qsizetype(bytes.size())));
    out += text.toStdString();
}

bool ContinuedRecord::nextPiece()
{
    while (m_piece < m_pieces.size() && m_at >= m_pieces[m_piece].size()) {
        ++m_piece;
        m_at = 0;
    }
    return m_piece < m_pieces.size();
}

bool ContinuedRecord::atEnd()
{
    return !nextPiece();
}

bool ContinuedRecord::readU8(std::uint8_t &value)
{
    if (!nextPiece())
        return false;
    value = std::uint8_t(m_pieces[m_piece][m_at++]);
    return true;
}

bool ContinuedRecord::readU16(std::uint16_t &value)
{
    std::uint8_t low = 0, high = 0;
    if (!readU8(low) || !readU8(high))
        return false;
    value = std::uint16_t(low | high << 8);
    return true;
}

bool ContinuedRecord::readU32(std::uint32_t &value)
{
    std::uint16_t low = 0, high = 0;
    if (!readU16(low) || !readU16(high))
        return false;
    value = std::uint32_t(low) | std::uint32_t(high) << 16;
    return true;
}

bool ContinuedRecord::skip(std::uint64_t count)
{
    while (count > 0) {
        if (!nextPiece())
            return false;
        const std::size_t step = std::size_t(
            std::min<std::uint64_t>(count, m_pieces[m_piece].size() - m_at));
        m_at += step;
        count -= step;
    }
    return true;
}

bool ContinuedRecord::readUnicode(std::string &out, bool shortCount)
{
    std::uint16_t count = 0;
    std::uint8_t flags = 0;
    if (shortCount) {
        std::uint8_t shortValue = 0;
        if (!readU8(shortValue))
            return false;
        count = shortValue;
    } else if (!readU16(count)) {
        return false;
    }
    if (!readU8(flags))
        return false;
    std::uint16_t runs = 0;
    std::uint32_t extension = 0;
    if ((flags & RichTextFlag) && !readU16(runs))
        return false;
    if ((flags & ExtensionFlag) && !readU32(extension))
        return false;
    bool high = flags & HighBytesFlag;
    std::size_t left = count;
    while (left > 0) {
        if (m_piece >= m_pieces.size())
            return false;
        if (m_at >= m_pieces[m_piece].size()) {
            // The characters go on in the next piece, after an option byte of their own.
            ++m_piece;
            m_at = 0;
            if (m_piece >= m_pieces.size() || m_pieces[m_piece].empty())
                return false;
            high = std::uint8_t(m_pieces[m_piece][m_at++]) & HighBytesFlag;
            continue;
        }
        const std::string_view piece = m_pieces[m_piece].substr(m_at);
        const std::size_t width = high ? 2 : 1;
        const std::size_t take = std::min(left, piece.size() / width);
        if (take == 0)
            return false; // half a character at the end of a piece
        if (high)
            appendUtf16(out, piece.substr(0, take * 2));
        else
            appendLatin1(out, piece.substr(0, take));
        m_at += take * width;
        left -= take;
    }
    return skip(std::uint64_t(runs) * RichRunBytes + extension);
}

} // namespace MGImport8::BiffText
