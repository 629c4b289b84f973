#include "jsonlines.h"

#include "engine/libraryaccess.h"

#include <MGImport8/importrow.h>

#include <QVarLengthArray>
#include <QVariant>

namespace MGImport8::Tool {

namespace {

// Rows are gathered up to this size before one write: large enough that writing costs little per
// row, small enough to stay out of the memory budget of a run.
constexpr qsizetype BufferBytes = 256 * 1024;

char hexDigit(unsigned value)
{
    return char(value < 10 ? '0' + value : 'a' + value - 10);
}

char *writeUnicodeEscape(char *cursor, char16_t unit)
{
    *cursor++ = '\\';
    *cursor++ = 'u';
    *cursor++ = hexDigit((unit >> 12) & 0xf);
    *cursor++ = hexDigit((unit >> 8) & 0xf);
    *cursor++ = hexDigit((unit >> 4) & 0xf);
    *cursor++ = hexDigit(unit & 0xf);
    return cursor;
}

bool isHighSurrogate(char16_t unit)
{
    return unit >= 0xd800 && unit < 0xdc00;
}

bool isLowSurrogate(char16_t unit)
{
    return unit >= 0xdc00 && unit < 0xe000;
}

// The most one UTF-16 unit can take written out: a \uXXXX escape.
constexpr qsizetype MaxBytesPerUnit = 6;
// Rows of up to this many columns are written without allocating.
constexpr qsizetype InlineColumns = 16;

// The most `text` can take written out as a JSON string.
qsizetype jsonStringBound(QStringView text)
{
    return 2 + MaxBytesPerUnit * text.size();
}

// Writes `text` as a JSON string at `cursor`, which has room for `jsonStringBound(text)` bytes;
// returns the end of what was written.
char *writeJsonString(char *cursor, QStringView text)
{
    *cursor++ = '"';
    const char16_t *unit = text.utf16();
    const char16_t *const end = unit + text.size();
    while (unit != end) {
        const char16_t c = *unit++;
        if (c >= 0x20 && c < 0x80 && c != u'"' && c != u'\\') {
            *cursor++ = char(c);
        } else if (c < 0x80) {
            *cursor++ = '\\';
            switch (c) {
            case u'"':
                *cursor++ = '"';
                break;
            case u'\\':
                *cursor++ = '\\';
                break;
            case u'\b':
                *cursor++ = 'b';
                break;
            case u'\f':
                *cursor++ = 'f';
                break;
            case u'\n':
                *cursor++ = 'n';
                break;
            case u'\r':
                *cursor++ = 'r';
                break;
            case u'\t':
                *cursor++ = 't';
                break;
            default:
                cursor = writeUnicodeEscape(cursor - 1, c);
                break;
            }
        } else if (c < 0x800) {
            *cursor++ = char(0xc0 | (c >> 6));
            *cursor++ = char(0x80 | (c & 0x3f));
        } else if (isHighSurrogate(c) && unit != end && isLowSurrogate(*unit)) {
            const char32_t point = 0x10000 + ((char32_t(c) - 0xd800) << 10)
                                   + (char32_t(*unit++) - 0xdc00);
            *cursor++ = char(0xf0 | (point >> 18));
            *cursor++ = char(0x80 | ((point >> 12) & 0x3f));
            *cursor++ = char(0x80 | ((point >> 6) & 0x3f));
            *cursor++ = char(0x80 | (point & 0x3f));
        } else if (isHighSurrogate(c) || isLowSurrogate(c)) {
            // A surrogate without its partner has no UTF-8 form; JSON can still carry it.
            cursor = writeUnicodeEscape(cursor, c);
        } else {
            *cursor++ = char(0xe0 | (c >> 12));
            *cursor++ = char(0x80 | ((c >> 6) & 0x3f));
            *cursor++ = char(0x80 | (c & 0x3f));
        }
    }
    *cursor++ = '"';
    return cursor;
}

} // namespace

void appendJsonString(QByteArray &out, QStringView text)
{
    // Room for the worst case first, then one pass with a plain pointer; the array is cut back to
    // what was written at the end.
    const qsizetype start = out.size();
    out.resize(start + jsonStringBound(text));
    const char *end = writeJsonString(out.data() + start, text);
    out.resize(end - out.constData());
}

void appendJsonRow(QByteArray &out, const ImportRow &row)
{
    // As for one string: room for the whole row's worst case, one pass, cut back once.
    const qsizetype columns = row.Count();
    QVarLengthArray<QStringView, InlineColumns> values(columns);
    // The wizard stores text; a value a host put there of another kind is written as its text.
    QVarLengthArray<QString, InlineColumns> converted;
    converted.reserve(columns);
    qsizetype bound = 3; // {}\n
    for (qsizetype i = 0; i < columns; ++i) {
        const QVariant &data = LibraryAccess::DataAt(row, i);
        if (data.typeId() == QMetaType::QString) {
            values[i] = *static_cast<const QString *>(data.constData());
        } else {
            converted.append(data.toString());
            values[i] = converted.back();
        }
        bound += 4 + jsonStringBound(LibraryAccess::NameAt(row, i)) + jsonStringBound(values[i]);
    }
    const qsizetype start = out.size();
    out.resize(start + bound);
    char *cursor = out.data() + start;
    *cursor++ = '{';
    for (qsizetype i = 0; i < columns; ++i) {
        if (i > 0) {
            *cursor++ = ',';
            *cursor++ = ' ';
        }
        cursor = writeJsonString(cursor, LibraryAccess::NameAt(row, i));
        *cursor++ = ':';
        *cursor++ = ' ';
        cursor = writeJsonString(cursor, values[i]);
    }
    *cursor++ = '}';
    *cursor++ = '\n';
    out.resize(cursor - out.constData());
}

JsonLinesOutput::JsonLinesOutput(std::FILE *file)
    : m_file(file)
{
    m_buffer.reserve(BufferBytes + BufferBytes / 4);
}

JsonLinesOutput::~JsonLinesOutput()
{
    drain();
}

void JsonLinesOutput::write(const ImportRow &row)
{
    appendJsonRow(m_buffer, row);
    if (m_buffer.size() >= BufferBytes)
        drain();
}

void JsonLinesOutput::drain()
{
    if (m_buffer.isEmpty())
        return;
    if (!m_failed
        && std::fwrite(m_buffer.constData(), 1, size_t(m_buffer.size()), m_file)
               != size_t(m_buffer.size()))
        m_failed = true;
    m_buffer.resize(0);
}

bool JsonLinesOutput::finish()
{
    drain();
    if (std::fflush(m_file) != 0 || std::ferror(m_file))
        m_failed = true;
    return !m_failed;
}

} // namespace MGImport8::Tool
