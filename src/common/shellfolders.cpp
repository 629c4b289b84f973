#include "common/shellfolders.h"

#include "common/componentfolder.h"
#include "common/texthelpers.h"

#include <QDir>
#include <QStandardPaths>

#ifndef MGIMPORT8_INSTALL_PREFIX
#error "MGIMPORT8_INSTALL_PREFIX must name the configured install prefix"
#endif

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace {

// A multiarch library folder sits one level below "lib"; nothing is looked for higher up, so a
// build tree under some unrelated "lib" folder is not mistaken for an install.
constexpr int libraryFolderDepth = 1;

QString standardLocation(QStandardPaths::StandardLocation location)
{
    return QStandardPaths::writableLocation(location);
}

// The first entry of an XDG search path such as XDG_CONFIG_DIRS, or its documented default.
QString firstXdgDir(const char *variable, const QString &fallback)
{
    const QString value = qEnvironmentVariable(variable);
    for (const QString &dir : value.split(u':', Qt::SkipEmptyParts)) {
        if (QDir::isAbsolutePath(dir))
            return QDir::cleanPath(dir);
    }
    return fallback;
}

} // namespace

QString installPrefixOf(const QString &libraryFolder)
{
    if (!QDir::isAbsolutePath(libraryFolder))
        return {};
    // Pure path arithmetic: the folders need not exist, and links are the caller's to resolve.
    QString folder = QDir::cleanPath(libraryFolder);
    for (int level = 0; level <= libraryFolderDepth && folder != u"/"; ++level) {
        const qsizetype slash = folder.lastIndexOf(u'/');
        const QStringView name = QStringView(folder).sliced(slash + 1);
        const QString parent = slash == 0 ? u"/"_s : folder.first(slash);
        if (name == u"lib" || name == u"lib64" || name == u"lib32" || name == u"libx32")
            return parent;
        folder = parent;
    }
    return {};
}

QString installPrefix()
{
    const QString prefix = installPrefixOf(componentFolder());
    return prefix.isEmpty() ? QDir::cleanPath(QStringLiteral(MGIMPORT8_INSTALL_PREFIX)) : prefix;
}

QString GetSpecialFolder(int folderId)
{
    QString path;
    switch (static_cast<SpecialFolder>(folderId)) {
    case SpecialFolder::Desktop:
    case SpecialFolder::DesktopDirectory:
        path = standardLocation(QStandardPaths::DesktopLocation);
        break;
    case SpecialFolder::Personal:
        path = standardLocation(QStandardPaths::DocumentsLocation);
        break;
    case SpecialFolder::MyMusic:
        path = standardLocation(QStandardPaths::MusicLocation);
        break;
    case SpecialFolder::MyVideo:
        path = standardLocation(QStandardPaths::MoviesLocation);
        break;
    case SpecialFolder::MyPictures:
        path = standardLocation(QStandardPaths::PicturesLocation);
        break;
    case SpecialFolder::Fonts:
        path = standardLocation(QStandardPaths::FontsLocation);
        break;
    case SpecialFolder::AppData:
        path = standardLocation(QStandardPaths::GenericConfigLocation);
        break;
    case SpecialFolder::LocalAppData:
        path = standardLocation(QStandardPaths::GenericDataLocation);
        break;
    case SpecialFolder::InternetCache:
        path = standardLocation(QStandardPaths::GenericCacheLocation);
        break;
    case SpecialFolder::Profile:
        path = standardLocation(QStandardPaths::HomeLocation);
        break;
    case SpecialFolder::CommonAppData:
        path = firstXdgDir("XDG_CONFIG_DIRS", QStringLiteral("/etc/xdg"));
        break;
    case SpecialFolder::CommonDocuments:
        path = firstXdgDir("XDG_DATA_DIRS", QStringLiteral("/usr/local/share"));
        break;
    case SpecialFolder::Windows:
        path = QStringLiteral("/usr");
        break;
    case SpecialFolder::System:
        path = QStringLiteral("/usr/lib");
        break;
    case SpecialFolder::ProgramFiles:
    case SpecialFolder::ProgramFilesX86:
        path = installPrefix();
        break;
    case SpecialFolder::ProgramFilesCommon:
        path = QDir::cleanPath(installPrefix() + u"/lib");
        break;
    }
    // A path is never handed out with padding or anything past a NUL, whatever produced it.
    path = TrimNull(path);
    if (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    return path;
}

} // namespace MGImport8
