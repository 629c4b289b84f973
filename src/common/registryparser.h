#pragma once

#include "common/registrystore.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>

#include <functional>

// The ".reg" text format itself, shared by the store that reads it and the writer that edits it.
namespace MGImport8::RegistryText {

inline constexpr QStringView headerVersion5 = u"Windows Registry Editor Version 5.00";
inline constexpr QStringView headerVersion4 = u"REGEDIT4";

/// How a file's bytes were encoded; a rewritten file keeps its encoding.
enum class Encoding { Utf16Le, Utf8WithBom, Utf8, Windows1252 };

/// Which header the text has; REGEDIT4 files spell hex(1) strings in the ANSI code page.
enum class Format { NotRegistry, Version4, Version5 };

struct Decoded
{
    QString text;
    Encoding encoding = Encoding::Utf8;
};

/// Decodes by byte-order mark (UTF-16LE or UTF-8), then as UTF-8 when the bytes are valid UTF-8,
/// else as the Windows western code page.
Decoded decode(QByteArrayView bytes);

/// Encodes text as `encoding` with its byte-order mark; text read from the Windows code page is
/// written as UTF-8, which reads back the same.
QByteArray encode(const QString &text, Encoding encoding);

/// What one readable line, with its continuation lines, does to the store. `begin` and `end` are
/// its place in the text; `end` stops before the line break.
struct Entry
{
    enum class Kind { Key, DeleteKey, Value, DeleteValue };
    Kind kind = Kind::Key;
    /// The canonical key path: of the section for Key and DeleteKey, else of the current section.
    QString keyPath;
    /// The value set (Value) or the name deleted (DeleteValue).
    RegistryValue value;
    qsizetype begin = 0;
    qsizetype end = 0;
};

/// Walks registry text and hands each readable entry to `sink`, in order. Returns the format
/// named by the header; a text without one yields no entries.
Format parse(QStringView text, const std::function<void(const Entry &)> &sink);

/// Case-folded text, the form in which key paths and value names are compared.
inline QString fold(QStringView text)
{
    return text.toString().toCaseFolded();
}

} // namespace MGImport8::RegistryText
