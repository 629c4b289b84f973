#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>

#include <optional>

namespace MGImport8 {

/// The bytes of a registry file in which `keyPath` has the plain string value `name` = `text`,
/// made from `original` (empty for a new file) by changing as little as possible: an existing
/// line for the value is replaced, otherwise the line is added to the key's last section, or a
/// section is appended. Everything else, comments and the file's encoding and line breaks
/// included, stays as it was. Texts with line breaks or NULs are written in the hex(1) spelling.
/// Gives nothing, with the reason in `error`, when `original` is not a registry file, the key path
/// or name cannot be written, or the result would exceed RegistryStore::maxFileSize.
std::optional<QByteArray> registryFileWithString(QByteArrayView original, QStringView keyPath,
                                                 QStringView name, QStringView text,
                                                 QString *error = nullptr);

} // namespace MGImport8
