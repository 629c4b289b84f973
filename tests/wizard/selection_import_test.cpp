// Row selection and the import below the window: the automatic selection by address columns, the
// rows' columns from the mapping row for repeated targets in any case, rows never reused once the
// host has had them, progress points, hidden rows left out, and hosts that throw, delete their row
// or write odd skip flags. Ticked rows reaching the host with the summary, ticking by clicks, keys
// and buttons, the options panel and Cancel are walked in the window tests.
#include "wizardfixture.h"

#include <QPointer>

#include <cstring>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

using Selection = WizardFixture;

/// What a host saw of one row: "Column=Data" in the row's order.
using SeenRow = QStringList;

class Import : public WizardFixture
{
protected:
    Import()
    {
        QObject::connect(&engine, &Engine::NewRow, &engine,
                         [this](ImportRow *row, QString &status, bool &skip) {
                             SeenRow seen;
                             for (const ImportColumn *column : *row)
                                 seen.append(column->Column() % u'=' % column->Data().toString());
                             rows.append(seen);
                             if (onRow)
                                 onRow(row, status, skip);
                         });
        QObject::connect(&engine, &Engine::ImportComplete, &engine, [this] { ++completed; });
    }

    /// `count` lines "node<i>,10.0.<i>.1" (no line feed after the last, which would add a row).
    static QByteArray nodes(int count)
    {
        QByteArrayList lines;
        for (int i = 1; i <= count; ++i)
            lines.append("node" + QByteArray::number(i) + ",10.0." + QByteArray::number(i) + ".1");
        return lines.join('\n');
    }

    QList<SeenRow> rows;
    std::function<void(ImportRow *, QString &, bool &)> onRow;
    int completed = 0;
};

TEST_F(Selection, RowsStartCheckedUnlessAnAddressColumnHoldsNoAddress)
{
    engine.setColumns(u"Name,AgentIP,Location"_s);
    engine.setIPColumn(u"AgentIP"_s);
    engine.setRequiredColumns(u"AgentIP"_s);
    restart();
    openTextToMapping("Name,AgentIP,Where\na,10.0.0.1,x\nb,not an ip,y\nc,10.0.0.3,z");
    wizard->afterEdit(0, 1, u"AgentIP"_s); // two addresses in four rows is too few to detect
    wizard->next();
    ASSERT_EQ(panel(), Panel::PreviewPanel);
    EXPECT_EQ(checks(), u"2121"_s); // the title line and "not an ip" are left out

    // Without an address column every row starts checked.
    engine.setRequiredColumns(QString());
    wizard->back();
    wizard->afterEdit(0, 1, u"Location"_s);
    wizard->next();
    EXPECT_EQ(checks(), u"1111"_s);
}

// The row is laid out once per run from the mapping row; it must come out as adding every cell in
// turn would: the first spelling names the column, the last cell gives its value, and an
// "<ignore>" between repeats changes neither.
TEST_F(Import, RepeatedTargetsInAnyCaseKeepTheFirstColumnAndTakeTheLastValue)
{
    engine.setColumns(u"Name,IP,name,NAME"_s);
    restart();
    openTextToMapping("a,10.0.0.1,c,d,e");
    const QStringList mapping{u"Name"_s, u"IP"_s, u"name"_s, u"<ignore>"_s, u"NAME"_s};
    for (int column = 0; column < mapping.size(); ++column)
        wizard->afterEdit(0, column, mapping.at(column));
    wizard->next();
    wizard->next();
    ASSERT_EQ(panel(), Panel::ImportPanel);
    EXPECT_EQ(rows, (QList<SeenRow>{{u"Name=e"_s, u"IP=10.0.0.1"_s, u"<ignore>=d"_s}}));
}

TEST_F(Import, AHostKeepingARowPastItsHandlerFindsItGoneNotReused)
{
    // Rows are lent for the length of the handler. A host that keeps a guarded pointer must see
    // the row and its columns released, never a recycled object showing the next row's values.
    QList<QPointer<ImportRow>> keptRows;
    QList<QPointer<ImportColumn>> keptColumns;
    onRow = [&](ImportRow *row, QString &, bool &) {
        for (const QPointer<ImportRow> &earlier : keptRows)
            EXPECT_TRUE(earlier.isNull() || earlier.data() != row);
        keptRows.append(row);
        keptColumns.append(row->Item(1));
    };
    openTextToSelection(nodes(3));
    wizard->next();
    ASSERT_EQ(rows.size(), 3);
    for (const QPointer<ImportRow> &row : keptRows)
        EXPECT_TRUE(row.isNull());
    for (const QPointer<ImportColumn> &column : keptColumns)
        EXPECT_TRUE(column.isNull());
}

// Progress every ten grid rows. A hidden row stays out of the import, checked or not, and is not
// counted as skipped either, so that a row filter only has to hide rows. A skip flag written as
// any non-zero byte still skips.
TEST_F(Import, ProgressHiddenRowsAndOddSkipFlags)
{
    QList<int> progress;
    view.setStateObserver([&](const WizardState &state) {
        if (state.currentPanel == Panel::ImportPanel
            && (progress.isEmpty() || progress.last() != state.progress))
            progress.append(state.progress);
    });
    onRow = [](ImportRow *, QString &, bool &skip) {
        const unsigned char odd = 2;
        std::memcpy(&skip, &odd, sizeof odd);
    };
    openTextToSelection(nodes(25));
    grid().setRowHidden(2, true);
    grid().setRowHidden(3, true);
    grid().setRowHidden(3, false);
    wizard->next();
    // 26 grid rows with the mapping row: r = 0, 10, 20 give 0, 38 and 76 per cent.
    EXPECT_EQ(progress, (QList<int>{0, 38, 76, 100}));
    ASSERT_EQ(rows.size(), 24);
    EXPECT_EQ(rows.at(1).filter(u"IP="_s), QStringList{u"IP=10.0.3.1"_s});
    EXPECT_EQ(wizard->state().importStatus,
              u"Import Complete\r\nImported 0 rows\r\nSkipped 24 rows"_s);
    EXPECT_EQ(completed, 1);
}

TEST_F(Import, FailingHostsStopTheRunWithTheRowNamed)
{
    using Handler = std::function<void(ImportRow *)>;
    const std::pair<Handler, const char *> cases[] = {
        {[](ImportRow *) { throw std::runtime_error("disk full"); }, "disk full"},
        {[](ImportRow *) { throw 42; }, ""},
        {[](ImportRow *row) { delete row; }, "deleted"},
    };
    // A stop asked for outside a handler is no stop: the first run below must get to row 3.
    engine.StopImport(u"too early"_s);
    for (const auto &[handler, detail] : cases) {
        const Handler &fail = handler;
        SCOPED_TRACE(detail);
        rows.clear();
        completed = 0;
        restart();
        onRow = [&](ImportRow *row, QString &, bool &) {
            if (rows.size() == 3)
                fail(row);
        };
        openTextToSelection(nodes(6));
        wizard->next();
        EXPECT_EQ(rows.size(), 3);
        ASSERT_EQ(view.messages().size(), 1);
        const HeadlessView::Message &message = view.messages().first();
        EXPECT_EQ(message.icon, MessageIcon::Critical);
        EXPECT_TRUE(message.text.startsWith(u"The import stopped at row 3"_s))
            << message.text.toStdString();
        EXPECT_TRUE(message.text.contains(QString::fromUtf8(detail)));
        EXPECT_EQ(wizard->importedCount(), 2);
        EXPECT_EQ(completed, 0);
        EXPECT_TRUE(wizard->result());
    }
}

} // namespace

} // namespace MGImport8::Test
