#include "common/registrystore.h"

#include "common/registryparser.h"

#include <QFile>
#include <QFileInfo>
#include <QStringTokenizer>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

struct RootName
{
    QStringView full;
    QStringView abbreviation;
};

constexpr RootName rootNames[] = {
    {u"HKEY_CLASSES_ROOT", u"HKCR"},   {u"HKEY_CURRENT_USER", u"HKCU"},
    {u"HKEY_LOCAL_MACHINE", u"HKLM"},  {u"HKEY_USERS", u"HKU"},
    {u"HKEY_CURRENT_CONFIG", u"HKCC"},
};

} // namespace

using RegistryText::fold;

QString canonicalRootName(QStringView root)
{
    for (const RootName &name : rootNames) {
        if (root.compare(name.full, Qt::CaseInsensitive) == 0
            || root.compare(name.abbreviation, Qt::CaseInsensitive) == 0)
            return name.full.toString();
    }
    return {};
}

QString canonicalKeyPath(QStringView path)
{
    QString result;
    for (QStringView component : QStringTokenizer(path, u'\\', Qt::SkipEmptyParts)) {
        if (result.isEmpty()) {
            result = canonicalRootName(component);
            if (result.isEmpty())
                return {};
        } else {
            result += u'\\' + component;
        }
    }
    return result;
}

RegistryStore RegistryStore::failed(const QString &error)
{
    RegistryStore store;
    store.m_error = error;
    return store;
}

RegistryStore RegistryStore::fromText(QStringView text)
{
    RegistryStore store;
    const auto format = RegistryText::parse(text, [&store](const RegistryText::Entry &entry) {
        store.apply(entry);
    });
    if (format == RegistryText::Format::NotRegistry)
        return failed(u"not a registry file: the first line is not \""_s
                      + RegistryText::headerVersion5 + u"\" or \""_s + RegistryText::headerVersion4
                      + u'"');
    store.m_valid = true;
    return store;
}

RegistryStore RegistryStore::fromBytes(QByteArrayView bytes)
{
    if (bytes.size() > maxFileSize)
        return failed(u"larger than %1 bytes"_s.arg(maxFileSize));
    return fromText(RegistryText::decode(bytes).text);
}

RegistryStore RegistryStore::fromFile(const QString &path)
{
    if (path.isEmpty())
        return failed(u"no registry file is configured"_s);
    const QFileInfo info(path);
    if (!info.exists())
        return failed(path + u": the file does not exist"_s);
    // A FIFO or a device could block or never end; only regular files are read.
    if (!info.isFile())
        return failed(path + u": not a regular file"_s);
    if (info.size() > maxFileSize)
        return failed(path + u": larger than %1 bytes"_s.arg(maxFileSize));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failed(path + u": "_s + file.errorString());
    // The file may have grown since its size was taken; the read stops past the limit anyway.
    RegistryStore store = fromBytes(file.read(maxFileSize + 1));
    if (!store.m_error.isEmpty())
        store.m_error = path + u": "_s + store.m_error;
    return store;
}

void RegistryStore::apply(const RegistryText::Entry &entry)
{
    using Kind = RegistryText::Entry::Kind;
    const QString key = fold(entry.keyPath);
    switch (entry.kind) {
    case Kind::Key:
        m_keys.try_emplace(key, Key{entry.keyPath, {}});
        break;
    case Kind::DeleteKey: {
        // Subkeys sort right after their parent's path and a backslash, so they form one range.
        m_keys.erase(key);
        const QString prefix = key + u'\\';
        auto it = m_keys.lower_bound(prefix);
        while (it != m_keys.end() && it->first.startsWith(prefix))
            it = m_keys.erase(it);
        break;
    }
    case Kind::Value:
        m_keys.try_emplace(key, Key{entry.keyPath, {}})
            .first->second.values.insert(fold(entry.value.name), entry.value);
        break;
    case Kind::DeleteValue:
        if (const auto it = m_keys.find(key); it != m_keys.end())
            it->second.values.remove(fold(entry.value.name));
        break;
    }
}

const RegistryStore::Key *RegistryStore::findKey(QStringView path) const
{
    const auto it = m_keys.find(fold(canonicalKeyPath(path)));
    return it == m_keys.end() ? nullptr : &it->second;
}

bool RegistryStore::hasKey(QStringView path) const
{
    const QString key = fold(canonicalKeyPath(path));
    if (key.isEmpty())
        return false;
    if (m_keys.find(key) != m_keys.end())
        return true;
    const QString prefix = key + u'\\';
    const auto it = m_keys.lower_bound(prefix);
    return it != m_keys.end() && it->first.startsWith(prefix);
}

std::optional<RegistryValue> RegistryStore::value(QStringView keyPath, QStringView name) const
{
    const Key *key = findKey(keyPath);
    if (key == nullptr)
        return std::nullopt;
    const auto it = key->values.constFind(fold(name));
    return it == key->values.cend() ? std::nullopt : std::optional<RegistryValue>(it.value());
}

QHash<QString, RegistryValue> RegistryStore::values(QStringView keyPath) const
{
    const Key *key = findKey(keyPath);
    return key == nullptr ? QHash<QString, RegistryValue>() : key->values;
}

} // namespace MGImport8
