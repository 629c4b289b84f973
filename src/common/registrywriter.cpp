#include "common/registrywriter.h"

#include "common/registryparser.h"
#include "common/registrystore.h"

#include <QStringEncoder>

using namespace Qt::StringLiterals;

namespace MGImport8 {

using RegistryText::Entry;
using RegistryText::fold;
using RegistryText::Format;

namespace {

QString quoted(QStringView text)
{
    QString out;
    out.reserve(text.size() + 2);
    out += u'"';
    for (QChar c : text) {
        if (c == u'\\' || c == u'"')
            out += u'\\';
        out += c;
    }
    out += u'"';
    return out;
}

bool hasLineBreakOrNul(QStringView text)
{
    return text.contains(u'\n') || text.contains(u'\r') || text.contains(QChar(u'\0'));
}

QString valueLine(QStringView name, QStringView text)
{
    QString line = name.isEmpty() ? u"@"_s : quoted(name);
    line += u'=';
    if (!hasLineBreakOrNul(text))
        return line + quoted(text);
    // A quoted string cannot span lines; the hex spelling of the same type can carry anything.
    QStringEncoder encoder(QStringEncoder::Utf16LE);
    const QByteArray bytes = QByteArray(encoder.encode(text)) + QByteArray(2, '\0');
    line += u"hex(1):"_s + QString::fromLatin1(bytes.toHex(','));
    return line;
}

bool holdsString(QStringView text, QStringView keyPath, QStringView name, QStringView expected)
{
    const RegistryStore store = RegistryStore::fromText(text);
    const std::optional<RegistryValue> value = store.value(keyPath, name);
    return value && value->isPlainString() && value->text == expected;
}

} // namespace

std::optional<QByteArray> registryFileWithString(QByteArrayView original, QStringView keyPath,
                                                 QStringView name, QStringView text, QString *error)
{
    const auto fail = [error](const QString &reason) {
        if (error != nullptr)
            *error = reason;
        return std::nullopt;
    };
    const QString path = canonicalKeyPath(keyPath);
    if (path.isEmpty() || hasLineBreakOrNul(path))
        return fail(u"cannot write the key path \""_s + keyPath + u'"');
    if (hasLineBreakOrNul(name))
        return fail(u"cannot write the value name \""_s + name + u'"');
    if (original.size() > RegistryStore::maxFileSize)
        return fail(u"larger than %1 bytes"_s.arg(RegistryStore::maxFileSize));

    const RegistryText::Decoded decoded = RegistryText::decode(original);
    const QString line = valueLine(name, text);
    // The hex spelling carries the terminating NUL, as the registry stores strings.
    const QString stored = hasLineBreakOrNul(text) ? text + QChar(u'\0') : text.toString();
    QString result;
    if (decoded.text.trimmed().isEmpty()) {
        result = RegistryText::headerVersion5 + u"\n\n["_s + path + u"]\n"_s + line + u'\n';
    } else {
        if (RegistryText::parse(decoded.text, [](const Entry &) {}) == Format::NotRegistry)
            return fail(u"not a registry file; it is left as it is"_s);
        const QString eol = decoded.text.contains(u"\r\n") ? u"\r\n"_s : u"\n"_s;

        // Where the key's last section ends, and where the value was last set or deleted.
        const QString targetKey = fold(path);
        const QString targetName = fold(name);
        bool inTarget = false;
        qsizetype insertAt = -1;
        qsizetype replaceBegin = -1;
        qsizetype replaceEnd = -1;
        RegistryText::parse(decoded.text, [&](const Entry &entry) {
            if (entry.kind == Entry::Kind::Key || entry.kind == Entry::Kind::DeleteKey)
                inTarget = entry.kind == Entry::Kind::Key && fold(entry.keyPath) == targetKey;
            if (!inTarget)
                return;
            insertAt = entry.end;
            if (entry.kind != Entry::Kind::Key && fold(entry.value.name) == targetName) {
                replaceBegin = entry.begin;
                replaceEnd = entry.end;
            }
        });

        result = decoded.text;
        if (replaceBegin >= 0)
            result.replace(replaceBegin, replaceEnd - replaceBegin, line);
        else if (insertAt >= 0)
            result.insert(insertAt, eol + line);
        // A later deletion of the key or the value would undo the edit; a section of its own at
        // the end always takes effect.
        if (insertAt < 0 || !holdsString(result, path, name, stored)) {
            result = decoded.text;
            if (!result.endsWith(u'\n'))
                result += eol;
            result += eol + u'[' + path + u']' + eol + line + eol;
        }
    }
    if (!holdsString(result, path, name, stored))
        return fail(u"the value cannot be written so that it reads back"_s);
    QByteArray bytes = RegistryText::encode(result, decoded.encoding);
    if (bytes.size() > RegistryStore::maxFileSize)
        return fail(u"the file would grow beyond %1 bytes"_s.arg(RegistryStore::maxFileSize));
    return bytes;
}

} // namespace MGImport8
