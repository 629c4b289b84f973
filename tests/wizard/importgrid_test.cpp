// Source cells read through the grid, and edits (text, checks, styles, tags) stay with their row
//   and column when the mapping row is inserted, a header row removed or a column moved.
// The selection column's round trip (added at 0, moved to the end and cut off) leaves the source
//   columns where they were and leaves no checks behind in a re-added column.
// Check states of a million rows cost about a byte each.
// The observer hears of each change, once per batch inside beginUpdate()/endUpdate().
#include "wizard/importgrid.h"
#include "wizard/sources/textsource.h"

#include <gtest/gtest.h>

#include <vector>

using namespace MGImport8;

namespace {

std::shared_ptr<const TextTable> sample()
{
    return splitDelimitedText("Name,IP,Site\nsw1,10.0.0.1\nsw2,10.0.0.2,lab\n", QStringLiteral(","));
}

std::vector<std::string> rowTexts(const ImportGrid &grid, qsizetype row)
{
    std::vector<std::string> texts;
    for (int c = 0; c < grid.columnCount(); ++c)
        texts.push_back(grid.text(row, c).toStdString());
    return texts;
}

using Texts = std::vector<std::string>;

} // namespace

TEST(ImportGrid, EditsFollowTheirRowsAndColumns)
{
    ImportGrid grid;
    grid.setTable(sample());
    ASSERT_EQ(grid.rowCount(), 4);
    EXPECT_EQ(rowTexts(grid, 3), (Texts{"", "", ""})) << "short and empty lines fill up";
    EXPECT_EQ(grid.text(4, 0), QString());
    EXPECT_EQ(grid.text(0, 3), QString());
    grid.setRowTag(0, QStringLiteral("FieldHeader"));
    grid.setCheckState(2, 1, CheckState::Checked);
    grid.setColumnTag(2, QStringLiteral("Third"));
    grid.setRowHidden(2, true);

    // The mapping row goes on top.
    grid.insertRow(0);
    grid.setRowTag(0, QStringLiteral("Mapping"));
    const CellStyle grey{0x000000, 0xC8C8C8, false, 10.0};
    for (int c = 0; c < grid.columnCount(); ++c) {
        grid.setText(0, c, QStringLiteral("<ignore>"));
        grid.setStyle(0, c, grey);
    }
    ASSERT_EQ(grid.rowCount(), 5);
    EXPECT_EQ(rowTexts(grid, 0), (Texts{"<ignore>", "<ignore>", "<ignore>"}));
    EXPECT_EQ(grid.rowTag(0), QStringLiteral("Mapping"));
    EXPECT_EQ(grid.rowTag(1), QStringLiteral("FieldHeader"));
    EXPECT_EQ(rowTexts(grid, 2), (Texts{"sw1", "10.0.0.1", ""}));
    EXPECT_EQ(grid.checkState(3, 1), CheckState::Checked);
    EXPECT_TRUE(grid.rowHidden(3));
    EXPECT_FALSE(grid.rowHidden(2));
    EXPECT_EQ(grid.style(0, 2).backColor, grey.backColor);
    EXPECT_FALSE(grid.style(1, 2).backColor);

    // The header row goes; the row that takes its place keeps its own tag (none).
    grid.removeRow(1);
    EXPECT_EQ(grid.rowTag(1), QString());
    EXPECT_EQ(rowTexts(grid, 1), (Texts{"sw1", "10.0.0.1", ""}));
    EXPECT_EQ(grid.checkState(2, 1), CheckState::Checked);

    // A column moved carries its cells, check states, styles and tag.
    grid.moveColumn(1, 0);
    EXPECT_EQ(rowTexts(grid, 2), (Texts{"10.0.0.2", "sw2", "lab"}));
    EXPECT_EQ(grid.checkState(2, 0), CheckState::Checked);
    EXPECT_EQ(grid.checkState(2, 1), CheckState::None);
    grid.moveColumn(0, 2);
    EXPECT_EQ(rowTexts(grid, 2), (Texts{"sw2", "lab", "10.0.0.2"}));
    EXPECT_EQ(grid.columnTag(1), QStringLiteral("Third"));
    EXPECT_EQ(grid.checkState(2, 2), CheckState::Checked);

    // Rows inserted in the middle and at the bottom are empty and take their own edits.
    grid.insertRow(2);
    grid.addRow();
    EXPECT_EQ(grid.rowCount(), 6);
    EXPECT_EQ(rowTexts(grid, 2), (Texts{"", "", ""}));
    EXPECT_EQ(rowTexts(grid, 3), (Texts{"sw2", "lab", "10.0.0.2"}));
    grid.setText(5, 0, QStringLiteral("new"));
    EXPECT_EQ(grid.text(5, 0), QStringLiteral("new"));
    EXPECT_EQ(grid.checkState(3, 2), CheckState::Checked);
}

TEST(ImportGrid, SelectionColumnRoundTrip)
{
    ImportGrid grid;
    grid.setTable(sample());
    grid.insertRow(0);
    grid.setRowTag(0, QStringLiteral("Mapping"));
    grid.setText(0, 1, QStringLiteral("IP"));

    for (int pass = 0; pass < 2; ++pass) {
        // Selection panel: a column at 0, tagged, fixed, one check per data row.
        grid.addColumn();
        grid.moveColumn(grid.columnCount() - 1, 0);
        grid.setColumnTag(0, QStringLiteral("RowSelection"));
        grid.setFixedColumns(1);
        EXPECT_EQ(grid.checkState(2, 0), CheckState::None) << "pass " << pass;
        for (qsizetype r = 1; r < grid.rowCount(); ++r)
            grid.setCheckState(r, 0, r == 2 ? CheckState::Checked : CheckState::Unchecked);
        EXPECT_EQ(grid.columnTag(0), QStringLiteral("RowSelection"));
        EXPECT_EQ(rowTexts(grid, 0), (Texts{"", "", "IP", ""}));
        EXPECT_EQ(grid.checkState(2, 0), CheckState::Checked);

        // Back on the mapping panel: the column goes to the end and is cut off.
        grid.moveColumn(0, grid.columnCount() - 1);
        grid.setColumnCount(grid.columnCount() - 1);
        grid.setFixedColumns(0);
        ASSERT_EQ(grid.columnCount(), 3);
        EXPECT_EQ(grid.text(0, 1), QStringLiteral("IP"));
        EXPECT_EQ(rowTexts(grid, 2), (Texts{"sw1", "10.0.0.1", ""}));
        EXPECT_EQ(grid.columnTag(2), QString());
        for (int c = 0; c < grid.columnCount(); ++c)
            EXPECT_EQ(grid.checkState(2, c), CheckState::None);
    }

    // Raising the count again gives empty columns, not the dropped ones back.
    grid.setColumnCount(4);
    EXPECT_EQ(grid.text(2, 3), QString());
    EXPECT_EQ(grid.checkState(2, 3), CheckState::None);
    EXPECT_EQ(grid.columnTag(3), QString());
}

TEST(ImportGrid, ChecksOfManyRowsCostAByteEach)
{
    constexpr qsizetype rows = 1'000'000;
    ImportGrid grid;
    grid.setTable(splitDelimitedText(QByteArray(rows - 1, '\n'), QStringLiteral(",")));
    ASSERT_EQ(grid.rowCount(), rows);
    grid.insertRow(0);
    grid.addColumn();
    grid.moveColumn(grid.columnCount() - 1, 0);
    const qsizetype before = grid.memoryUsage();
    for (qsizetype r = 1; r < grid.rowCount(); ++r)
        grid.setCheckState(r, 0, r % 3 ? CheckState::Checked : CheckState::Unchecked);
    EXPECT_LE(grid.memoryUsage() - before, rows + rows / 10);
    EXPECT_EQ(grid.checkState(3, 0), CheckState::Unchecked);
    EXPECT_EQ(grid.checkState(rows, 0), CheckState::Checked);
    EXPECT_EQ(grid.checkState(0, 0), CheckState::None);
}

TEST(ImportGrid, TellsTheObserver)
{
    ImportGrid grid;
    std::vector<ImportGrid::Change> changes;
    grid.setObserver([&](const ImportGrid::Change &change) { changes.push_back(change); });
    grid.setTable(sample());
    grid.setText(1, 2, QStringLiteral("x"));
    grid.insertRow(0);
    ASSERT_EQ(changes.size(), 3u);
    EXPECT_EQ(changes[0].kind, ImportGrid::Change::Structure);
    EXPECT_EQ(changes[1].kind, ImportGrid::Change::Cells);
    EXPECT_EQ(changes[1].firstRow, 1);
    EXPECT_EQ(changes[1].lastColumn, 2);
    EXPECT_EQ(changes[2].kind, ImportGrid::Change::Structure);

    changes.clear();
    grid.beginUpdate();
    grid.setCheckState(2, 0, CheckState::Checked);
    grid.beginUpdate();
    grid.setCheckState(4, 1, CheckState::Unchecked);
    grid.endUpdate();
    EXPECT_TRUE(changes.empty());
    grid.endUpdate();
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].kind, ImportGrid::Change::Cells);
    EXPECT_EQ(changes[0].firstRow, 2);
    EXPECT_EQ(changes[0].lastRow, 4);
    EXPECT_EQ(changes[0].firstColumn, 0);
    EXPECT_EQ(changes[0].lastColumn, 1);
}
