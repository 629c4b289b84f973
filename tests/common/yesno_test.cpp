// Yes/no words: every accepted spelling in any case, and near misses that must read as no.
#include "common/yesno.h"

#include <QString>

#include <gtest/gtest.h>

using MGImport8::IsTrue;

TEST(YesNo, AcceptsEveryYesWordInAnyCase)
{
    for (const char16_t *word : {u"YES", u"yes", u"True", u"1", u"y", u"User", u"uSeR"})
        EXPECT_TRUE(IsTrue(QStringView(word))) << QString::fromUtf16(word).toStdString();
}

TEST(YesNo, EverythingElseIsNo)
{
    for (const char16_t *word : {u"", u"NO", u"0", u"yes ", u" y", u"-1", u"ON", u"T", u"users"})
        EXPECT_FALSE(IsTrue(QStringView(word))) << QString::fromUtf16(word).toStdString();
}
