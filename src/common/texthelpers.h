#pragma once

#include <QString>
#include <QStringView>
#include <QVariant>

namespace MGImport8 {

/// The last component of a path written with "/" or "\" separators, or of a "server:database"
/// name: every "/" counts as "\", what follows the last "\" is kept, then what follows the last
/// ":". With `stripExtension`, a remaining "." cuts off the extension from the last ".".
/// "C:/Data/nodes.mdb" gives "nodes.mdb" (or "nodes"), "server:db" gives "db".
QString FileNameFromPath(QString path, bool stripExtension);

/// A database null (a QVariant for which isNull() holds, which is how Qt SQL hands out NULL
/// cells) becomes the 16-bit integer 0, so null cells read as "0"; any other value, the empty
/// text included, comes back unchanged.
QVariant NullToZero(const QVariant &value);

/// The text before the first NUL character, or the whole text when it has none.
QString TrimNull(QStringView text);

} // namespace MGImport8
