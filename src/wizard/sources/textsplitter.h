#pragma once

#include "common/result.h"
#include "wizard/sources/textdecoder.h"
#include "wizard/table/texttable.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace MGImport8 {

/// Splits UTF-8 text into a table, one row a line and one cell a field, keeping the text's own
/// buffer and recording only where each field starts. Carriage returns are deleted and lines end
/// at line feeds; every character of the delimiter set is a delimiter of its own.
class TextSplitter
{
public:
    /// The vector instructions that find delimiters and line ends. All give the same table;
    /// tests compare them.
    enum class VectorUnit {
        None, ///< byte by byte
        Sse2,
        Avx2, ///< where the processor has it; SSE2 otherwise
        Best,
    };

    explicit TextSplitter(const QString &delimiters, VectorUnit unit = VectorUnit::Best);

    /// The text must fit the table's 32-bit offsets (`maxTableOffset`). Fails when a line has
    /// more fields than a row has columns.
    Result<std::shared_ptr<const TextTable>> split(DecodedText text) const;

    enum ByteClass : std::uint8_t {
        Plain,
        Delimiter,     ///< a one-byte delimiter
        DelimiterLead, ///< may start a delimiter of several bytes
        CarriageReturn,
        LineFeed,
    };

private:
    enum class Scan { Done, CarriageReturnInLine, TooManyFields };
    class RowRecorder;
    class Pass;
    qsizetype matchDelimiter(const char *at, const char *end) const;

    VectorUnit m_unit;
    std::array<ByteClass, 256> m_classes{};
    /// The byte values that are not Plain, for the vector search.
    std::vector<unsigned char> m_specialBytes;
    /// Delimiters of more than one byte, in UTF-8.
    std::vector<QByteArray> m_wideDelimiters;
};

} // namespace MGImport8
