// Workbooks written by others (the shared corpus), read in place: what each format yields for
// dates, merged and covered cells, hidden and chart sheets, odd XML, and the files no reader here
// handles.

#include "workbooktesting.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {
namespace {

struct CorpusCase
{
    const char *file;
    int sheet;
    QStringList firstRows; // compared with the sheet's first rows
    qsizetype rowCount = -1;
};

void PrintTo(const CorpusCase &c, std::ostream *os)
{
    *os << c.file << " sheet " << c.sheet;
}

class WorkbookCorpus : public ::testing::TestWithParam<CorpusCase>
{};

TEST_P(WorkbookCorpus, YieldsTheUsedAreaAsText)
{
    MGIMPORT8_REQUIRE_CORPUS();
    const CorpusCase &c = GetParam();
    const QStringList rows = loadedRows(
        loadWorkbookSheet(spreadsheet(QString::fromUtf8(c.file)), c.sheet));
    ASSERT_GE(rows.size(), c.firstRows.size()) << rows.join(u'\n').toStdString();
    EXPECT_EQ(rows.mid(0, c.firstRows.size()), c.firstRows);
    if (c.rowCount >= 0) {
        EXPECT_EQ(rows.size(), c.rowCount) << rows.join(u'\n').toStdString();
    }
}

const QStringList threeDates = {u"2021-01-01|15"_s, u"2021-01-02|16"_s};
const QStringList mixedTypes = {u"1"_s, u"1.5"_s, u"ab"_s, u"FALSE"_s, u"test"_s, u"2016-10-20"_s};
const QStringList mergedRange = {u"A1|B1|C1||E1|F1|G1|H1"_s, QString(), u"A3|B3|C3||E3|F3|G3|H3"_s};

INSTANTIATE_TEST_SUITE_P(
    Formats, WorkbookCorpus,
    ::testing::Values(
        // Dates by number format, in both date systems; [h]:mm:ss counts elapsed hours.
        CorpusCase{"calamine/date.xlsx", 0, threeDates + QStringList{u"255:10:10|17"_s}, 3},
        CorpusCase{"calamine/date_1904.xlsx", 0, threeDates + QStringList{u"255:10:10|17"_s}, 3},
        CorpusCase{"calamine/date.ods",
                   0,
                   {u"2021-01-01|15"_s, u"2021-01-01 10:10:10|16"_s, u"10:10:10|17"_s}},
        CorpusCase{"calamine/date_iso.xlsx",
                   0,
                   {u"2021-01-01"_s, u"2021-01-01 10:10:10"_s, u"10:10:10"_s}},
        // Numbers, booleans, strings and dates side by side.
        CorpusCase{"calamine/issues.xlsx", 0, mixedTypes},
        CorpusCase{"calamine/issues.ods", 0, mixedTypes},
        // Merged areas keep their top-left cell only; covered cells are empty.
        CorpusCase{"calamine/merged_range.xlsx", 0, mergedRange, 4},
        CorpusCase{"calamine/merge_cells.xlsx",
                   0,
                   {u"Row Merge||Not Merged"_s, u"Column Merge|Chunk Merged"_s},
                   2},
        CorpusCase{"calamine/merged_cells.ods", 0, {u"A|B|C"_s, u"A|B|C"_s, u"||C"_s}, 3},
        CorpusCase{"calamine/covered.ods", 0, {u"a1"_s, u"a2"_s}, 2},
        // Hidden sheets count in the workbook's order; a chart sheet has no cells.
        CorpusCase{"calamine/any_sheets.xlsx", 0, {u"1|2"_s, u"3|4"_s, u"5|6"_s, QString()}},
        CorpusCase{"calamine/any_sheets.xlsx", 3, {}, 0},
        CorpusCase{"calamine/any_sheets.ods", 0, {u"1|2"_s, u"3|4"_s}},
        // The used area starts at its first used cell; empty rows inside it stay.
        CorpusCase{"calamine/header-row.xlsx", 0, {u"||Note 1"_s, QString()}, 8},
        CorpusCase{"calamine/temperature-in-middle.xlsx",
                   0,
                   {u"label|value"_s, u"celsius|22.2222"_s, u"fahrenheit|72"_s},
                   3},
        CorpusCase{"calamine/number_rows_repeated.ods",
                   0,
                   {u"A|B"_s, u"C|D"_s, u"C|D"_s, QString(), QString(), u"C|D"_s}},
        // XML details: other prefixes, strict packages, entities, kept white space, rich text.
        CorpusCase{"calamine/nonstandard-xml-ns-prefix.xlsx", 0, {u"a|b"_s, u"1|3"_s, u"2|4"_s}},
        CorpusCase{"calamine/strict_iso_paths.xlsx",
                   0,
                   {u"Item|Thickness|Number Off Bends|Number Off Fold Tracks|Number Off Bend "
                    "Downs|Number Off Bend Ups|Minimal Fold Length|Maximal Fold Length|Average "
                    "Fold Length|FlatSurface Area|FlatBox X|FlatBox Y|PartBox X|PartBox "
                    "Y|PartBox Z|Weight|Volume|GoldenRun"_s,
                    u"150-031260-001_B|1.5|7|4|5|2|78.46|2153.93|1516.12|1051527.39333333|2190|"
                    "496.64|2158|244|269.56|12.61832872|1577291.09|104"_s}},
        CorpusCase{"calamine/encoded_entities.xlsx", 0, {u"&"_s}},
        CorpusCase{"calamine/whitespace_trim.xlsx",
                   0,
                   {u"  trimmed value  |\t\n value with tabs \n| \t\n|clean text"_s}},
        CorpusCase{"calamine/special_cells.ods",
                   0,
                   {u"Split\nLine"_s, u"Value  With spaces"_s, u"Value   With 3 spaces"_s}},
        CorpusCase{"calamine/richtext_issue.ods", 0, {u"abc"_s}, 1},
        CorpusCase{"calamine/errors.xlsx", 0, {u"#DIV/0!"_s, u"#NAME?"_s, u"#VALUE!"_s}},
        CorpusCase{"calamine/vba.xlsm", 0, {}, 0}));

// Every .xls of the corpus, sheet by sheet, as an independent reader (xlrd) reads it: strings
// exact, numbers by value in the General format, dates by their number format, booleans as
// TRUE/FALSE, formulas' cached numbers, texts, booleans and errors; Excel 4 and Excel 5 files;
// hidden, very hidden and chart sheets in the workbook's order.
INSTANTIATE_TEST_SUITE_P(
    Xls, WorkbookCorpus,
    ::testing::Values(
        CorpusCase{"calamine/any_sheets.xls",
                   0,
                   {u"1|2"_s, u"3|4"_s, u"5|6"_s, QString(),
                    u"This workbook contains 4 sheets: Visible, Hidden, VeryHidden and Chart"_s},
                   5},
        CorpusCase{"calamine/any_sheets.xls", 1, {}, 0},
        CorpusCase{"calamine/any_sheets.xls", 2, {}, 0},
        CorpusCase{"calamine/any_sheets.xls", 3, {}, 0},
        CorpusCase{"calamine/biff5_write.xls",
                   0,
                   {u"1|2|3"_s, u"TRUE|FALSE||sheetjs"_s, u"foo|bar|2014-02-19|0.3"_s,
                    u"baz||qux"_s},
                   4},
        CorpusCase{"calamine/date.xls",
                   0,
                   {u"2021-01-01|15"_s, u"2021-01-02|16"_s, u"255:10:10|17"_s},
                   3},
        CorpusCase{"calamine/date_1904.xls",
                   0,
                   {u"2021-01-01|15"_s, u"2021-01-02|16"_s, u"255:10:10|17"_s},
                   3},
        CorpusCase{"calamine/empty-string.xls", 0, {u"FALSE"_s}, 1},
        CorpusCase{"calamine/formula-date-format.xls", 0, {u"2017-02-27"_s, u"2017-02-28"_s}, 2},
        CorpusCase{"calamine/issues.xls", 0, {u"1"_s, u"1.5"_s, u"ab"_s, u"FALSE"_s, u"test"_s}, 6},
        CorpusCase{"calamine/issues.xls", 1, {u"0"_s}, 1},
        CorpusCase{"calamine/issues.xls", 2, {u"1|a"_s, u"2|b"_s, u"3|c"_s}, 3},
        CorpusCase{"calamine/issues.xls", 3, {u"0.5"_s}, 1},
        CorpusCase{"calamine/issues.xls", 4, {u"1"_s, u"2"_s, u"ab"_s, u"FALSE"_s}, 4},
        CorpusCase{"calamine/merge_cells.xls",
                   0,
                   {u"Row Merge||Not Merged"_s, u"Column Merge|Chunk Merged"_s},
                   2},
        CorpusCase{"calamine/merged_range.xls",
                   0,
                   {u"A1|B1|C1||E1|F1|G1|H1"_s, QString(), u"A3|B3|C3||E3|F3|G3|H3"_s,
                    u"A4|B4|C4||E4|F4|G4|H4"_s},
                   4},
        CorpusCase{"calamine/merged_range.xls",
                   1,
                   {u"A1|B1|C1||E1|F1"_s, QString(), u"|B3|C3||E3"_s, u"|B4|||E4"_s},
                   4},
        CorpusCase{"calamine/sheet_name_parsing.xls",
                   0,
                   {u"Titel|Orginaltitel|År|Regissör|Ditt betyg|Datum|IMDB#"_s},
                   1},
        CorpusCase{"calamine/xls_formula.xls", 0, {u"10"_s, u"20"_s, u"110"_s, u"65"_s}, 4},
        CorpusCase{"calamine/xls_formula.xls", 1, {u"55"_s}, 1},
        CorpusCase{"xlrd/Formate.xls",
                   0,
                   {u"Huber|1907-07-03"_s, u"Äcker|2005-02-23"_s, u"Öcker|1988-05-03"_s,
                    u"Morgen|06:34:00"_s, u"Mittag|12:56:00"_s},
                   10},
        CorpusCase{"xlrd/Formate.xls", 1, {u"-100"_s, QString(), u"||MERGED CELLS"_s}, 3},
        CorpusCase{"xlrd/Formate.xls", 2, {u"100"_s, u"200"_s, u"300"_s, u"400"_s, u"500"_s}, 12},
        CorpusCase{"xlrd/Formate.xls", 3, {u"RED|RED"_s, u"GREEN|GREEN"_s, u"BLUE|BLUE"_s}, 3},
        CorpusCase{"xlrd/biff4_no_format_no_window2.xls",
                   0,
                   {u"ID|TOTAL|MAIN|SUB"_s, u"A|DOG & CAT PRODUCTS|Dog & Cat Product"_s,
                    u"B|BIRD PRODUCTS|Bird Product"_s,
                    u"C|SMALL ANIMAL PRODUCTS|Small Animal Product"_s, u"D|GIFT VOUCHER"_s},
                   27},
        CorpusCase{"xlrd/formula_test_sjmachin.xls",
                   0,
                   {u"Description|Data"_s, u"Non-latin1 text|МОСКВА Москва"_s,
                    u"formula number|0.142857142857143"_s, u"formula text|ABCDEF"_s,
                    u"formula zero-length text"_s},
                   8},
        CorpusCase{"xlrd/formula_test_sjmachin.xls", 1, {}, 0},
        CorpusCase{"xlrd/formula_test_sjmachin.xls", 2, {}, 0},
        CorpusCase{"xlrd/issue20.xls",
                   0,
                   {u"aasa"_s, u"asasa"_s, u"asasa"_s, u"asasa"_s, u"asasa"_s},
                   12},
        CorpusCase{"xlrd/issue20.xls", 1, {}, 0}, CorpusCase{"xlrd/issue20.xls", 2, {}, 0},
        CorpusCase{"xlrd/namesdemo.xls", 0, {u"42"_s}, 1},
        CorpusCase{"xlrd/namesdemo.xls", 1, {}, 0},
        CorpusCase{"xlrd/namesdemo.xls",
                   2,
                   {u"|Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec|Year Tot"_s, u"Sales"_s,
                    u"Expenses"_s, u"Profit||||||||||||4321|9876"_s, QString()},
                   27},
        CorpusCase{"xlrd/namesdemo.xls", 3, {u"42"_s}, 1},
        CorpusCase{"xlrd/profiles.xls",
                   0,
                   {u"PROFIL|a|b|c|d|e|f|g|h|i|j|k|l"_s,
                    u"P8.2|100|101|102|103|104|105|106|107|108|109|110|111"_s,
                    u"P8.3|112|113|114|115|116|117|118|119|120|121|122|123"_s,
                    u"P8.4|124|125|126|127|128|129|130|131|132|133|134|135"_s,
                    u"P8.5|136|137|138|139|140|141|142|143|144|145|146|147"_s},
                   15},
        CorpusCase{"xlrd/profiles.xls",
                   1,
                   {u"PROFIL|i|d"_s, u"P8.2|1|100"_s, u"P8.3|2|101"_s, u"P8.4|3|102"_s,
                    u"P8.5|4|103"_s},
                   15},
        CorpusCase{
            "xlrd/profiles.xls",
            2,
            {u"|a|b|c|d|e|f|g|h|i|j|k|l"_s,
             u"P8.2|0|0.200009999999992|1.10004000000001|2.42514|3.34999999999999|3.59999999999999|3.90000000000001|4.90000000000001|8.15000000000001|12.4|13.3|13.5"_s},
            15},
        CorpusCase{"xlrd/profiles.xls",
                   3,
                   {u"|i|d"_s, u"P8.2|265.21206|266.80039"_s, u"P8.3|265.19956|266.78789"_s,
                    u"P8.4|265.18706|266.77539"_s, u"P8.5|265.17456|266.76289"_s},
                   15},
        CorpusCase{
            "xlrd/profiles.xls",
            4,
            {u"PROFIL|Quergefälle|i1|h3|h2|h1|a1|a2|b1|c1|f1|g1|l1|l2|j1|k1|j3|j4|g3|g4|d1|c3|e1|f3|f2|g2|b2|c2|j2|k2"_s,
             u"P8.2|0.025|265.21206|265.13081|264.99081|263.99081|264.11331|265.09831|265.10830975|265.085809|265.02331|265.01581|264.20581|265.19081|265.17831|265.20081|265.31831|265.46231|265.15581|265.30881|266.80039|266.8335175|266.7772685|266.7835185|266.9835185|266.9835185|270.65|270.65|270.65|270.65"_s},
            15},
        CorpusCase{"xlrd/ragged.xls", 0, {u"a|b|c"_s, u"d|e"_s, u"f"_s, u"g|h|I|j"_s, u"k|||l"_s}, 5},
        CorpusCase{"xlrd/ragged.xls", 1, {}, 0}, CorpusCase{"xlrd/ragged.xls", 2, {}, 0},
        CorpusCase{"xlrd/xf_class.xls",
                   0,
                   {u"RED|RED"_s, u"GREEN|GREEN"_s, u"BLUE|BLUE"_s, u"LEFT|CENTER|RIGHT"_s,
                    u"TOP|MIDDLE|BOTTOM"_s},
                   10},
        CorpusCase{"xlrd/xf_class.xls", 1, {u"MERGED"_s}, 1},
        CorpusCase{"xlrd/xf_class.xls", 2, {u"RED|RED"_s, u"GREEN|GREEN"_s, u"BLUE|BLUE"_s}, 3}));

struct RefusedCase
{
    const char *file;
    int sheet;
    int number;
};

void PrintTo(const RefusedCase &c, std::ostream *os)
{
    *os << c.file << " sheet " << c.sheet;
}

class WorkbookCorpusRefused : public ::testing::TestWithParam<RefusedCase>
{};

TEST_P(WorkbookCorpusRefused, SaysWhyWithItsNumber)
{
    MGIMPORT8_REQUIRE_CORPUS();
    const RefusedCase &c = GetParam();
    const SheetLoad load = loadWorkbookSheet(spreadsheet(QString::fromUtf8(c.file)), c.sheet);
    ASSERT_TRUE(load.error.has_value());
    EXPECT_EQ(load.error->number, c.number) << load.error->description.toStdString();
    EXPECT_FALSE(load.error->description.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Formats, WorkbookCorpusRefused,
    ::testing::Values(
        // No reader here: encrypted packages, binary workbooks, not a workbook.
        RefusedCase{"calamine/pass_protected.xlsx", 0, WorkbookErrorNumber::ReaderMissing},
        RefusedCase{"calamine/pass_protected.xlsb", 0, WorkbookErrorNumber::ReaderMissing},
        RefusedCase{"calamine/pass_protected.ods", 0, WorkbookErrorNumber::ReaderMissing},
        RefusedCase{"calamine/issues.xlsb", 0, WorkbookErrorNumber::ReaderMissing},
        RefusedCase{"xlrd/sample.xlsb", 0, WorkbookErrorNumber::ReaderMissing},
        RefusedCase{"calamine/too_small.xls", 0, WorkbookErrorNumber::ReaderMissing},
        // Positions past the last sheet, in every format.
        RefusedCase{"calamine/any_sheets.xlsx", 4, WorkbookErrorNumber::SubscriptOutOfRange},
        RefusedCase{"calamine/any_sheets.ods", 4, WorkbookErrorNumber::SubscriptOutOfRange},
        RefusedCase{"calamine/any_sheets.xls", 4, WorkbookErrorNumber::SubscriptOutOfRange},
        // A sheet whose repeated cells would fill the whole sheet area.
        RefusedCase{"calamine/issue_594_dos.ods", 0, WorkbookErrorNumber::GridTooLarge}));

} // namespace
} // namespace MGImport8::Test
