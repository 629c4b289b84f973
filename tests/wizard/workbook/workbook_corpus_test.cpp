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
        CorpusCase{"calamine/date.xls", 0, threeDates + QStringList{u"15:10:10|17"_s}, 3},
        CorpusCase{"calamine/date_1904.xls", 0, threeDates, 3},
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
        CorpusCase{"calamine/merged_range.xls", 0, mergedRange, 4},
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
        CorpusCase{"calamine/any_sheets.xls", 0, {u"1|2"_s, u"3|4"_s}},
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
        CorpusCase{"calamine/vba.xlsm", 0, {}, 0},
        CorpusCase{"xlrd/profiles.xls",
                   0,
                   {u"PROFIL|a|b|c|d|e|f|g|h|i|j|k|l"_s,
                    u"P8.2|100|101|102|103|104|105|106|107|108|109|110|111"_s}},
        CorpusCase{"xlrd/formula_test_sjmachin.xls",
                   0,
                   {u"Description|Data"_s, u"Non-latin1 text|МОСКВА Москва"_s}},
        CorpusCase{"xlrd/ragged.xls", 0, {u"a|b|c"_s, u"d|e"_s, u"f"_s, u"g|h|I|j"_s, u"k|||l"_s}, 5},
        CorpusCase{"calamine/sheet_name_parsing.xls",
                   0,
                   {u"Titel|Orginaltitel|År|Regissör|Ditt betyg|Datum|IMDB#"_s}}));

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
        // No reader here: encrypted packages, binary workbooks, Excel 2-4, not a workbook.
        RefusedCase{"calamine/pass_protected.xlsx", 0, WorkbookErrorNumber::ReaderMissing},
        RefusedCase{"calamine/pass_protected.xlsb", 0, WorkbookErrorNumber::ReaderMissing},
        RefusedCase{"calamine/pass_protected.ods", 0, WorkbookErrorNumber::ReaderMissing},
        RefusedCase{"calamine/issues.xlsb", 0, WorkbookErrorNumber::ReaderMissing},
        RefusedCase{"xlrd/sample.xlsb", 0, WorkbookErrorNumber::ReaderMissing},
        RefusedCase{"xlrd/biff4_no_format_no_window2.xls", 0, WorkbookErrorNumber::ReaderMissing},
        RefusedCase{"calamine/too_small.xls", 0, WorkbookErrorNumber::ReaderMissing},
        // Positions past the last sheet, in every format.
        RefusedCase{"calamine/any_sheets.xlsx", 4, WorkbookErrorNumber::SubscriptOutOfRange},
        RefusedCase{"calamine/any_sheets.ods", 4, WorkbookErrorNumber::SubscriptOutOfRange},
        RefusedCase{"calamine/any_sheets.xls", 4, WorkbookErrorNumber::SubscriptOutOfRange},
        // A sheet whose repeated cells would fill the whole sheet area.
        RefusedCase{"calamine/issue_594_dos.ods", 0, WorkbookErrorNumber::GridTooLarge},
        // BIFF5 records that libfreexl rejects.
        RefusedCase{"calamine/biff5_write.xls", 0, WorkbookErrorNumber::InvalidFileFormat}));

} // namespace
} // namespace MGImport8::Test
