#include "common/registryparser.h"

#include "common/codepage.h"

#include <QStringDecoder>
#include <QStringEncoder>
#include <QStringTokenizer>

#include <optional>

namespace MGImport8::RegistryText {

namespace {

constexpr QByteArrayView utf16LeBom("\xFF\xFE", 2);
constexpr QByteArrayView utf8Bom("\xEF\xBB\xBF", 3);
// Type numbers are at most eight hex digits, as in "hex(7):" or "dword:00000001".
constexpr qsizetype maxHexNumberDigits = 8;
constexpr qsizetype maxHexByteDigits = 2;

} // namespace

Decoded decode(QByteArrayView bytes)
{
    if (bytes.startsWith(utf16LeBom)) {
        QStringDecoder decoder(QStringDecoder::Utf16LE);
        return {decoder.decode(bytes.sliced(utf16LeBom.size())), Encoding::Utf16Le};
    }
    if (bytes.startsWith(utf8Bom))
        return {QString::fromUtf8(bytes.sliced(utf8Bom.size())), Encoding::Utf8WithBom};
    if (isValidUtf8(bytes))
        return {QString::fromUtf8(bytes), Encoding::Utf8};
    return {decodeWindows1252(bytes), Encoding::Windows1252};
}

QByteArray encode(const QString &text, Encoding encoding)
{
    switch (encoding) {
    case Encoding::Utf16Le: {
        QStringEncoder encoder(QStringEncoder::Utf16LE);
        return utf16LeBom.toByteArray() + QByteArray(encoder.encode(text));
    }
    case Encoding::Utf8WithBom:
        return utf8Bom.toByteArray() + text.toUtf8();
    case Encoding::Utf8:
    case Encoding::Windows1252: // the rewritten file is UTF-8, which reads back the same
        break;
    }
    return text.toUtf8();
}

namespace {

// One line of the text, with its place in it; `end` stops before the line break and a CR.
struct Line
{
    QStringView text;
    qsizetype begin = 0;
    qsizetype end = 0;
};

class LineReader
{
public:
    explicit LineReader(QStringView text)
        : m_text(text)
    {}

    bool next(Line &line)
    {
        if (m_pos > m_text.size())
            return false;
        const qsizetype newline = m_text.indexOf(u'\n', m_pos);
        qsizetype end = newline < 0 ? m_text.size() : newline;
        if (end > m_pos && m_text[end - 1] == u'\r')
            --end;
        line = {m_text.sliced(m_pos, end - m_pos), m_pos, end};
        m_pos = newline < 0 ? m_text.size() + 1 : newline + 1;
        return true;
    }

private:
    QStringView m_text;
    qsizetype m_pos = 0;
};

// Reads a quoted string starting at text[pos] == '"'; on success pos is past the closing quote.
// Only \\ and \" are escapes; a backslash before anything else stands for itself.
std::optional<QString> readQuoted(QStringView text, qsizetype &pos)
{
    QString out;
    ++pos;
    while (pos < text.size()) {
        const QChar c = text[pos++];
        if (c == u'"')
            return out;
        if (c == u'\\' && pos < text.size() && (text[pos] == u'\\' || text[pos] == u'"'))
            out.append(text[pos++]);
        else
            out.append(c);
    }
    return std::nullopt;
}

void skipBlanks(QStringView text, qsizetype &pos)
{
    while (pos < text.size() && (text[pos] == u' ' || text[pos] == u'\t'))
        ++pos;
}

// Hex digits only: no sign, no "0x", no blanks inside.
std::optional<quint32> hexNumber(QStringView digits)
{
    if (digits.isEmpty() || digits.size() > maxHexNumberDigits)
        return std::nullopt;
    quint32 value = 0;
    for (QChar c : digits) {
        const char16_t u = c.unicode();
        quint32 digit = 0;
        if (u >= u'0' && u <= u'9')
            digit = u - u'0';
        else if (u >= u'a' && u <= u'f')
            digit = u - u'a' + 10;
        else if (u >= u'A' && u <= u'F')
            digit = u - u'A' + 10;
        else
            return std::nullopt;
        value = value * 16 + digit;
    }
    return value;
}

// Comma-separated hex bytes; a trailing comma is allowed, as regedit leaves before a line break.
std::optional<QByteArray> hexBytes(QStringView text)
{
    QByteArray bytes;
    bool ended = false;
    for (QStringView piece : QStringTokenizer(text, u',')) {
        piece = piece.trimmed();
        if (piece.isEmpty()) {
            ended = true;
            continue;
        }
        if (ended || piece.size() > maxHexByteDigits)
            return std::nullopt;
        const std::optional<quint32> byte = hexNumber(piece);
        if (!byte)
            return std::nullopt;
        bytes.append(char(*byte));
    }
    return bytes;
}

// Reads "hex:", "hex(N):" and "dword:" data into the entry's value. Continuation lines are taken
// from `lines` even when the data turns out to be unreadable, so none is read as a line of its own.
bool readTypedData(QStringView data, Format format, LineReader &lines, Entry &entry)
{
    RegistryValue &value = entry.value;
    if (data.startsWith(u"dword:", Qt::CaseInsensitive)) {
        const std::optional<quint32> number = hexNumber(data.sliced(6));
        if (!number)
            return false;
        value.type = RegistryType::Dword;
        for (int shift = 0; shift < 32; shift += 8)
            value.data.append(char((*number >> shift) & 0xFF));
        return true;
    }
    if (!data.startsWith(u"hex", Qt::CaseInsensitive))
        return false;

    std::optional<quint32> type;
    qsizetype dataStart = 0;
    if (data.sliced(3).startsWith(u':')) {
        type = RegistryType::Binary;
        dataStart = 4;
    } else if (data.sliced(3).startsWith(u'(')) {
        const qsizetype close = data.indexOf(u"):");
        if (close > 4) {
            type = hexNumber(data.sliced(4, close - 4));
            dataStart = close + 2;
        }
    }
    if (!type)
        return false;

    QString collected = data.sliced(dataStart).toString();
    while (collected.endsWith(u'\\')) {
        collected.chop(1);
        Line next;
        if (!lines.next(next))
            break;
        collected += next.text.trimmed();
        entry.end = next.end;
    }
    const std::optional<QByteArray> bytes = hexBytes(collected);
    if (!bytes)
        return false;

    value.type = *type;
    if (value.type == RegistryType::String) {
        // A plain string spelt in hex: UTF-16LE in version 5 files, the ANSI code page before.
        if (format == Format::Version5) {
            QStringDecoder decoder(QStringDecoder::Utf16LE);
            const qsizetype evenSize = bytes->size() & ~qsizetype(1);
            value.text = decoder.decode(QByteArrayView(*bytes).first(evenSize));
        } else {
            value.text = decodeWindows1252(*bytes);
        }
    } else {
        value.data = *bytes;
    }
    return true;
}

std::optional<Entry> readValueLine(QStringView text, const Line &line, Format format,
                                   LineReader &lines)
{
    Entry entry;
    entry.begin = line.begin;
    entry.end = line.end;
    qsizetype pos = 0;
    if (text.startsWith(u'@')) {
        pos = 1;
    } else {
        std::optional<QString> name = readQuoted(text, pos);
        if (!name)
            return std::nullopt;
        entry.value.name = *name;
    }
    skipBlanks(text, pos);
    if (pos >= text.size() || text[pos] != u'=')
        return std::nullopt;
    ++pos;
    skipBlanks(text, pos);
    const QStringView data = text.sliced(pos);

    if (data == u"-") {
        entry.kind = Entry::Kind::DeleteValue;
        return entry;
    }
    entry.kind = Entry::Kind::Value;
    if (data.startsWith(u'"')) {
        qsizetype end = 0;
        std::optional<QString> string = readQuoted(data, end);
        if (!string || end != data.size())
            return std::nullopt;
        entry.value.type = RegistryType::String;
        entry.value.text = *string;
        return entry;
    }
    if (!readTypedData(data, format, lines, entry))
        return std::nullopt;
    return entry;
}

} // namespace

Format parse(QStringView text, const std::function<void(const Entry &)> &sink)
{
    LineReader lines(text);
    Line line;
    Format format = Format::NotRegistry;
    while (lines.next(line)) {
        const QStringView trimmed = line.text.trimmed();
        if (trimmed.isEmpty())
            continue;
        if (trimmed.compare(headerVersion5, Qt::CaseInsensitive) == 0)
            format = Format::Version5;
        else if (trimmed.compare(headerVersion4, Qt::CaseInsensitive) == 0)
            format = Format::Version4;
        break;
    }
    if (format == Format::NotRegistry)
        return format;

    QString currentKey; // empty outside a readable section
    while (lines.next(line)) {
        const QStringView trimmed = line.text.trimmed();
        if (trimmed.isEmpty() || trimmed.startsWith(u';'))
            continue;
        if (trimmed.startsWith(u'[')) {
            currentKey.clear();
            if (!trimmed.endsWith(u']'))
                continue;
            QStringView inner = trimmed.sliced(1, trimmed.size() - 2);
            const bool deletes = inner.startsWith(u'-');
            if (deletes)
                inner = inner.sliced(1);
            QString path = canonicalKeyPath(inner);
            if (path.isEmpty())
                continue;
            if (!deletes)
                currentKey = path;
            Entry entry;
            entry.kind = deletes ? Entry::Kind::DeleteKey : Entry::Kind::Key;
            entry.keyPath = std::move(path);
            entry.begin = line.begin;
            entry.end = line.end;
            sink(entry);
            continue;
        }
        if (trimmed.startsWith(u'"') || trimmed.startsWith(u'@')) {
            std::optional<Entry> entry = readValueLine(trimmed, line, format, lines);
            if (entry && !currentKey.isEmpty()) {
                entry->keyPath = currentKey;
                sink(*entry);
            }
        }
        // Any other line cannot be read and is skipped.
    }
    return format;
}

} // namespace MGImport8::RegistryText
