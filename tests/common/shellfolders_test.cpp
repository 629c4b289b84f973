// GetSpecialFolder: user folders follow the XDG variables, unknown codes give nothing, and the
//   install prefix is found above lib/ or lib/<multiarch> but not from unrelated folders.
#include "common/shellfolders.h"

#include "testsupport.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace MGImport8;
using namespace Qt::StringLiterals;

TEST(GetSpecialFolder, FollowsXdgVariables)
{
    MGImport8::Test::TempFolder home;
    MGImport8::Test::ScopedEnv config("XDG_CONFIG_HOME",
                                      QFile::encodeName(home.path() + u"/config"));
    MGImport8::Test::ScopedEnv data("XDG_DATA_HOME", QFile::encodeName(home.path() + u"/data"));
    MGImport8::Test::ScopedEnv cache("XDG_CACHE_HOME", QFile::encodeName(home.path() + u"/cache"));
    MGImport8::Test::ScopedEnv dirs("XDG_CONFIG_DIRS", "relative:/opt/etc/xdg/:/etc/xdg");

    EXPECT_EQ(GetSpecialFolder(int(SpecialFolder::AppData)), home.path() + u"/config");
    EXPECT_EQ(GetSpecialFolder(int(SpecialFolder::LocalAppData)), home.path() + u"/data");
    EXPECT_EQ(GetSpecialFolder(int(SpecialFolder::InternetCache)), home.path() + u"/cache");
    EXPECT_EQ(GetSpecialFolder(int(SpecialFolder::CommonAppData)), u"/opt/etc/xdg"_s);

    const QString programFiles = GetSpecialFolder(int(SpecialFolder::ProgramFiles));
    EXPECT_TRUE(QDir::isAbsolutePath(programFiles)) << programFiles.toStdString();
    EXPECT_EQ(GetSpecialFolder(int(SpecialFolder::ProgramFilesCommon)),
              QDir::cleanPath(programFiles + u"/lib"));

    for (int unknown : {0x0001, 0x0003, -1, 0x8000 | 0x1a, 0x7fffffff})
        EXPECT_EQ(GetSpecialFolder(unknown), QString()) << unknown;
}

TEST(InstallPrefix, WalksUpFromTheLibraryFolderOnly)
{
    const std::pair<QString, QString> cases[] = {
        {u"/usr/lib/x86_64-linux-gnu"_s, u"/usr"_s},
        {u"/opt/mg/lib"_s, u"/opt/mg"_s},
        {u"/opt/mg/lib64/"_s, u"/opt/mg"_s},
        {u"/lib"_s, u"/"_s},
        {u"/home/lib/build/tests"_s, u""_s},
        {u"/tmp/build/tests"_s, u""_s},
        {u""_s, u""_s},
    };
    for (const auto &[folder, prefix] : cases)
        EXPECT_EQ(installPrefixOf(folder), prefix) << folder.toStdString();
}
