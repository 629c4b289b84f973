// The import command's JSON Lines output: every string escaped exactly as QJsonDocument writes it
// (quotes, backslashes, control characters, characters outside the basic plane, surrogates
// without their partner), and a full output device reported as a failure instead of a completed
// import. Rows in their column order, values that are not text among them, are what the golden
// import tests print; a value a host changed through its column object is the one written.
#include "jsonlines.h"

#include "engine/libraryaccess.h"

#include <MGImport8/importrow.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Tool {

namespace {

QByteArray documentString(const QString &text)
{
    return QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact).mid(1).chopped(1);
}

TEST(JsonLines, StringsAreEscapedAsTheJsonDocumentEscapesThem)
{
    const std::pair<const char *, QString> cases[] = {
        {"empty", QString()},
        {"quote_and_backslash", u"a \"b\" \\c\\"_s},
        {"controls", u"\b\f\n\r\t"_s + QChar(0x01) + QChar(0x1f) + QChar(0x00)},
        {"delete_and_slash", QString(QChar(0x7f)) + u"/"_s},
        {"outside_ascii", u"Zürich 東京 € node 🖧"_s},
        {"lone_surrogates", u"a"_s + QChar(0xd83d) + u"b"_s + QChar(0xdc00) + QChar(0xdbff)},
        {"two_highs", QString(QChar(0xd800)) + QChar(0xd801) + QChar(0xdc01)},
        {"noncharacter", QString(QChar(0xfffe)) + QChar(0xffff)},
    };
    for (const auto &[name, text] : cases) {
        QByteArray written;
        appendJsonString(written, text);
        EXPECT_EQ(written, documentString(text)) << name;
    }
}

TEST(JsonLines, RowsKeepTheirColumnOrderAndWriteOtherValuesAsText)
{
    ImportRow row;
    LibraryAccess::AppendColumn(row, u"Name"_s, u"core \"1\""_s);
    LibraryAccess::AppendColumn(row, u"IP"_s, u"10.0.0.1"_s);
    LibraryAccess::AppendColumn(row, u"Count"_s, 42);
    LibraryAccess::AppendColumn(row, u"Empty"_s, QVariant());
    row.Item(u"ip"_s)->setData(u"10.0.0.9"_s);
    QByteArray written;
    appendJsonRow(written, row);
    EXPECT_EQ(written, R"({"Name": "core \"1\"", "IP": "10.0.0.9", "Count": "42", "Empty": ""})"
                       "\n");
}

TEST(JsonLines, AFullDeviceIsAFailureNotASummary)
{
    if (!QFile::exists(u"/dev/full"_s))
        GTEST_SKIP() << "this system has no /dev/full";
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
