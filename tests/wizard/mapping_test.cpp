// Column mapping: the IP column's threshold and tie rule, detection switched off by an IP column
// outside the targets, header bindings (case, list spelling, the IP column not bound twice), the
// order of the two validation passes, the cell rules for editing and colours, and the byte-level
// address test agreeing with the full one.
#include "wizardfixture.h"

#include "common/ipaddress.h"
#include "wizard/cellscanner.h"

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

using Mapping = WizardFixture;

const QString ignore = u"<ignore>"_s;

// `rows` data lines "n<i>,<b>,<c>" where the first `inB` lines carry an address in column b and
// the first `inC` lines one in column c. No line feed after the last line: it would add a row.
QByteArray addressLines(int rows, int inB, int inC)
{
    QByteArrayList lines;
    for (int i = 0; i < rows; ++i) {
        lines.append("n" + QByteArray::number(i) + ','
                     + (i < inB ? "10.0.0." + QByteArray::number(i) : QByteArray("-")) + ','
                     + (i < inC ? "10.9.0." + QByteArray::number(i) : QByteArray("-")));
    }
    return lines.join('\n');
}

TEST_F(Mapping, IPColumnNeedsMoreThanThreeQuartersOfTheDataRowsLessOne)
{
    struct Case
    {
        const char *name;
        int rows, inB, inC;
        QStringList expected;
        QByteArray tail = {};
    };
    const Case cases[] = {
        // 9 data rows: the threshold is 6.
        {"seven_of_nine", 9, 7, 0, {ignore, u"IP"_s, ignore}},
        {"six_of_nine", 9, 6, 0, {ignore, ignore, ignore}},
        {"tie_goes_right", 9, 8, 8, {ignore, ignore, u"IP"_s}},
        {"more_on_the_left", 9, 9, 8, {ignore, u"IP"_s, ignore}},
        // One data row: the threshold is 0, one address is enough.
        {"single_row", 1, 1, 0, {ignore, u"IP"_s, ignore}},
        // A line feed after the last line is one more (empty) data row: 6 of 8 pass, 6 of 9 not.
        {"eight_rows", 8, 6, 0, {ignore, u"IP"_s, ignore}},
        {"trailing_line_feed_counts", 8, 6, 0, {ignore, ignore, ignore}, "\n"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        restart();
        openTextToMapping(addressLines(c.rows, c.inB, c.inC) + c.tail);
        EXPECT_EQ(rowTexts(0), c.expected);
    }
}

TEST_F(Mapping, IPColumnOutsideTheTargetsSwitchesDetectionOff)
{
    engine.setIPColumn(u"AgentIP"_s);
    restart();
    openTextToMapping(addressLines(4, 4, 0));
    EXPECT_EQ(rowTexts(0), (QStringList{ignore, ignore, ignore}));
}

TEST_F(Mapping, HeaderRowBindsByNameAndNeverBindsTheIPColumnTwice)
{
    openTextToMapping("HEADER:,name,ip,LOCATION,IP\n"
                      "x,a,q,here,10.0.0.1\n"
                      "x,b,r,there,10.0.0.2");
    // The last column holds addresses, so "IP" is taken by content and no header binds it again.
    EXPECT_EQ(rowTexts(0), (QStringList{ignore, u"Name"_s, ignore, u"Location"_s, u"IP"_s}));
    EXPECT_EQ(grid().rowCount(), 4); // the header line stays a data row
}

TEST_F(Mapping, EveryRequiredColumnMustBePresentBeforeDoublesAreReported)
{
    engine.setRequiredColumns(u"IP,,Name"_s);
    openTextToMapping("a,b,c");
    wizard->afterEdit(0, 0, u"IP"_s);
    wizard->afterEdit(0, 1, u"ip"_s);
    wizard->next();
    EXPECT_TRUE(takeExclamation().startsWith(u"You must assign 'Name' to a column first."_s));

    wizard->afterEdit(0, 2, u"NAME"_s);
    wizard->next();
    EXPECT_EQ(takeExclamation(), u"'IP' has been assigned to more than one column."_s);
    EXPECT_EQ(panel(), Panel::MapPanel);

    wizard->afterEdit(0, 1, ignore);
    wizard->next();
    EXPECT_EQ(panel(), Panel::PreviewPanel);
    EXPECT_TRUE(view.messages().isEmpty());
}

TEST_F(Mapping, OnlyMappingCellsAreEditedAndTheirColourFollowsTheBinding)
{
    openTextToMapping("a,b\nc,d");
    EXPECT_FALSE(wizard->beforeEdit(1, 0));
    EXPECT_FALSE(wizard->beforeEdit(0, 2));
    EXPECT_TRUE(wizard->beforeEdit(0, 1));
    EXPECT_EQ(grid().comboList(), u"<ignore>|Name|IP|Location"_s);

    wizard->afterEdit(0, 0, u"IP"_s);
    wizard->afterEdit(0, 1, u"<IGNORE>"_s);
    EXPECT_EQ(grid().style(0, 1).foreColor, std::optional<GridColor>(0x808080));
    wizard->afterEdit(1, 0, u"typed"_s);
    EXPECT_EQ(grid().text(1, 0), u"a"_s);

    wizard->next();
    ASSERT_EQ(panel(), Panel::PreviewPanel);
    EXPECT_FALSE(wizard->beforeEdit(0, 1));
}

TEST(CellScan, ByteLevelAddressTestAgreesWithTheFullOne)
{
    // clang-format off
    const char *cells[] = {
        "10.0.0.1", "255.255.255.255", "256.0.0.1", "10.0.0", "10..0.1", "10.0.0.1.", ".10.0.0",
        "0.0.0.0", "010.000.0.001", "00000000000000000001.2.3.4", "00000000000000000300.2.3.4",
        " 10.+0.0.1", "10.0.0.1 ", "\t10.0.0.1", "&HA.&O7.0.1", "&hff.0.0.1", "1E2.0.0.1",
        "1e3.0.0.1", "-0.0.0.0", "-1.0.0.0", "10.0.0.99999", "1.2.3.4x", "1,2.3.4.5", "a.b.c.d",
        "", "...", "\xef\xbc\x91.2.3.4", "10.0.0.\xc2\xa0", "1 0.0.0.1", "+.0.0.1"};
    // clang-format on
    for (const char *cell : cells) {
        const QByteArrayView bytes(cell);
        EXPECT_EQ(isValidIPAddressUtf8(bytes), IsValidIPAddress(QString::fromUtf8(bytes)))
            << '"' << cell << '"';
    }
    EXPECT_TRUE(containsHeaderMark("xx hEaDeR:yy"));
    EXPECT_FALSE(containsHeaderMark("HEADER"));
    EXPECT_FALSE(containsHeaderMark("HEADER :"));
}

} // namespace

} // namespace MGImport8::Test
