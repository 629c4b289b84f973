// The user's aids on the mapping, delimiter and import panels, below the window (a plain header
// line, detection on the delimiter panel and a saved list of skipped rows are walked there):
// - delimiter detection picks the most consistent split, breaks ties by more fields, reads only
//   the first lines, and gives nothing for files no delimiter splits;
// - matching names from the first line ignores blanks and empty target names and skips the tick
//   column;
// - a skipped row's line doubles the quotes of a field it quotes, and a row past the grid is its
//   reason alone.
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

TEST(DelimiterDetect, PicksTheMostConsistentSplit)
{
    constexpr int Tab = 0, Semicolon = 1, Comma = 2;
    const struct
    {
        const char *name;
        QByteArray text;
        std::optional<int> box;
    } cases[] = {
        {"tab_and_crlf", "a\tb c\td\r\ne f\tg\th\r\n", Tab},
        {"tie_goes_to_more_fields", "a;b,c;d\ne;f,g;h\n", Semicolon},
        {"consistency_beats_field_count", "a,b,c;d\ne,f;g\nh,i;j\n", Semicolon},
        {"trailing_delimiter_adds_no_field", "a,b,\nc,d,\ne,f\nx;y;z\nu;v;w\n", Comma},
        {"only_the_first_lines_count",
         QByteArray("a;b\n").repeated(DelimiterDetect::SampleLines)
             + QByteArray("a,b,c\n").repeated(500),
         Semicolon},
        {"one_column", "alpha\nbeta\n", std::nullopt},
    };
    for (const auto &c : cases)
        EXPECT_EQ(DelimiterDetect::bestBox(c.text), c.box) << c.name;
    EXPECT_EQ(DelimiterDetect::bestBoxForFile(u"/nonexistent/devices.csv"_s), std::nullopt);
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
    ImportGrid empty;
    fillMapped(empty, {});
    EXPECT_TRUE(HeaderMatch::fromFirstLine(empty, u"Name"_s).isEmpty());
}

TEST(SkippedRows, LinesDoubleTheQuotesOfWhatTheyQuote)
{
    ImportGrid grid;
    fillMapped(grid, {{u"sw \"2\""_s, u"10.0.0.2"_s, u""_s}});
    EXPECT_EQ(SkippedRows::line(grid, {1, u"Bad; very bad"_s}, u';'),
              "\"sw \"\"2\"\"\";10.0.0.2;;\"Bad; very bad\"");
    EXPECT_EQ(SkippedRows::line(grid, {9, u"gone"_s}, u','), "gone") << "a row past the grid";
}

} // namespace

} // namespace MGImport8::Test
