#include "sqladmin/admin/sqladmin_p.h"

#include "common/registry.h"
#include "common/shellfolders.h"
#include "sqladmin/connectiontranslator.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QThread>

using namespace Qt::StringLiterals;

namespace MGImport8 {

using namespace SqlAdmin;

namespace {

// The oldest management library the family works with, tested part by part as it reports them.
constexpr int requiredMajor = 8;
constexpr int requiredMinor = 5;
// The interface version this layer offers in place of the legacy library.
constexpr int layerMajor = 8;
constexpr int layerMinor = 5;
/// How long the registrations get before the library is tried again.
constexpr unsigned long registrationPauseMilliseconds = 500;

const QString uninstallKey
    = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Marrowgate Velum Version 8"_s;
const QString privateCopy = u"Common\\SQLDMO9\\"_s;

// Whether the folder that a registry path names holds at least one file. The registry keeps
// Windows separators; the file system here takes either.
bool holdsFile(const QString &directory)
{
    QString path = directory;
    path.replace(u'\\', u'/');
    const QDir dir(path);
    return dir.exists() && !dir.entryList(QDir::Files | QDir::Hidden | QDir::System).isEmpty();
}

// Whether unixODBC knows the FreeTDS driver by the name the layer asks for.
bool freeTdsRegistered()
{
    const QString wanted = u'[' + freeTdsDriverName() + u']';
    const QStringList files = {qEnvironmentVariable("ODBCSYSINI") + u"/odbcinst.ini"_s,
                               u"/etc/odbcinst.ini"_s};
    for (const QString &name : files) {
        QFile file(name);
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
            continue;
        while (!file.atEnd()) {
            if (QString::fromUtf8(file.readLine()).trimmed().compare(wanted, Qt::CaseInsensitive)
                == 0)
                return true;
        }
    }
    return false;
}

} // namespace

ManagementLibraryProbe SqlAdmin::probeDriverStack(ServerKind kind)
{
    ManagementLibraryProbe probe;
    probe.present = QSqlDatabase::isDriverAvailable(qtDriverName(kind))
                    && (kind != ServerKind::SqlServer || freeTdsRegistered());
    if (probe.present) {
        probe.major = layerMajor;
        probe.minor = layerMinor;
    }
    return probe;
}

QStringList SqlAdmin::dmoRegistrationCommands(const QString &directory)
{
    QStringList commands;
    for (const QString &file : {u"sqldmo.dll"_s, u"sqlvdi.dll"_s})
        commands.append(u"RegSvr32  /S \""_s + directory + file + u"\""_s);
    return commands;
}

bool SQLAdmin::TestDMO()
{
    const ManagementLibraryProbe library = d->probeLibrary(d->kind());
    if (library.present && library.major >= requiredMajor && library.minor >= requiredMinor)
        return true;
    const bool oldLibrary = library.present;
    const QString directory = SqlAdmin::FindDMODirectory();
    // The file test decides nothing: both commands are launched whether the files are there or
    // not, and a missing one fails silently.
    for (const QString &command : dmoRegistrationCommands(directory)) {
        d->launch(command);
        if (oldLibrary)
            d->reRegistered = true;
    }
    QThread::msleep(registrationPauseMilliseconds);
    if (d->reRegistered)
        return false;
    return d->probeLibrary(d->kind()).present;
}

QString SqlAdmin::FindDMODirectory()
{
    const QString uninstall = GetRegistryString(u"HKEY_LOCAL_MACHINE"_s, uninstallKey,
                                                u"UninstallString"_s, QString())
                                  .toString();
    if (!uninstall.isEmpty()) {
        const qsizetype product = uninstall.indexOf(u"TALON"_s, 0, Qt::CaseInsensitive);
        if (product >= 0) {
            const qsizetype slash = uninstall.indexOf(u'\\', product);
            if (slash >= 0) {
                const QString directory = uninstall.first(slash + 1) + privateCopy;
                if (holdsFile(directory))
                    return directory;
            }
        }
    }
    const QString clsid = GetRegistryString(u"HKEY_CLASSES_ROOT"_s, u"MGNetIO.Interface\\Clsid"_s,
                                            QString(), QString())
                              .toString();
    if (!clsid.isEmpty()) {
        const QString server = GetRegistryString(u"HKEY_CLASSES_ROOT"_s,
                                                 u"CLSID\\"_s + clsid + u"\\InprocServer32"_s,
                                                 QString(), QString())
                                   .toString();
        const qsizetype common = server.indexOf(u"\\Common\\"_s, 0, Qt::CaseInsensitive);
        if (common >= 0) {
            const QString directory = server.first(common + 1) + privateCopy;
            if (holdsFile(directory))
                return directory;
        }
    }
    return GetSpecialFolder(int(SpecialFolder::ProgramFiles)) + u"\\Marrowgate\\"_s + privateCopy;
}

} // namespace MGImport8
