#pragma once

#include <QByteArray>

#include <optional>

namespace MGImport8 {

/// A file's text as UTF-8: `utf8` from offset `begin` on (past a UTF-8 byte-order mark).
struct DecodedText
{
    QByteArray utf8;
    qsizetype begin = 0;
};

/// Turns a file's bytes into UTF-8 text. A UTF-8 byte-order mark is skipped and the rest kept as
/// it is; a UTF-16 mark (either byte order) converts the rest from UTF-16, where a byte left over
/// at the end and unpaired surrogates become U+FFFD; any other text is kept when it is valid UTF-8
/// and converted from Windows-1252 when not. Only a conversion allocates: valid UTF-8 comes back
/// in the same buffer. Nothing when the UTF-8 text would be longer than `maxBytes`; a conversion
/// finds that out before it allocates.
std::optional<DecodedText> decodeText(QByteArray bytes, qsizetype maxBytes);

} // namespace MGImport8
