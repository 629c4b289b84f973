#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringView>

#include <map>
#include <optional>

namespace MGImport8 {

namespace RegistryText {
struct Entry;
}

/// Value types by the registry's own numbers. Only String is the plain string type that the
/// string routines read; expandable strings, numbers and binary data are "something else".
namespace RegistryType {
inline constexpr quint32 String = 1;
inline constexpr quint32 ExpandString = 2;
inline constexpr quint32 Binary = 3;
inline constexpr quint32 Dword = 4;
inline constexpr quint32 MultiString = 7;
} // namespace RegistryType

/// One named value of a key.
struct RegistryValue
{
    /// The name as written; the empty name is the key's default value ("@" in the file).
    QString name;
    /// The registry type number (RegistryType).
    quint32 type = RegistryType::String;
    /// The text of a plain string value, exactly as stored (it may hold NUL characters).
    QString text;
    /// The raw bytes of every other type: a dword as four little-endian bytes, hex data as given.
    QByteArray data;

    bool isPlainString() const { return type == RegistryType::String; }
};

/// The full form of a root key name: "HKLM" and "hkey_local_machine" both give
/// "HKEY_LOCAL_MACHINE". Also HKCU, HKCR, HKU and HKCC. Empty for anything else.
QString canonicalRootName(QStringView root);

/// A key path in its canonical form: the root in full, the components joined by single "\"
/// (empty components dropped, case kept). Empty when the path does not start with a known root.
QString canonicalKeyPath(QStringView path);

/// The contents of one registry file in the ".reg" text format, as regedit exports it.
///
/// The first non-empty line must be "Windows Registry Editor Version 5.00" or "REGEDIT4";
/// anything else is not a registry file and gives an empty, invalid store. The text is UTF-16LE
/// with a byte-order mark (what regedit writes), UTF-8 with or without one, or, when the bytes are
/// not UTF-8, the Windows western code page of old REGEDIT4 exports.
///
/// "[PATH]" opens a key (and so its parents), "[-PATH]" deletes a key with its subkeys,
/// "\"name\"=\"text\"" (with \\ and \" escapes) sets a plain string, "@=" the default value,
/// "\"name\"=-" deletes a value; "dword:" and "hex:"/"hex(N):" data (continued over lines that end
/// in "\") give values of other types, except hex(1), which is a plain string in another
/// spelling. ";" starts a comment line. Key paths and value names compare without regard to case.
/// Lines that cannot be read are skipped, values outside a readable section are ignored, and a
/// later line overrides an earlier one.
class RegistryStore
{
public:
    /// Files larger than this are refused rather than read.
    static constexpr qint64 maxFileSize = 16 * 1024 * 1024;

    RegistryStore() = default;

    /// Reads registry text from the bytes of a file.
    static RegistryStore fromBytes(QByteArrayView bytes);
    /// Reads registry text that is already decoded.
    static RegistryStore fromText(QStringView text);
    /// Reads a registry file. A missing, unreadable or too large file gives an invalid store.
    static RegistryStore fromFile(const QString &path);

    /// True when the bytes were a registry file.
    bool isValid() const { return m_valid; }
    /// Why the store is invalid, for diagnostics; empty when it is valid.
    QString errorString() const { return m_error; }

    /// True when the key exists: it was opened by a section, or it is the parent of one that was.
    /// `path` is a full key path with its root ("HKLM\Software\X" or "HKEY_LOCAL_MACHINE\...").
    bool hasKey(QStringView path) const;
    /// The value of the key by name (case-insensitive), if there is one.
    std::optional<RegistryValue> value(QStringView keyPath, QStringView name) const;
    /// All values of the key, keyed by their case-folded names; empty for a missing key.
    QHash<QString, RegistryValue> values(QStringView keyPath) const;
    /// The number of keys opened by sections and still present.
    qsizetype keyCount() const { return qsizetype(m_keys.size()); }

private:
    struct Key
    {
        QString path;
        QHash<QString, RegistryValue> values;
    };

    static RegistryStore failed(const QString &error);
    const Key *findKey(QStringView path) const;
    void apply(const RegistryText::Entry &entry);

    std::map<QString, Key> m_keys; // by case-folded canonical path
    QString m_error;
    bool m_valid = false;
};

} // namespace MGImport8
