#pragma once

#include <QByteArrayView>
#include <QString>

namespace MGImport8 {

/// Decodes text in the Windows western code page, as older tools write text files and registry
/// exports. Bytes 0x80 to 0x9F take the code page's typographic characters (0x80 is the euro
/// sign); the five bytes the code page leaves undefined (0x81, 0x8D, 0x8F, 0x90, 0x9D) become the
/// control characters of the same number, as Windows converts them. All other bytes are Latin-1.
QString decodeWindows1252(QByteArrayView bytes);

/// True when `bytes` is well-formed UTF-8: no stray continuation bytes, no truncated sequences,
/// no overlong forms, no surrogates and nothing above U+10FFFF. The empty text is valid.
bool isValidUtf8(QByteArrayView bytes);

} // namespace MGImport8
