// FileNameFromPath: separators of both kinds, server:database names, extension only on request.
// NullToZero: Qt SQL's typed nulls become 0 while empty text and real zeros pass untouched.
// TrimNull: text is cut at the first NUL only.
#include "common/texthelpers.h"

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
