#pragma once

#include <QStringDecoder>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace MGImport8::BiffText {

/// Little-endian fields; the caller has checked that they lie inside `data`.
inline std::uint16_t u16(std::string_view data, std::size_t at)
{
    return std::uint16_t(std::uint8_t(data[at]) | std::uint8_t(data[at + 1]) << 8);
}
inline std::uint32_t u32(std::string_view data, std::size_t at)
{
    return std::uint32_t(u16(data, at)) | std::uint32_t(u16(data, at + 2)) << 16;
}

/// Appends one-byte characters of the compressed Unicode form (U+0000 to U+00FF) as UTF-8.
void appendLatin1(std::string &out, std::string_view bytes);
/// Appends UTF-16LE text as UTF-8; a lone surrogate becomes U+FFFD.
void appendUtf16(std::string &out, std::string_view bytes);

/// Text of the older formats, whose strings are bytes in the workbook's code page (its CODEPAGE
/// record; Windows Western when it has none).
class Codepage
{
public:
    explicit Codepage(int number = 1252);
    int number() const { return m_number; }
    void append(std::string &out, std::string_view bytes);

private:
    int m_number;
    QStringDecoder m_decoder;
};

/// A record and the CONTINUE records that carry on its data, read as one run of bytes. Strings
/// of the shared-string table and of cached formula text may break at a record boundary; where
/// the characters break, the next piece starts with a fresh option byte that says whether the
/// rest is one or two bytes per character.
class ContinuedRecord
{
public:
    explicit ContinuedRecord(std::vector<std::string_view> pieces)
        : m_pieces(std::move(pieces))
    {}
    bool atEnd();
    bool readU8(std::uint8_t &value);
    bool readU16(std::uint16_t &value);
    bool readU32(std::uint32_t &value);
    bool skip(std::uint64_t count);
    /// A string with its character count given by a 16-bit (or, for `shortCount`, 8-bit) field,
    /// option byte, rich-text runs and extension block; false when the pieces end inside it.
    bool readUnicode(std::string &out, bool shortCount = false);

private:
    bool nextPiece();
    std::vector<std::string_view> m_pieces;
    std::size_t m_piece = 0;
    std::size_t m_at = 0;
};

} // namespace MGImport8::BiffText
