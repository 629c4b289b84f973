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
    const char16_t *firstRows; // the sheet's first rows, separated by ';'

    qsizetype rowCount = -1;
};

// The sheet's first rows and its row count.
void expectSheet(const CorpusCase &c)
{
    const QStringList rows = loadedRows(
        loadWorkbookSheet(spreadsheet(QString::fromUtf8(c.file)), c.sheet));
    const QStringList first = *c.firstRows ? QString::fromUtf16(c.firstRows).split(u';')
                                           : QStringList();
    EXPECT_EQ(rows.mid(0, first.size()), first) << c.file << " sheet " << c.sheet;
    EXPECT_EQ(c.rowCount < 0 ? rows.size() : c.rowCount, rows.size())
        << c.file << " sheet " << c.sheet << ":\n"
        << rows.join(u'\n').toStdString();
}

const CorpusCase formats[] = {
    // Dates by number format, in both date systems; [h]:mm:ss counts elapsed hours.
    {"calamine/date.xlsx", 0, u"2021-01-01|15;2021-01-02|16;255:10:10|17", 3},
    {"calamine/date_1904.xlsx", 0, u"2021-01-01|15;2021-01-02|16;255:10:10|17", 3},
    {"calamine/date.ods", 0, u"2021-01-01|15;2021-01-01 10:10:10|16;10:10:10|17"},
    {"calamine/date_iso.xlsx", 0, u"2021-01-01;2021-01-01 10:10:10;10:10:10"},
    // Numbers, booleans, strings and dates side by side.
    {"calamine/issues.xlsx", 0, u"1;1.5;ab;FALSE;test;2016-10-20"},
    {"calamine/issues.ods", 0, u"1;1.5;ab;FALSE;test;2016-10-20"},
    // Merged areas keep their top-left cell only; covered cells are empty.
    {"calamine/merged_range.xlsx", 0, u"A1|B1|C1||E1|F1|G1|H1;;A3|B3|C3||E3|F3|G3|H3", 4},
    {"calamine/merge_cells.xlsx", 0, u"Row Merge||Not Merged;Column Merge|Chunk Merged", 2},
    {"calamine/merged_cells.ods", 0, u"A|B|C;A|B|C;||C", 3},
    {"calamine/covered.ods", 0, u"a1;a2", 2},
    // Hidden sheets count in the workbook's order; a chart sheet has no cells.
    {"calamine/any_sheets.xlsx", 0, u"1|2;3|4;5|6;"},
    {"calamine/any_sheets.xlsx", 3, u"", 0},
    {"calamine/any_sheets.ods", 0, u"1|2;3|4"},
    // The used area starts at its first used cell; empty rows inside it stay.
    {"calamine/header-row.xlsx", 0, u"||Note 1;", 8},
    {"calamine/temperature-in-middle.xlsx", 0, u"label|value;celsius|22.2222;fahrenheit|72", 3},
    {"calamine/number_rows_repeated.ods", 0, u"A|B;C|D;C|D;;;C|D"},
    // XML details: other prefixes, strict packages, entities, kept white space, rich text.
    {"calamine/nonstandard-xml-ns-prefix.xlsx", 0, u"a|b;1|3;2|4"},
    {"calamine/strict_iso_paths.xlsx", 0, u"", 76},
    {"calamine/encoded_entities.xlsx", 0, u"&"},
    {"calamine/whitespace_trim.xlsx", 0,
     u"  trimmed value  |\t\n value with tabs \n| \t\n|clean text"},
    {"calamine/special_cells.ods", 0, u"Split\nLine;Value  With spaces;Value   With 3 spaces"},
    {"calamine/richtext_issue.ods", 0, u"abc", 1},
    {"calamine/errors.xlsx", 0, u"#DIV/0!;#NAME?;#VALUE!"},
    {"calamine/vba.xlsm", 0, u"", 0}};

TEST(WorkbookCorpus, FormatsYieldTheUsedAreaAsText)
{
    MGIMPORT8_REQUIRE_CORPUS();
    for (const CorpusCase &c : formats)
        expectSheet(c);
}

// Every .xls of the corpus, sheet by sheet, as an independent reader (xlrd) reads it: strings
// exact, numbers by value in the General format, dates by their number format, booleans as
// TRUE/FALSE, formulas' cached numbers, texts, booleans and errors; Excel 4 and Excel 5 files;
// hidden, very hidden and chart sheets in the workbook's order.
const CorpusCase xls[] = {
    {"calamine/any_sheets.xls", 0,
     u"1|2;3|4;5|6;;This workbook contains 4 sheets: Visible, Hidden, VeryHidden and Chart", 5},
    {"calamine/any_sheets.xls", 1, u"", 0},
    {"calamine/any_sheets.xls", 2, u"", 0},
    {"calamine/any_sheets.xls", 3, u"", 0},
    {"calamine/biff5_write.xls", 0, u"1|2|3;TRUE|FALSE||sheetjs;foo|bar|2014-02-19|0.3;baz||qux", 4},
    {"calamine/date.xls", 0, u"2021-01-01|15;2021-01-02|16;255:10:10|17", 3},
    {"calamine/date_1904.xls", 0, u"2021-01-01|15;2021-01-02|16;255:10:10|17", 3},
    {"calamine/empty-string.xls", 0, u"FALSE", 1},
    {"calamine/formula-date-format.xls", 0, u"2017-02-27;2017-02-28", 2},
    {"calamine/issues.xls", 0, u"1;1.5;ab;FALSE;test", 6},
    {"calamine/issues.xls", 2, u"1|a;2|b;3|c", 3},
    {"calamine/merge_cells.xls", 0, u"Row Merge||Not Merged;Column Merge|Chunk Merged", 2},
    {"calamine/merged_range.xls", 0,
     u"A1|B1|C1||E1|F1|G1|H1;;A3|B3|C3||E3|F3|G3|H3;A4|B4|C4||E4|F4|G4|H4", 4},
    {"calamine/sheet_name_parsing.xls", 0, u"Titel|Orginaltitel|År|Regissör|Ditt betyg|Datum|IMDB#",
     1},
    {"calamine/xls_formula.xls", 0, u"10;20;110;65", 4},
    {"xlrd/Formate.xls", 0,
     u"Huber|1907-07-03;Äcker|2005-02-23;Öcker|1988-05-03;Morgen|06:34:00;Mittag|12:56:00", 10},
    {"xlrd/Formate.xls", 1, u"-100;;||MERGED CELLS", 3},
    {"xlrd/biff4_no_format_no_window2.xls", 0,
     u"ID|TOTAL|MAIN|SUB;A|DOG & CAT PRODUCTS|Dog & Cat Product;B|BIRD PRODUCTS|Bird "
     u"Product;C|SMALL ANIMAL PRODUCTS|Small Animal Product;D|GIFT VOUCHER",
     27},
    {"xlrd/formula_test_sjmachin.xls", 0,
     u"Description|Data;Non-latin1 text|МОСКВА Москва;formula number|0.142857142857143;formula "
     u"text|ABCDEF;formula zero-length text",
     8},
    {"xlrd/issue20.xls", 0, u"aasa;asasa;asasa;asasa;asasa", 12},
    {"xlrd/namesdemo.xls", 0, u"42", 1},
    {"xlrd/namesdemo.xls", 2,
     u"|Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec|Year "
     u"Tot;Sales;Expenses;Profit||||||||||||4321|9876;",
     27},
    {"xlrd/profiles.xls", 1, u"PROFIL|i|d;P8.2|1|100;P8.3|2|101;P8.4|3|102;P8.5|4|103", 15},
    {"xlrd/profiles.xls", 2,
     u"|a|b|c|d|e|f|g|h|i|j|k|l;P8.2|0|0.200009999999992|1.10004000000001|2.42514|3.34999999999999|"
     u"3.59999999999999|3.90000000000001|4.90000000000001|8.15000000000001|12.4|13.3|13.5",
     15},
    {"xlrd/ragged.xls", 0, u"a|b|c;d|e;f;g|h|I|j;k|||l", 5},
    {"xlrd/xf_class.xls", 0, u"RED|RED;GREEN|GREEN;BLUE|BLUE;LEFT|CENTER|RIGHT;TOP|MIDDLE|BOTTOM",
     10},
    {"xlrd/xf_class.xls", 1, u"MERGED", 1}};

TEST(WorkbookCorpus, XlsYieldsWhatAnIndependentReaderReads)
{
    MGIMPORT8_REQUIRE_CORPUS();
    for (const CorpusCase &c : xls)
        expectSheet(c);
}

TEST(WorkbookCorpus, RefusedFilesSayWhyWithTheirNumber)
{
    MGIMPORT8_REQUIRE_CORPUS();
    const struct
    {
        const char *file;
        int sheet;
        int number;
    } cases[] = {
        // No reader here: encrypted packages, binary workbooks, not a workbook.
        {"calamine/pass_protected.xlsx", 0, WorkbookErrorNumber::ReaderMissing},
        {"calamine/pass_protected.xlsb", 0, WorkbookErrorNumber::ReaderMissing},
        {"calamine/pass_protected.ods", 0, WorkbookErrorNumber::ReaderMissing},
        {"calamine/issues.xlsb", 0, WorkbookErrorNumber::ReaderMissing},
        {"xlrd/sample.xlsb", 0, WorkbookErrorNumber::ReaderMissing},
        {"calamine/too_small.xls", 0, WorkbookErrorNumber::ReaderMissing},
        // Positions past the last sheet, in every format.
        {"calamine/any_sheets.xlsx", 4, WorkbookErrorNumber::SubscriptOutOfRange},
        {"calamine/any_sheets.ods", 4, WorkbookErrorNumber::SubscriptOutOfRange},
        {"calamine/any_sheets.xls", 4, WorkbookErrorNumber::SubscriptOutOfRange},
        // A sheet whose repeated cells would fill the whole sheet area.
        {"calamine/issue_594_dos.ods", 0, WorkbookErrorNumber::GridTooLarge},
    };
    for (const auto &c : cases) {
        const SheetLoad load = loadWorkbookSheet(spreadsheet(QString::fromUtf8(c.file)), c.sheet);
        ASSERT_TRUE(load.error.has_value()) << c.file;
        EXPECT_EQ(load.error->number, c.number)
            << c.file << ": " << load.error->description.toStdString();
        EXPECT_FALSE(load.error->description.isEmpty());
    }
}

} // namespace
} // namespace MGImport8::Test
