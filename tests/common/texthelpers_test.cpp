// FileNameFromPath: separators of both kinds, server:database names, extension only on request.
// TrimNull is read through the registry's hex strings, which are cut at their first NUL.
#include "common/texthelpers.h"

#include <gtest/gtest.h>

using namespace MGImport8;
using namespace Qt::StringLiterals;

TEST(FileNameFromPath, KeepsTheLastComponent)
{
    // clang-format off
    const std::tuple<QString, bool, QString> cases[] = {
        {u"C:/Data/nodes.mdb"_s, false, u"nodes.mdb"_s}, {u"C:/Data/nodes.mdb"_s, true, u"nodes"_s},
        {u"C:\\Data\\nodes.mdb"_s, true, u"nodes"_s}, {u"server:db"_s, false, u"db"_s},
        {u"/home/a.b/readme"_s, true, u"readme"_s}, {u"archive.tar.gz"_s, true, u"archive.tar"_s},
        {u"C:/Data/"_s, false, u""_s}, {u""_s, true, u""_s},
    };
    // clang-format on
    for (const auto &[path, strip, expected] : cases)
        EXPECT_EQ(FileNameFromPath(path, strip), expected) << path.toStdString();
}
