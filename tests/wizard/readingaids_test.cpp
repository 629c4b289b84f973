// The user's aids on the mapping, delimiter and import panels, below the window:
// - delimiter detection picks the most consistent split, breaks ties by more fields, reads only
//   the first lines, and gives nothing for files no delimiter splits;
// - matching names from the first line ignores blanks and empty target names and skips the tick
//   column;
// - a skipped row's line keeps the source's delimited form with the reason last, quoting what
//   would split.
#include "wizard/delimiterdetect.h"
#include "wizard/gridrules.h"
#include "wizard/headermatch.h"
#include "wizard/importgrid.h"
#include "wizard/skippedrows.h"
#include "wizard/table/texttable.h"

#include <gtest/gtest.h>

#include <optional>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

constexpr int Tab = 0;
constexpr int Semicolon = 1;
constexpr int Comma = 2;
constexpr int Space = 3;

struct DetectCase
{
    const char *name;
    QByteArray text;
    std::optional<int> box;
};

QByteArray repeated(const QByteArray &line, int count)
{
    QByteArray text;
    for (int i = 0; i < count; ++i)
        text += line;
    return text;
}

class DelimiterDetectTest : public ::testing::TestWithParam<DetectCase>
{};

TEST_P(DelimiterDetectTest, PicksTheMostConsistentSplit)
{
    EXPECT_EQ(DelimiterDetect::bestBox(GetParam().text), GetParam().box);
}

INSTANTIATE_TEST_SUITE_P(
    Files, DelimiterDetectTest,
    ::testing::Values(
        DetectCase{"comma_csv", "Name,IP,Site\nsw1,10.0.0.1,Oslo\nsw2,10.0.0.2,Bergen\n", Comma},
        DetectCase{"semicolon_with_commas_in_fields",
                   "name;ip;site\na;10.0.0.1;Oslo, harbour\nb;10.0.0.2;Bergen\n"
                   "c;10.0.0.3;Alta, east\n",
                   Semicolon},
        DetectCase{"tab", "a\tb c\td\ne f\tg\th\n", Tab},
        DetectCase{"space", "a b c\nd e f\ng h i\n", Space},
        DetectCase{"crlf", "a;b\r\nc;d\r\n", Semicolon},
        DetectCase{"tie_goes_to_more_fields", "a;b,c;d\ne;f,g;h\n", Semicolon},
        DetectCase{"consistency_beats_field_count", "a,b,c;d\ne,f;g\nh,i;j\n", Semicolon},
        DetectCase{"trailing_delimiter_adds_no_field", "a,b,\nc,d,\ne,f\nx;y;z\nu;v;w\n", Comma},
        DetectCase{"only_the_first_lines_count",
                   repeated("a;b\n", DelimiterDetect::SampleLines) + repeated("a,b,c\n", 500),
                   Semicolon},
        DetectCase{"one_column", "alpha\nbeta\n", std::nullopt},
        DetectCase{"empty", "", std::nullopt},
        DetectCase{"blank_lines_only", "\n\r\n\n", std::nullopt}),
    [](const ::testing::TestParamInfo<DetectCase> &param) { return std::string(param.param.name); });

TEST(DelimiterDetectFile, UnreadableFileGivesNothingAndBoxesAreTheOneFound)
{
    EXPECT_EQ(DelimiterDetect::bestBoxForFile(u"/nonexistent/devices.csv"_s), std::nullopt);
    const auto boxes = DelimiterDetect::boxesFor(Semicolon);
    EXPECT_EQ(std::count(boxes.begin(), boxes.end(), true), 1);
    EXPECT_TRUE(boxes[Semicolon]);
}

/// A grid as the mapping panel holds it: the mapping row over the file's lines.
void fillMapped(ImportGrid &grid, const QList<QStringList> &lines)
{
    TextTable::Builder builder;
    for (const QStringList &line : lines) {
        builder.addRow();
        for (const QString &field : line)
            builder.addCell(field);
    }
    grid.setTable(builder.finish());
    GridRules::insertMappingRow(grid);
}

TEST(HeaderMatch, SkipsBlanksEmptyNamesTheTickColumnAndEmptyGrids)
{
    ImportGrid grid;
    fillMapped(grid, {{u" name "_s, u""_s, u"IP"_s}, {u"sw1"_s, u""_s, u"10.0.0.1"_s}});
    GridRules::addSelectionColumn(grid);
    const QList<HeaderMatch::Binding> bindings = HeaderMatch::fromFirstLine(grid, u"Name,,IP"_s);
    ASSERT_EQ(bindings.size(), 2);
    EXPECT_EQ(bindings.at(0).column, 1);
    EXPECT_EQ(bindings.at(0).target, u"Name"_s);
    EXPECT_EQ(bindings.at(1).column, 3);

    EXPECT_TRUE(HeaderMatch::fromFirstLine(ImportGrid(), u"Name"_s).isEmpty());
    ImportGrid empty;
    fillMapped(empty, {});
    EXPECT_TRUE(HeaderMatch::fromFirstLine(empty, u"Name"_s).isEmpty());
}

TEST(SkippedRows, LinesKeepTheSourceFormAndQuoteWhatWouldSplit)
{
    ImportGrid grid;
    fillMapped(grid, {{u"sw1"_s, u"10.0.0.1"_s, u"Oslo; harbour"_s},
                      {u"sw \"2\""_s, u"10.0.0.2"_s, u""_s}});
    EXPECT_EQ(SkippedRows::line(grid, {1, u"Duplicate"_s}, u';'),
              "sw1;10.0.0.1;\"Oslo; harbour\";Duplicate");
    EXPECT_EQ(SkippedRows::line(grid, {2, u"Bad, very bad"_s}, u','),
              "\"sw \"\"2\"\"\",10.0.0.2,,\"Bad, very bad\"");
    EXPECT_EQ(SkippedRows::line(grid, {9, u"gone"_s}, u','), "gone") << "a row past the grid";
    EXPECT_EQ(SkippedRows::delimiterOf(QString()), u',');
    EXPECT_EQ(SkippedRows::delimiterOf(u"\t;"_s), u'\t');
}

} // namespace

} // namespace MGImport8::Test
