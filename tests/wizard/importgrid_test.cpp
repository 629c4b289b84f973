// Check states of a million rows cost about a byte each. How edits follow their rows and columns
// through the mapping row, the tick column and bulk changes is walked through the grid's model.
#include "wizard/importgrid.h"
#include "wizard/sources/textsource.h"

#include <gtest/gtest.h>

using namespace MGImport8;

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
