#pragma once

#include "common/registrystore.h"
#include "common/registrywriter.h"

#include <QHash>
#include <QString>
#include <QVariant>

namespace MGImport8 {

/// Environment variable naming the machine-wide registry file, for tests and packagers.
inline constexpr char machineRegistryVariable[] = "MGIMPORT8_MACHINE_REGISTRY";

/// The file that stands in for the machine-wide roots (HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT,
/// HKEY_USERS, HKEY_CURRENT_CONFIG): $MGIMPORT8_MACHINE_REGISTRY when set, otherwise
/// /etc/MGImport8/registry.reg.
QString machineRegistryPath();

/// The file that stands in for HKEY_CURRENT_USER: MGImport8/registry.reg in the user's
/// configuration folder ($XDG_CONFIG_HOME, by default ~/.config); empty when there is none.
QString userRegistryPath();

/// An open key: a snapshot of its values, taken when it was opened. Files are read afresh by
/// every open, so nothing is cached between calls.
class RegistryKey
{
public:
    bool isOpen() const { return m_open; }
    /// The full path of the key that was found, e.g. "HKEY_CURRENT_USER\Software\Classes\X".
    QString path() const { return m_path; }

private:
    friend bool RegistryOpenKey(const QString &, const QString &, RegistryKey &);
    friend bool RegistryQueryString(const RegistryKey &, const QString &, QString &);
    friend bool RegistryCloseKey(RegistryKey &);

    bool m_open = false;
    QString m_path;
    QHash<QString, RegistryValue> m_values;
};

/// Reads one plain string value: the text cut at its first NUL, or `defaultValue` when the root
/// is unknown, the key or the value is missing, or the value is of another type (numbers,
/// expandable strings, binary data). Always a QString inside the variant.
QVariant GetRegistryString(const QString &root, const QString &subKey, const QString &valueName,
                           const QString &defaultValue);

/// Opens `subKey` (components separated by "\"; an empty one is the root itself) under `root`
/// (a full name such as "HKEY_LOCAL_MACHINE" or its abbreviation "HKLM", in any case). True when
/// the key exists. HKEY_CLASSES_ROOT is the merged view: the user's
/// HKEY_CURRENT_USER\Software\Classes first, then the machine file's HKEY_CLASSES_ROOT, then its
/// HKEY_LOCAL_MACHINE\SOFTWARE\Classes; the first of them that has the key supplies all values.
bool RegistryOpenKey(const QString &root, const QString &subKey, RegistryKey &key);

/// True, with the text up to its first NUL in `value`, when the open key has a value of that name
/// (case-insensitive; "" is the default value) and it is of the plain string type.
bool RegistryQueryString(const RegistryKey &key, const QString &valueName, QString &value);

/// Closes the key. False when it was not open.
bool RegistryCloseKey(RegistryKey &key);

/// Why the file or files behind `root` could not be read (missing, too large, not a registry
/// file), one line per file; empty when every file read well. For diagnostics only: the reading
/// routines treat an unreadable file as an empty one.
QString registryErrorString(const QString &root);

/// Sets a plain string value, creating the file, its folder and the key as needed.
/// HKEY_CURRENT_USER writes the user file; the other roots the machine file. HKEY_CLASSES_ROOT
/// writes where the merged view found the key, and HKEY_LOCAL_MACHINE\SOFTWARE\Classes for a new
/// one. The rest of the file stays as it was (see registryFileWithString()). The file is replaced
/// in one step, through a temporary file in the same folder, so readers never see half of it.
/// False, with the reason in `error`, when the root is unknown or the file cannot be read or
/// written; an existing file that is not a registry file is never overwritten.
bool setRegistryString(const QString &root, const QString &subKey, const QString &valueName,
                       const QString &text, QString *error = nullptr);

} // namespace MGImport8
