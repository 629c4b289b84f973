// FileNameFromPath: separators of both kinds, server:database names, extension only on request.
// NullToZero: Qt SQL's typed nulls become 0 while empty text and real zeros pass untouched.
// TrimNull: text is cut at the first NUL only.
// GetSpecialFolder: user folders follow the XDG variables, unknown codes give nothing, and the
//   install prefix is found above lib/ or lib/<multiarch> but not from unrelated folders.
#include "common/commonfunctions.h"

#include "testsupport.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace MGImport8;
using namespace Qt::StringLiterals;

TEST(FileNameFromPath, KeepsTheLastComponent)
{
    struct Case
    {
        QString path;
        bool strip;
        QString expected;
    };
    const Case cases[] = {
        {u"C:/Data/nodes.mdb"_s, false, u"nodes.mdb"_s},
        {u"C:/Data/nodes.mdb"_s, true, u"nodes"_s},
        {u"C:\\Data\\nodes.mdb"_s, true, u"nodes"_s},
        {u"server:db"_s, false, u"db"_s},
        {u"/home/a/n.csv"_s, false, u"n.csv"_s},
        {u"/home/a.b/readme"_s, true, u"readme"_s},
        {u"archive.tar.gz"_s, true, u"archive.tar"_s},
        {u"C:/Data/"_s, false, u""_s},
        {u"nodes"_s, true, u"nodes"_s},
        {u""_s, true, u""_s},
    };
    for (const Case &c : cases)
        EXPECT_EQ(FileNameFromPath(c.path, c.strip), c.expected) << c.path.toStdString();
}

TEST(NullToZero, OnlyNullsBecomeZero)
{
    for (const QVariant &null : {QVariant(), QVariant(QMetaType::fromType<QString>()),
                                 QVariant(QMetaType::fromType<int>())}) {
        const QVariant zero = NullToZero(null);
        EXPECT_EQ(zero.typeId(), QMetaType::Short);
        EXPECT_EQ(zero.toString(), u"0"_s);
    }
    const QVariant empty = NullToZero(QVariant(QString()));
    EXPECT_EQ(empty.typeId(), QMetaType::QString);
    EXPECT_TRUE(empty.toString().isEmpty());
    EXPECT_EQ(NullToZero(QVariant(0.0)).typeId(), QMetaType::Double);
}

TEST(TrimNull, CutsAtTheFirstNul)
{
    EXPECT_EQ(TrimNull(u"abc"), u"abc"_s);
    EXPECT_EQ(TrimNull(QStringView(u"ab\0cd\0", 6)), u"ab"_s);
    EXPECT_EQ(TrimNull(QStringView(u"\0x", 2)), u""_s);
}

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
    EXPECT_EQ(GetSpecialFolder(0x1a), GetSpecialFolder(int(SpecialFolder::AppData)));

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
