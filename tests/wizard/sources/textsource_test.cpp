// Splitting: empty fields between and after delimiters, several delimiters at once, delimiters of
//   several bytes, line ends (CR LF, lone CR), quotes and empty lines come out as a brute-force
//   reading on random text; ragged lines, NUL bytes and CR or LF given as delimiters are cases.
// Decoding: byte-order marks, UTF-16 with an odd byte, Windows-1252 fallback and NUL bytes.
// Files: directory, unreadable, pipe, empty, larger than 4 GiB, a 5 MB line and a million fields
//   give a table or a clear error, never a crash or a hang.
// Third-party inventories read the same as the brute-force reading.
#include "wizard/sources/textsource.h"
#include "wizard/sources/textsplitter.h"

#include "plainreading.h"
#include "testsupport.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRandomGenerator>
#include <QStringList>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace MGImport8;
using Rows = std::vector<std::vector<std::string>>;

namespace {

Rows rowsOf(const TextTable &table)
{
    Rows rows;
    for (qsizetype r = 0; r < table.rowCount(); ++r) {
        std::vector<std::string> &row = rows.emplace_back();
        for (int c = 0; c < table.cellCount(r); ++c)
            row.push_back(table.text(r, c).toStdString());
    }
    return rows;
}

// The plain reading in the form these tests compare.
Rows plainReading(const QString &decoded, const QString &delimiters)
{
    Rows rows;
    for (const QStringList &line : Test::plainReading(decoded, delimiters)) {
        std::vector<std::string> &fields = rows.emplace_back();
        for (const QString &field : line)
            fields.push_back(field.toStdString());
    }
    return rows;
}

} // namespace

TEST(TextSource, SplitsAsTheWizardReads)
{
    const QString comma = QStringLiteral(",");
    const struct
    {
        const char *name;
        QByteArray bytes;
        QString delimiters;
        Rows expected;
    } cases[] = {
        {"ragged", "a\nb,c,d\ne,f", comma, {{"a"}, {"b", "c", "d"}, {"e", "f"}}},
        {"cr_and_lf_are_no_delimiters", "a\rb\nc", QStringLiteral("\r\n"), {{"ab"}, {"c"}}},
        // clang-format off
        {"wide_delimiters", "a\xC2\xA7" "b\xE2\x82\xAC" "c\xF0\x9F\x98\x80" "d",
         QStringLiteral("\u00A7\u20AC\U0001F600"), {{"a", "b", "c", "d"}}},
        {"wide_delimiter_prefix_only", "\xC2\xA8\xC2\xA7", QStringLiteral("\u00A7"), {{"\u00A8"}}},
        {"nul_bytes", QByteArray("a\0b,\0", 5), comma,
         {{std::string("a\0b", 3), std::string(1, '\0')}}},
        {"bom_utf8", "\xEF\xBB\xBF\xC3\xA9,b", comma, {{"\u00E9", "b"}}},
        {"second_bom_is_text", "\xEF\xBB\xBF\xEF\xBB\xBFx,\xEF\xBB\xBF", comma,
         {{"\uFEFFx", "\uFEFF"}}},
        {"bom_utf16le", QByteArray("\xFF\xFEx\0,\0\xFC\0\r\0\n\0y\0", 14), comma,
         {{"x", "\u00FC"}, {"y"}}},
        {"bom_utf16be", QByteArray("\xFE\xFF\0x\0,\xD8\x3D\xDE\x00", 10), comma,
         {{"x", "\U0001F600"}}},
        {"utf16_odd_byte", QByteArray("\xFF\xFE" "a\0,\0b", 7), comma, {{"a", "\uFFFD"}}},
        {"utf16_lone_surrogate", QByteArray("\xFF\xFE\x00\xD8,\0", 6), comma, {{"\uFFFD"}}},
        {"windows1252_delimiter", "a\xA7" "b", QStringLiteral("\u00A7"), {{"a", "b"}}},
        // clang-format on
    };
    for (const auto &c : cases) {
        const auto table = splitDelimitedText(c.bytes, c.delimiters);
        EXPECT_EQ(rowsOf(*table), c.expected) << c.name;
        int widest = 0;
        for (const std::vector<std::string> &row : c.expected)
            widest = std::max(widest, int(row.size()));
        EXPECT_EQ(table->maxColumns(), widest) << c.name;
    }
}

// Random text from the characters that matter, against the plain reading, for delimiter sets of
// one byte, of several bytes and of more bytes than the vector search takes, byte by byte and
// with each kind of vector instructions.
TEST(TextSource, AgreesWithThePlainReadingOnRandomText)
{
    const QString alphabet = QStringLiteral("ab,; \"'\r\n\t\u00E9\u00A7");
    const QString sets[] = {QStringLiteral(","),        QStringLiteral(",; "),
                            QStringLiteral("\u00A7"),   QStringLiteral(",\u00E9"),
                            QStringLiteral(",;:|/-_ "), QString()};
    constexpr TextSplitter::VectorUnit units[] = {TextSplitter::VectorUnit::None,
                                                  TextSplitter::VectorUnit::Sse2,
                                                  TextSplitter::VectorUnit::Avx2};
    QRandomGenerator random(8);
    for (int round = 0; round < 3000; ++round) {
        QString text;
        const int length = int(random.bounded(300));
        for (int i = 0; i < length; ++i)
            text.append(alphabet[random.bounded(alphabet.size())]);
        const QString &delimiters = sets[round % std::size(sets)];
        const Rows expected = plainReading(text, delimiters);
        for (const TextSplitter::VectorUnit unit : units) {
            const auto table = TextSplitter(delimiters, unit).split(DecodedText{text.toUtf8(), 0});
            ASSERT_TRUE(table.ok());
            ASSERT_EQ(rowsOf(*table.value()), expected)
                << qPrintable(QString(text).replace(u'\r', u'^').replace(u'\n', u'$')) << " on '"
                << qPrintable(delimiters) << "' with vector unit " << int(unit);
        }
    }
}

TEST(TextSource, LongLinesAndManyFields)
{
    const QByteArray longField(5 * 1024 * 1024, 'x');
    const auto longLine = splitDelimitedText("a," + longField + ",b\n", QStringLiteral(","));
    ASSERT_EQ(longLine->rowCount(), 2);
    EXPECT_EQ(longLine->cell(0, 1).size(), longField.size());
    EXPECT_EQ(longLine->text(0, 2), QStringLiteral("b"));

    constexpr int fields = 1'000'000;
    QByteArray wide;
    for (int i = 0; i < fields; ++i)
        wide += QByteArray::number(i % 10) + ';';
    const auto manyFields = splitDelimitedText(wide, QStringLiteral(";"));
    ASSERT_EQ(manyFields->maxColumns(), fields);
    EXPECT_EQ(manyFields->text(0, fields - 1), QStringLiteral("9"));
    EXPECT_EQ(manyFields->text(0, 12345), QStringLiteral("5"));
}

TEST(TextSource, ReadsFilesOrSaysWhyNot)
{
    MGImport8::Test::TempFolder folder;
    const QString data = folder.write(QStringLiteral("nodes.csv"), "Name,IP\n");
    ASSERT_TRUE(readDelimitedText(data, QStringLiteral(",")).ok());
    // A pipe without a writer would block a plain read for ever.
    const QString pipe = folder.path() + QStringLiteral("/pipe");
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    for (const auto &[path, error] : {std::pair(folder.path(), QStringLiteral("Is a directory")),
                                      std::pair(pipe, QStringLiteral("Not a regular file"))}) {
        const auto refused = readDelimitedText(path, {});
        ASSERT_FALSE(refused.ok());
        EXPECT_EQ(refused.error(), error);
    }

    // Offsets into the text are 32 bits wide; a larger file is refused before it is read.
    QFile huge(folder.path() + QStringLiteral("/huge.csv"));
    if (huge.open(QIODevice::WriteOnly) && huge.resize(qint64(5) << 30)) {
        huge.close();
        const auto tooLarge = readDelimitedText(huge.fileName(), QStringLiteral(","));
        ASSERT_FALSE(tooLarge.ok());
        EXPECT_EQ(tooLarge.error(), QStringLiteral("File is larger than 4 GiB"));
    }

    QFile::setPermissions(data, {});
    if (::access(QFile::encodeName(data).constData(), R_OK) == 0)
        GTEST_SKIP() << "running with rights that ignore file permissions";
    const auto unreadable = readDelimitedText(data, QStringLiteral(","));
    ASSERT_FALSE(unreadable.ok());
    EXPECT_EQ(unreadable.error(), QStringLiteral("Permission denied"));
}

TEST(TextSource, ReadsThirdPartyInventoriesAsThePlainReading)
{
    MGIMPORT8_REQUIRE_CORPUS();
    QDirIterator files(MGImport8::Test::corpusDir() + QStringLiteral("/inventories"),
                       {QStringLiteral("*.csv"), QStringLiteral("*.txt")}, QDir::Files,
                       QDirIterator::Subdirectories);
    int count = 0;
    while (files.hasNext()) {
        const QString path = files.next();
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        for (const QString &delimiters : {QStringLiteral(","), QStringLiteral("\t;")}) {
            const auto table = readDelimitedText(path, delimiters);
            ASSERT_TRUE(table.ok()) << qPrintable(path);
            EXPECT_EQ(rowsOf(*table.value()), plainReading(text, delimiters)) << qPrintable(path);
        }
        ++count;
    }
    EXPECT_GT(count, 0);
}

// Quotes and line breaks stay as given, and enough cells move the offsets from the heap into
// memory of their own.
TEST(TextTableBuilder, KeepsCellsAsGivenAtAnySize)
{
    TextTable::Builder builder;
    constexpr int manyRows = 300'000;
    for (int row = 0; row < manyRows; ++row) {
        builder.addRow();
        builder.addCell(QByteArray::number(row));
        if (row % 3 == 0)
            builder.addCell(QStringLiteral("\"x\"\r\n\u00E9"));
    }
    const auto large = builder.finish();
    ASSERT_EQ(large->rowCount(), manyRows);
    EXPECT_EQ(large->maxColumns(), 2);
    EXPECT_EQ(large->text(0, 1), QStringLiteral("\"x\"\r\n\u00E9"));
    EXPECT_EQ(large->text(manyRows - 1, 0), QString::number(manyRows - 1));
    EXPECT_EQ(large->cellCount(manyRows - 2), 1);
    EXPECT_EQ(builder.finish()->rowCount(), 0);
}
