#pragma once

#include "wizard/table/podarray.h"
#include "wizard/table/texttable.h"

#include <QByteArray>

#include <cstdint>
#include <limits>

namespace MGImport8 {

/// Offsets into a table's text are 32 bits wide, which bounds the text.
inline constexpr qsizetype maxTableOffset = std::numeric_limits<std::uint32_t>::max() - 1;

/// How a table keeps its cells: the text in one UTF-8 buffer (for a text file, the file's own
/// bytes) and four bytes per cell.
///
/// `starts` holds where each raw field starts: for a text file, the text's first offset, then the
/// offset just past every delimiter and every line feed, then one past the end. A field ends where
/// the next start begins, less the one character that separated them; the start that follows a
/// line feed both ends the line's last field and starts the next line, so rows share it.
/// `rowFirst[r]` is the index of row r's first start (rowCount() + 1 values). A row has one raw
/// field more than it has delimiters; when its last raw field is empty (the line ended with a
/// delimiter, or the line is empty) that field is not a cell, and the row's bit in `shortRows` is
/// set.
struct TextTable::Private
{
    QByteArray text;
    PodArray<std::uint32_t> starts;
    PodArray<std::uint32_t> rowFirst;
    PodArray<std::uint64_t> shortRows;
    int maxColumns = 0;
    /// The cells of a delimited text: they may end in carriage returns from the line's end, which
    /// do not count, and they lose a surrounding pair of quotes when read. A table built cell by
    /// cell stores its cells exactly.
    bool delimitedText = false;

    static constexpr int bitsPerWord = 64;

    bool isShort(qsizetype row) const
    {
        const qsizetype word = row / bitsPerWord;
        return word < shortRows.size() && (shortRows[word] >> (row % bitsPerWord) & 1) != 0;
    }
    void markShort(qsizetype row)
    {
        const qsizetype word = row / bitsPerWord;
        while (shortRows.size() <= word)
            shortRows.append(0);
        shortRows[word] |= std::uint64_t(1) << (row % bitsPerWord);
    }

    int cellCount(qsizetype row) const
    {
        return int(rowFirst[row + 1] - rowFirst[row]) - (isShort(row) ? 1 : 0);
    }

    QByteArrayView cell(qsizetype row, int column) const
    {
        if (column < 0 || column >= cellCount(row))
            return {};
        const std::uint32_t index = rowFirst[row] + std::uint32_t(column);
        const char *data = text.constData();
        const qsizetype begin = starts[index];
        qsizetype end = qsizetype(starts[index + 1]) - 1;
        // The separator may be a character of several bytes; step back to its first byte.
        if (end < text.size()) {
            while (end > begin && (static_cast<unsigned char>(data[end]) & 0xC0) == 0x80)
                --end;
        }
        if (!delimitedText)
            return QByteArrayView(data + begin, end - begin);
        while (end > begin && data[end - 1] == '\r')
            --end;
        const qsizetype length = end - begin;
        if (length >= 2) {
            const char quote = data[begin];
            if ((quote == '"' || quote == '\'') && data[end - 1] == quote)
                return QByteArrayView(data + begin + 1, length - 2);
        }
        return QByteArrayView(data + begin, length);
    }
};

} // namespace MGImport8
