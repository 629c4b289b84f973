#include "common/registry.h"

#include "common/texthelpers.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>
#include <array>
#include <optional>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

constexpr QStringView currentUserRoot = u"HKEY_CURRENT_USER";
constexpr QStringView classesRoot = u"HKEY_CLASSES_ROOT";
constexpr QStringView userClasses = u"HKEY_CURRENT_USER\\Software\\Classes";
constexpr QStringView machineClasses = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes";

enum class StoreFile { User, Machine };

struct Location
{
    StoreFile file = StoreFile::Machine;
    QString keyPath;
};

QString filePath(StoreFile file)
{
    return file == StoreFile::User ? userRegistryPath() : machineRegistryPath();
}

QString joined(QStringView base, const QString &subKey)
{
    return subKey.isEmpty() ? base.toString() : base + u'\\' + subKey;
}

// Where a key of the root may live, in the order they are consulted; empty for an unknown root.
QList<Location> locationsOf(const QString &root, const QString &subKey)
{
    const QString rootName = canonicalRootName(root);
    if (rootName.isEmpty())
        return {};
    if (rootName == currentUserRoot)
        return {{StoreFile::User, joined(rootName, subKey)}};
    if (rootName == classesRoot) {
        return {{StoreFile::User, joined(userClasses, subKey)},
                {StoreFile::Machine, joined(classesRoot, subKey)},
                {StoreFile::Machine, joined(machineClasses, subKey)}};
    }
    return {{StoreFile::Machine, joined(rootName, subKey)}};
}

// Each file is read at most once per call, and only when a location needs it.
class Stores
{
public:
    const RegistryStore &get(StoreFile file)
    {
        std::optional<RegistryStore> &slot = m_stores[file == StoreFile::User ? 0 : 1];
        if (!slot)
            slot = RegistryStore::fromFile(filePath(file));
        return *slot;
    }

private:
    std::array<std::optional<RegistryStore>, 2> m_stores;
};

// The first of the (non-empty) locations that has the key, or the last one when none has it,
// which is where a new key goes.
Location pickLocation(const QList<Location> &locations, Stores &stores, bool &found)
{
    for (const Location &location : locations) {
        if (stores.get(location.file).hasKey(location.keyPath)) {
            found = true;
            return location;
        }
    }
    found = false;
    return locations.constLast();
}

bool namesSubKey(const QString &subKey)
{
    return !subKey.split(u'\\', Qt::SkipEmptyParts).isEmpty();
}

} // namespace

QString machineRegistryPath()
{
    const QString configured = qEnvironmentVariable(machineRegistryVariable);
    return configured.isEmpty() ? u"/etc/MGImport8/registry.reg"_s : configured;
}

QString userRegistryPath()
{
    // Without a home folder there is no user file, rather than one at the file system's root.
    const QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return config.isEmpty() ? QString() : config + u"/MGImport8/registry.reg";
}

QVariant GetRegistryString(const QString &root, const QString &subKey, const QString &valueName,
                           const QString &defaultValue)
{
    RegistryKey key;
    QString text;
    const bool found = RegistryOpenKey(root, subKey, key)
                       && RegistryQueryString(key, valueName, text);
    RegistryCloseKey(key);
    return found ? text : defaultValue;
}

bool RegistryOpenKey(const QString &root, const QString &subKey, RegistryKey &key)
{
    key = RegistryKey();
    const QList<Location> locations = locationsOf(root, subKey);
    if (locations.isEmpty())
        return false;
    Stores stores;
    bool found = false;
    const Location location = pickLocation(locations, stores, found);
    // A root always opens, with whatever values the file gives it.
    if (!found && namesSubKey(subKey))
        return false;
    key.m_open = true;
    key.m_path = canonicalKeyPath(location.keyPath);
    key.m_values = stores.get(location.file).values(location.keyPath);
    return true;
}

bool RegistryQueryString(const RegistryKey &key, const QString &valueName, QString &value)
{
    if (!key.m_open)
        return false;
    const auto it = key.m_values.constFind(valueName.toCaseFolded());
    if (it == key.m_values.cend() || !it->isPlainString())
        return false;
    value = TrimNull(it->text);
    return true;
}

bool RegistryCloseKey(RegistryKey &key)
{
    const bool wasOpen = key.m_open;
    key = RegistryKey();
    return wasOpen;
}

QString registryErrorString(const QString &root)
{
    const QList<Location> locations = locationsOf(root, {});
    if (locations.isEmpty())
        return u"unknown root key \""_s + root + u'"';
    QStringList problems;
    for (const StoreFile file : {StoreFile::User, StoreFile::Machine}) {
        const bool used = std::any_of(locations.cbegin(), locations.cend(),
                                      [file](const Location &l) { return l.file == file; });
        if (!used)
            continue;
        const RegistryStore store = RegistryStore::fromFile(filePath(file));
        if (!store.isValid())
            problems.append(store.errorString());
    }
    return problems.join(u'\n');
}

bool setRegistryString(const QString &root, const QString &subKey, const QString &valueName,
                       const QString &text, QString *error)
{
    const auto fail = [error](const QString &reason) {
        if (error != nullptr)
            *error = reason;
        return false;
    };
    const QList<Location> locations = locationsOf(root, subKey);
    if (locations.isEmpty())
        return fail(u"unknown root key \""_s + root + u'"');
    // An existing key is written where readers find it; a new classes key goes to the machine's
    // SOFTWARE\Classes, the last location, as the merged view writes it.
    Stores stores;
    bool found = false;
    const Location location = pickLocation(locations, stores, found);

    const QString path = filePath(location.file);
    if (path.isEmpty())
        return fail(u"there is no user configuration folder to write to"_s);
    QByteArray original;
    if (QFileInfo::exists(path)) {
        if (!QFileInfo(path).isFile())
            return fail(path + u": not a regular file"_s);
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return fail(path + u": "_s + file.errorString());
        original = file.read(RegistryStore::maxFileSize + 1);
    }
    QString reason;
    const std::optional<QByteArray> bytes = registryFileWithString(original, location.keyPath,
                                                                   valueName, text, &reason);
    if (!bytes)
        return fail(path + u": "_s + reason);

    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return fail(path + u": cannot create the folder"_s);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(*bytes) != bytes->size() || !file.commit())
        return fail(path + u": "_s + file.errorString());
    return true;
}

} // namespace MGImport8
