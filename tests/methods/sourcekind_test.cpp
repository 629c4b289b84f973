// A method's source is told by its METHOD name upper-cased, so "ImportText" reads a text file; the
// server methods and their names round-trip; every other name reads no source of its own.
#include "methods/sourcekind.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::SourceKind;

TEST(SourceKind, MethodNamesAreComparedUpperCased)
{
    const struct
    {
        QString method;
        SourceKind kind;
    } cases[] = {
        {u"IMPORTTEXT"_s, SourceKind::TextFile},
        {u"ImportText"_s, SourceKind::TextFile},
        {u"importaccess"_s, SourceKind::AccessDatabase},
        {u"IMPORTSQL"_s, SourceKind::SqlServer},
        {u"ImportPostgreSQL"_s, SourceKind::PostgreSql},
        {u"IMPORTEXCEL"_s, SourceKind::Other},
        {u" IMPORTTEXT"_s, SourceKind::Other},
        {u"IMPORTTEXTS"_s, SourceKind::Other},
        {QString(), SourceKind::Other},
    };
    for (const auto &c : cases)
        EXPECT_EQ(MGImport8::sourceKind(c.method), c.kind) << c.method.toStdString();
    for (SourceKind kind : {SourceKind::TextFile, SourceKind::AccessDatabase, SourceKind::SqlServer,
                            SourceKind::PostgreSql})
        EXPECT_EQ(MGImport8::sourceKind(MGImport8::methodName(kind)), kind);
    EXPECT_TRUE(MGImport8::methodName(SourceKind::Other).isEmpty());
}
