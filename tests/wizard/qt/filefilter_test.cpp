// Legacy file patterns of method files become the file dialog's Qt name filters, odd and broken
// ones included.
#include "wizard/legacyfilefilter.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

TEST(FileFilter, LegacyPatternsBecomeQtFilters)
{
    const struct
    {
        QString legacy;
        QString qt;
    } cases[] = {
        {u"Text Files (*.txt)|*.txt|All Files (*.*)|*.*"_s, u"Text Files (*.txt);;All Files (*)"_s},
        {u"Databases|*.mdb"_s, u"Databases (*.mdb)"_s},
        {QString(), u"All Files (*)"_s},
        {u"Odd|*.a b;*.c"_s, u"Odd (*.c)"_s},
        {u"Logs (old) (*.log)|*.log"_s, u"Logs [old] (*.log)"_s},
        {u"||Text|*.txt||"_s, u"Text (*.txt)"_s},
        {u"T|*.txt;*.txt; ;"_s, u"T (*.txt)"_s},
        {u"A;;B|*.a"_s, u"A,,B (*.a)"_s},
        {u"Two\nlines|*.a"_s, u"Two lines (*.a)"_s},
        {u"Listen|*.lïst;*.lst"_s, u"Listen (*.lst)"_s},
    };
    for (const auto &c : cases)
        EXPECT_EQ(qtFileFilter(c.legacy), c.qt) << c.legacy.toStdString();
}

} // namespace

} // namespace MGImport8::Test
