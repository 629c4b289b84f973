// The wizard window through StartWizard, as a host and its user meet it:
// - a whole text import: method, file dialog, delimiters, a mapping picked from the drop-down,
//   rows ticked by buttons, clicks and the space key, an option, the import, Done; the grid's
//   model keeps Qt's model rules throughout, only the mapping row has colours of its own, and
//   the tick column has its own heading;
// - going back re-enters every panel without doubling the mapping row or the selection column,
//   without reopening the file dialog, and keeps the mapping, a delimiter of the user's own and an
//   option ticked before the wizard is cancelled (by Escape); the next call opens a fresh window;
// - Cancel in the middle of an import (no ImportComplete), and the window repainting while an
//   import runs; the window is modal over the host's.
#include "formfixture.h"

#include <MGImport8/importoption.h>
#include <MGImport8/importoptions.h>

#include <QAbstractItemModelTester>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

/// The rows of the bundled sample (after the mapping row) with a valid address: every line but
/// the header, the mistyped printer, the server without address and the blank lines.
const QList<int> sampleAddressRows = {2, 3, 4, 5, 6, 7, 8, 10, 12, 14, 15, 16, 17, 18};
const QString crlf = u"\r\n"_s;

using WizardFormTest = FormFixture;

TEST_F(WizardFormTest, WholeTextImportDeliversTheTickedRowsAndEndsWithDone)
{
    user.then([this](QWidget &form) {
        EXPECT_EQ(form.parentWidget(), &host);
        EXPECT_TRUE(form.isModal());
    });
    walkToDelimiters(nodesFile());
    user.then([this](QWidget &form) {
        EXPECT_EQ(user.lastFileDialogFilters(),
                  QStringList({u"Text Files (*.txt *.csv)"_s, u"All Files (*)"_s}));
        EXPECT_TRUE(control<QCheckBox>(form, u"chkDelimit_2"_s)->isChecked());
        EXPECT_TRUE(importTable(form)->isVisible());
        EXPECT_EQ(gridModel(form)->rowCount(), 19); // the last line feed ends an empty line
        EXPECT_EQ(gridModel(form)->columnCount(), 5);
        EXPECT_EQ(cell(form, 17, 0), u"voip-gw"_s); // unquoted
        // The checker lives with the model and reports through Qt's warnings, which fail the test.
        new QAbstractItemModelTester(gridModel(form),
                                     QAbstractItemModelTester::FailureReportingMode::Warning,
                                     gridModel(form));
        click(form, u"cmdNext"_s);
    });
    user.then([](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"MapPanel"_s);
        QAbstractItemModel *model = gridModel(form);
        EXPECT_EQ(model->rowCount(), 20);
        EXPECT_EQ(model->headerData(4, Qt::Horizontal).toInt(), 5);
        // The address column is bound by its content; the rest wait for the user.
        EXPECT_EQ(cell(form, 0, 1), u"IP"_s);
        EXPECT_EQ(cell(form, 0, 0), u"<ignore>"_s);
        EXPECT_EQ(model->index(0, 0).data(Qt::BackgroundRole).value<QColor>(),
                  QColor(200, 200, 200));
        // Data cells take the system palette's colours, whatever they are.
        EXPECT_FALSE(model->index(3, 1).data(Qt::ForegroundRole).isValid());
        EXPECT_FALSE(model->index(3, 1).data(Qt::BackgroundRole).isValid());
        EXPECT_GT(importTable(form)->rowHeight(0), importTable(form)->rowHeight(1));

        pickMapping(form, 0, u"Name"_s);
        EXPECT_EQ(cell(form, 0, 0), u"Name"_s);
        EXPECT_EQ(model->index(0, 0).data(Qt::ForegroundRole).value<QColor>(), QColor(0, 0, 255));
        pickMapping(form, 2, u"Location"_s);
        pickMapping(form, 2, u"Description"_s); // one back up the list
        EXPECT_EQ(cell(form, 0, 2), u"Description"_s);
        pickMapping(form, 1, u"<ignore>"_s);
        EXPECT_EQ(model->index(0, 1).data(Qt::ForegroundRole).value<QColor>(),
                  QColor(128, 128, 128));
        pickMapping(form, 1, u"IP"_s);
        click(form, u"cmdNext"_s);
    });
    user.then([this](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"PreviewPanel"_s);
        EXPECT_EQ(gridModel(form)->columnCount(), 6);
        // The tick column has its own heading; the source columns keep their numbers.
        EXPECT_EQ(gridModel(form)->headerData(0, Qt::Horizontal).toString(), u"Import"_s);
        EXPECT_EQ(gridModel(form)->headerData(5, Qt::Horizontal).toInt(), 5);
        EXPECT_EQ(checkedRows(form), sampleAddressRows);
        EXPECT_EQ(importTable(form)->palette().color(QPalette::Highlight), QColor(200, 200, 255));
        EXPECT_EQ(importTable(form)->palette().color(QPalette::HighlightedText), QColor(0, 0, 255));

        click(form, u"cmdUnCheckAll"_s);
        EXPECT_TRUE(checkedRows(form).isEmpty());
        click(form, u"cmdNext"_s);
        EXPECT_EQ(user.takeMessages(), QStringList({u"You must select at least one row"_s}));
        EXPECT_EQ(user.messages().constLast().icon, QMessageBox::Warning);
        EXPECT_EQ(user.messages().constLast().title, u"Node Inventory"_s);

        click(form, u"cmdCheckAll"_s);
        EXPECT_EQ(checkedRows(form).size(), 19);
        click(form, u"cmdUnCheckAll"_s);
        clickCell(form, 0, 0); // the mapping row has no tick
        clickCell(form, 2, 0);
        clickCell(form, 3, 0);
        clickCell(form, 3, 0);
        EXPECT_EQ(checkedRows(form), QList<int>({2}));
        // Rows 3 to 5 selected, then the space key ticks them.
        clickCell(form, 3, 2);
        clickCell(form, 5, 2, Qt::ShiftModifier);
        QTest::keyClick(importTable(form), Qt::Key_Space);
        EXPECT_EQ(checkedRows(form), QList<int>({2, 3, 4, 5}));
        clickCell(form, 5, 0);
        EXPECT_EQ(checkedRows(form), QList<int>({2, 3, 4}));
        click(form, u"cmdNext"_s);
    });
    user.then([this](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"OptionsPanel"_s);
        EXPECT_EQ(control<QPushButton>(form, u"cmdNext"_s)->text(), u"Import"_s);
        EXPECT_FALSE(importTable(form)->isVisible());
        auto *options = control<QTableWidget>(form, u"OptionsList"_s);
        ASSERT_EQ(options->rowCount(), 1);
        EXPECT_EQ(options->item(0, 1)->text(), u"Overwrite existing nodes"_s);
        QTest::mouseClick(options->viewport(), Qt::LeftButton, {},
                          options->visualItemRect(options->item(0, 0)).center());
        EXPECT_EQ(options->item(0, 0)->checkState(), Qt::Checked);
        EXPECT_TRUE(engine.ImportOptions()->Item(u"Overwrite"_s)->Value());
        click(form, u"cmdNext"_s); // the import runs inside the click
    });
    user.then([this](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"ImportPanel"_s);
        EXPECT_EQ(control<QLabel>(form, u"ImportStatus"_s)->text(),
                  u"Import Complete"_s + crlf + u"Imported 3 rows"_s + crlf + u"Skipped 0 rows"_s);
        EXPECT_EQ(control<QProgressBar>(form, u"ImportProgress"_s)->value(), 100);
        EXPECT_FALSE(control<QPushButton>(form, u"cmdNext"_s)->isVisible());
        EXPECT_FALSE(control<QPushButton>(form, u"cmdBack"_s)->isVisible());
        EXPECT_EQ(control<QPushButton>(form, u"cmdCancel"_s)->text(), u"Done"_s);
        click(form, u"cmdCancel"_s);
    });

    EXPECT_FALSE(startWizard());
    EXPECT_EQ(completions, 1);
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(rows.at(0).value(u"Name"_s), u"core-sw-01"_s);
    EXPECT_EQ(rows.at(0).value(u"IP"_s), u"10.20.0.1"_s);
    EXPECT_EQ(rows.at(2).value(u"Description"_s), u"Internet edge router"_s);
    EXPECT_FALSE(rows.at(0).contains(u"Location"_s));
}

TEST_F(WizardFormTest, GoingBackReentersEveryPanelAndKeepsWhatTheUserChose)
{
    QPointer<QWidget> first;
    walkToSelection(nodesFile());
    user.then([](QWidget &form) { click(form, u"cmdNext"_s); });
    user.then([this, &first](QWidget &form) {
        first = &form;
        ASSERT_EQ(currentPanel(form), u"OptionsPanel"_s);
        // A click on the caption toggles the option, and the engine's value follows at once.
        auto *options = control<QTableWidget>(form, u"OptionsList"_s);
        const QPoint caption = options->visualItemRect(options->item(0, 1)).center();
        for (const bool expected : {true, false, true}) {
            QTest::mouseClick(options->viewport(), Qt::LeftButton, {}, caption);
            EXPECT_EQ(engine.ImportOptions()->Item(u"Overwrite"_s)->Value(), expected);
            EXPECT_EQ(options->item(0, 0)->checkState(), expected ? Qt::Checked : Qt::Unchecked);
        }
        click(form, u"cmdBack"_s);
        EXPECT_EQ(control<QPushButton>(form, u"cmdNext"_s)->text(), u"Next -->"_s);
        click(form, u"cmdBack"_s);
        ASSERT_EQ(currentPanel(form), u"MapPanel"_s);
        // The selection column is gone again and the mapping row is not doubled.
        EXPECT_EQ(gridModel(form)->columnCount(), 5);
        EXPECT_EQ(gridModel(form)->rowCount(), 20);
        EXPECT_EQ(cell(form, 1, 0), u"Name"_s);
        pickMapping(form, 0, u"Name"_s);
        click(form, u"cmdNext"_s);
        EXPECT_EQ(gridModel(form)->columnCount(), 6);
        EXPECT_EQ(gridModel(form)->rowCount(), 20);
        click(form, u"cmdBack"_s);
        EXPECT_EQ(cell(form, 0, 0), u"Name"_s); // the user's mapping survives
        click(form, u"cmdBack"_s);
        ASSERT_EQ(currentPanel(form), u"DelimiterPanel"_s);
        EXPECT_EQ(gridModel(form)->rowCount(), 19);
        click(form, u"chkDelimit_4"_s);
        QTest::keyClicks(control<QWidget>(form, u"txtOtherDelimit"_s), u"-"_s);
        EXPECT_EQ(cell(form, 1, 0), u"core"_s); // "core-sw-01,..." split on "-" as well
        EXPECT_EQ(cell(form, 1, 1), u"sw"_s);
        click(form, u"cmdBack"_s);
        ASSERT_EQ(currentPanel(form), u"FilePanel"_s);
        EXPECT_EQ(control<QLineEdit>(form, u"Filename"_s)->text(), nodesFile());
        click(form, u"cmdBack"_s);
        ASSERT_EQ(currentPanel(form), u"MethodPanel"_s);
        EXPECT_FALSE(control<QPushButton>(form, u"cmdBack"_s)->isEnabled());
        QTest::keyClick(&form, Qt::Key_Escape); // cancels as the button does
    });
    EXPECT_TRUE(startWizard());
    EXPECT_TRUE(first.isNull()); // the window went with the call
    EXPECT_EQ(user.fileDialogCount(), 1);
    EXPECT_TRUE(engine.ImportOptions()->Item(u"Overwrite"_s)->Value());
    EXPECT_TRUE(rows.isEmpty());

    // The next call opens a fresh window, no method chosen.
    user.then([](QWidget &form) {
        EXPECT_EQ(control<QListWidget>(form, u"ImportTypeList"_s)->currentRow(), -1);
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
}

TEST_F(WizardFormTest, CancelDuringTheImportStopsAtOnceAndTheWindowKeepsPainting)
{
    // A long file of our own: every line a valid address.
    TempFolder folder;
    QByteArray lines;
    for (int line = 0; line < 3000; ++line)
        lines += "node-" + QByteArray::number(line) + ",10.1." + QByteArray::number(line / 250)
                 + '.' + QByteArray::number(line % 250 + 1) + '\n';

    struct PaintCounter : QObject
    {
        int paints = 0;
        bool eventFilter(QObject *, QEvent *event) override
        {
            paints += event->type() == QEvent::Paint;
            return false;
        }
    } counter;

    constexpr int cancelAt = 2000;
    int paintsBeforeCancel = 0;
    onNewRow = [&](QString &status, bool &) {
        status = u"Took "_s + rows.constLast().value(u"IP"_s);
        if (rows.size() == cancelAt) {
            paintsBeforeCancel = counter.paints;
            QWidget *form = user.wizardWindow();
            ASSERT_NE(form, nullptr);
            click(*form, u"cmdCancel"_s);
        }
    };
    walkToSelection(folder.write(u"many.csv"_s, lines));
    user.then([&counter](QWidget &form) {
        control<QWidget>(form, u"ImportProgress"_s)->installEventFilter(&counter);
        click(form, u"cmdNext"_s); // options
        click(form, u"cmdNext"_s); // import
    });
    EXPECT_TRUE(startWizard());
    EXPECT_EQ(rows.size(), cancelAt);
    EXPECT_EQ(completions, 0);
    EXPECT_GT(paintsBeforeCancel, 0) << "the progress bar was not repainted during the import";
}

} // namespace

} // namespace MGImport8::Test
