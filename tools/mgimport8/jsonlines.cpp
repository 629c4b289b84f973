#include "jsonlines.h"

#include <MGImport8/importrow.h>

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

void appendUnicodeEscape(QByteArray &out, char16_t unit)
{
    const char escape[] = {'\\',
                           'u',
                           hexDigit((unit >> 12) & 0xf),
                           hexDigit((unit >> 8) & 0xf),
                           hexDigit((unit >> 4) & 0xf),
                           hexDigit(unit & 0xf)};
    out.append(escape, sizeof escape);
}

bool isHighSurrogate(char16_t unit)
{
    return unit >= 0xd800 && unit < 0xdc00;
}

bool isLowSurrogate(char16_t unit)
{
    return unit >= 0xdc00 && unit < 0xe000;
}

} // namespace

void appendJsonString(QByteArray &out, QStringView text)
{
    out.append('"');
    const char16_t *unit = text.utf16();
    const char16_t *const end = unit + text.size();
    while (unit != end) {
        // Plain ASCII runs are copied in one append.
        const char16_t *run = unit;
        while (run != end && *run >= 0x20 && *run < 0x80 && *run != u'"' && *run != u'\\')
            ++run;
        if (run != unit) {
            const qsizetype length = run - unit;
            const qsizetype at = out.size();
            out.resize(at + length);
            char *target = out.data() + at;
            for (qsizetype i = 0; i < length; ++i)
                target[i] = char(unit[i]);
            unit = run;
            continue;
        }
        const char16_t c = *unit++;
        if (c < 0x80) {
            switch (c) {
            case u'"':
                out.append("\\\"", 2);
                break;
            case u'\\':
                out.append("\\\\", 2);
                break;
            case u'\b':
                out.append("\\b", 2);
                break;
            case u'\f':
                out.append("\\f", 2);
                break;
            case u'\n':
                out.append("\\n", 2);
                break;
            case u'\r':
                out.append("\\r", 2);
                break;
            case u'\t':
                out.append("\\t", 2);
                break;
            default:
                appendUnicodeEscape(out, c);
                break;
            }
        } else if (c < 0x800) {
            const char bytes[] = {char(0xc0 | (c >> 6)), char(0x80 | (c & 0x3f))};
            out.append(bytes, sizeof bytes);
        } else if (isHighSurrogate(c) && unit != end && isLowSurrogate(*unit)) {
            const char32_t point = 0x10000 + ((char32_t(c) - 0xd800) << 10)
                                   + (char32_t(*unit++) - 0xdc00);
            const char bytes[] = {char(0xf0 | (point >> 18)), char(0x80 | ((point >> 12) & 0x3f)),
                                  char(0x80 | ((point >> 6) & 0x3f)), char(0x80 | (point & 0x3f))};
            out.append(bytes, sizeof bytes);
        } else if (isHighSurrogate(c) || isLowSurrogate(c)) {
            // A surrogate without its partner has no UTF-8 form; JSON can still carry it.
            appendUnicodeEscape(out, c);
        } else {
            const char bytes[] = {char(0xe0 | (c >> 12)), char(0x80 | ((c >> 6) & 0x3f)),
                                  char(0x80 | (c & 0x3f))};
            out.append(bytes, sizeof bytes);
        }
    }
    out.append('"');
}

void appendJsonRow(QByteArray &out, const ImportRow &row)
{
    out.append('{');
    bool first = true;
    for (const ImportColumn *column : row) {
        if (!first)
            out.append(", ", 2);
        first = false;
        appendJsonString(out, column->Column());
        out.append(": ", 2);
        const QVariant data = column->Data();
        // The wizard stores text; a host may have put any other value there.
        if (data.typeId() == QMetaType::QString)
            appendJsonString(out, *static_cast<const QString *>(data.constData()));
        else
            appendJsonString(out, data.toString());
    }
    out.append("}\n", 2);
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
