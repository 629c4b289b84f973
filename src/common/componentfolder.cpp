#include "common/componentfolder.h"

#include <QFileInfo>

#include <dlfcn.h>

namespace MGImport8 {

namespace {

QString &namedFolder()
{
    static QString folder;
    return folder;
}

} // namespace

QString componentFolder()
{
    if (!namedFolder().isEmpty())
        return namedFolder();
    Dl_info info{};
    // Any address inside this module will do; the function's own is the one that is sure to be.
    if (dladdr(reinterpret_cast<const void *>(&componentFolder), &info) == 0
        || info.dli_fname == nullptr || info.dli_fname[0] == '\0')
        return {};
    return QFileInfo(QFile::decodeName(info.dli_fname)).canonicalPath();
}

void setComponentFolder(const QString &folder)
{
    namedFolder() = folder;
}

} // namespace MGImport8
