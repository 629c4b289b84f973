// The import command's JSON Lines output: every string escaped exactly as QJsonDocument writes it
// (quotes, backslashes, control characters, characters outside the basic plane, surrogates
// without their partner), rows in the row's column order with values that are not text, and a
// full output device reported as a failure instead of a completed import.
#include "jsonlines.h"

#include "engine/libraryaccess.h"

#include <MGImport8/importrow.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

#include <gtest/gtest.h>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace MGImport8::Tool {

namespace {

QByteArray documentString(const QString &text)
{
    return QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact).mid(1).chopped(1);
}

TEST(JsonLines, StringsAreEscapedAsTheJsonDocumentEscapesThem)
{
    const struct
    {
        const char *name;
        QString text;
    } cases[] = {
        {"empty", QString()},
        {"plain", u"sw-0000001"_s},
        {"quote_and_backslash", u"a \"b\" \\c\\"_s},
        {"named_controls", u"\b\f\n\r\t"_s},
        {"other_controls", QString(QChar(0x01)) + QChar(0x1f) + QChar(0x00) + u"x"_s},
        {"delete_and_slash", QString(QChar(0x7f)) + u"/"_s},
        {"latin1", u"Zürich Straße"_s},
        {"basic_plane", u"東京 €"_s},
        {"surrogate_pair", u"node 🖧 ok"_s},
        {"lone_high_surrogate", u"a"_s + QChar(0xd83d) + u"b"_s},
        {"lone_low_surrogate", u"a"_s + QChar(0xdc00)},
        {"high_at_end", u"a"_s + QChar(0xdbff)},
        {"two_highs", QString(QChar(0xd800)) + QChar(0xd801) + QChar(0xdc01)},
        {"noncharacter", QString(QChar(0xfffe)) + QChar(0xffff)},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        QByteArray written;
        appendJsonString(written, c.text);
        EXPECT_EQ(written, documentString(c.text));
    }
}

TEST(JsonLines, RowsKeepTheirColumnOrderAndWriteOtherValuesAsText)
{
    ImportRow row;
    LibraryAccess::AppendColumn(row, u"Name"_s, u"core \"1\""_s);
    LibraryAccess::AppendColumn(row, u"IP"_s, u"10.0.0.1"_s);
    LibraryAccess::AppendColumn(row, u"Count"_s, 42);
    LibraryAccess::AppendColumn(row, u"Empty"_s, QVariant());
    // A host that changed a value through its column object has that value written.
    row.Item(u"ip"_s)->setData(u"10.0.0.9"_s);
    QByteArray written;
    appendJsonRow(written, row);
    EXPECT_EQ(written, R"({"Name": "core \"1\"", "IP": "10.0.0.9", "Count": "42", "Empty": ""})"
                       "\n");

    row.Remove(u"Name"_s);
    row.Remove(u"IP"_s);
    row.Remove(u"Count"_s);
    row.Remove(u"Empty"_s);
    written.clear();
    appendJsonRow(written, row);
    EXPECT_EQ(written, "{}\n");
}

TEST(JsonLines, AFullDeviceIsAFailureNotASummary)
{
    std::FILE *full = std::fopen("/dev/full", "w");
    if (!full)
        GTEST_SKIP() << "this system has no /dev/full";
    {
        JsonLinesOutput output(full);
        ImportRow row;
        LibraryAccess::AppendColumn(row, u"IP"_s, u"10.0.0.1"_s);
        for (int i = 0; i < 20'000; ++i) // more than one buffer
            output.write(row);
        EXPECT_FALSE(output.finish());
    }
    std::fclose(full);

    // The whole command: status 1, the reason on standard error, no "Import Complete".
    QProcess tool;
    tool.setStandardOutputFile(u"/dev/full"_s);
    tool.start(QStringLiteral(MGIMPORT8_TOOL),
               {u"import"_s, QStringLiteral(MGIMPORT8_EXAMPLES_DIR "/nodes.csv")});
    ASSERT_TRUE(tool.waitForFinished());
    const QString errors = QString::fromUtf8(tool.readAllStandardError());
    EXPECT_EQ(tool.exitCode(), 1);
    EXPECT_TRUE(errors.contains(u"the rows could not be written to standard output"_s))
        << errors.toStdString();
    EXPECT_FALSE(errors.contains(u"Import Complete"_s));
}

} // namespace

} // namespace MGImport8::Tool
