// Yes/no words: every accepted spelling in any case, and near misses that must read as no.
#include "common/yesno.h"

#include <QString>

#include <gtest/gtest.h>

using MGImport8::IsTrue;

TEST(YesNo, OnlyTheYesWordsInAnyCaseAreTrue)
{
    const std::pair<const char16_t *, bool> cases[] = {
        {u"YES", true}, {u"yes", true},  {u"True", true},  {u"1", true},
        {u"y", true},   {u"User", true}, {u"uSeR", true},  {u"", false},
        {u"NO", false}, {u"0", false},   {u"yes ", false}, {u" y", false},
        {u"-1", false}, {u"ON", false},  {u"T", false},    {u"users", false},
    };
    for (const auto &[word, yes] : cases)
        EXPECT_EQ(IsTrue(QStringView(word)), yes) << QString::fromUtf16(word).toStdString();
}
