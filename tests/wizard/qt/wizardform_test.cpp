// The wizard window through StartWizard, as a host and its user meet it:
// - a whole text import: method, file dialog, delimiters, a mapping picked from the drop-down,
//   rows ticked by buttons, clicks and the space key, an option, the import, Done;
// - going back re-enters the mapping and selection panels without doubling the mapping row or the
//   selection column, and without reopening the file dialog;
// - Cancel on the first panel, an option ticked and then the wizard cancelled, Cancel in the
//   middle of an import (no ImportComplete), and the window repainting while an import runs;
// - a fresh window for every call, modal over the host's window.
#include "formfixture.h"

#include <MGImport8/importoption.h>
#include <MGImport8/importoptions.h>

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
        EXPECT_FALSE(control<QPushButton>(form, u"cmdBack"_s)->isEnabled());
        EXPECT_FALSE(importTable(form)->isVisible());
    });
    walkToDelimiters(nodesFile());
    user.then([this](QWidget &form) {
        EXPECT_EQ(user.lastFileDialogTitle(), u"Select Text File"_s);
        EXPECT_EQ(user.lastFileDialogFilters(),
                  QStringList({u"Text Files (*.txt *.csv)"_s, u"All Files (*)"_s}));
        EXPECT_TRUE(control<QCheckBox>(form, u"chkDelimit_2"_s)->isChecked());
        EXPECT_TRUE(importTable(form)->isVisible());
        EXPECT_EQ(gridModel(form)->rowCount(), 19); // the last line feed ends an empty line
        EXPECT_EQ(gridModel(form)->columnCount(), 5);
        EXPECT_EQ(cell(form, 17, 0), u"voip-gw"_s); // unquoted
        click(form, u"cmdNext"_s);
    });
    user.then([](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"MapPanel"_s);
        QAbstractItemModel *model = gridModel(form);
        EXPECT_EQ(model->rowCount(), 20);
        // The address column is bound by its content; the rest wait for the user.
        EXPECT_EQ(cell(form, 0, 1), u"IP"_s);
        EXPECT_EQ(cell(form, 0, 0), u"<ignore>"_s);
        EXPECT_EQ(model->index(0, 0).data(Qt::BackgroundRole).value<QColor>(),
                  QColor(200, 200, 200));
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

        // Data cells cannot be edited.
        const QPoint at = importTable(form)->visualRect(model->index(3, 1)).center();
        QTest::mouseDClick(importTable(form)->viewport(), Qt::LeftButton, {}, at);
        EXPECT_EQ(importTable(form)->findChild<QWidget *>(u"MappingChoice"_s), nullptr);
        click(form, u"cmdNext"_s);
    });
    user.then([this](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"PreviewPanel"_s);
        EXPECT_EQ(gridModel(form)->columnCount(), 6);
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
        EXPECT_EQ(completions, 1);
        click(form, u"cmdCancel"_s);
    });

    EXPECT_FALSE(startWizard());
    EXPECT_EQ(completions, 1);
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(rows.at(0).value(u"Name"_s), u"core-sw-01"_s);
    EXPECT_EQ(rows.at(0).value(u"IP"_s), u"10.20.0.1"_s);
    EXPECT_EQ(rows.at(2).value(u"Description"_s), u"Internet edge router"_s);
    EXPECT_FALSE(rows.at(0).contains(u"Location"_s));
    EXPECT_EQ(user.fileDialogCount(), 1);
}

TEST_F(WizardFormTest, GoingBackReentersMappingAndSelectionAndRereadsTheFile)
{
    walkToSelection(nodesFile());
    user.then([](QWidget &form) {
        click(form, u"cmdBack"_s);
        ASSERT_EQ(currentPanel(form), u"MapPanel"_s);
        // The selection column is gone again and the mapping row is not doubled.
        EXPECT_EQ(gridModel(form)->columnCount(), 5);
        EXPECT_EQ(gridModel(form)->rowCount(), 20);
        EXPECT_EQ(cell(form, 0, 1), u"IP"_s);
        EXPECT_EQ(cell(form, 1, 0), u"Name"_s);
        pickMapping(form, 0, u"Name"_s);
        click(form, u"cmdNext"_s);
        ASSERT_EQ(currentPanel(form), u"PreviewPanel"_s);
        EXPECT_EQ(gridModel(form)->columnCount(), 6);
        EXPECT_EQ(gridModel(form)->rowCount(), 20);
        click(form, u"cmdBack"_s);
        EXPECT_EQ(cell(form, 0, 0), u"Name"_s); // the user's mapping survives
        click(form, u"cmdBack"_s);
        ASSERT_EQ(currentPanel(form), u"DelimiterPanel"_s);
        EXPECT_EQ(gridModel(form)->rowCount(), 19);
    });
    user.then([this](QWidget &form) {
        user.takeMessages();
        click(form, u"chkDelimit_2"_s); // no delimiter left
        EXPECT_EQ(user.takeMessages(), QStringList({u"Please select at least one delimiter"_s}));
        EXPECT_EQ(gridModel(form)->rowCount(), 0);
        click(form, u"cmdNext"_s);
        EXPECT_EQ(user.takeMessages(), QStringList({u"Please select a file with data in it."_s}));
        EXPECT_EQ(currentPanel(form), u"DelimiterPanel"_s);
        click(form, u"chkDelimit_1"_s);
        EXPECT_EQ(gridModel(form)->rowCount(), 19);
        EXPECT_EQ(gridModel(form)->columnCount(), 1);
        click(form, u"chkDelimit_4"_s);
        QTest::keyClicks(control<QWidget>(form, u"txtOtherDelimit"_s), u"-"_s);
        EXPECT_EQ(cell(form, 1, 0), u"core"_s); // "core-sw-01,..." split on "-"
        EXPECT_EQ(cell(form, 1, 1), u"sw"_s);
        click(form, u"chkDelimit_4"_s);
        EXPECT_EQ(gridModel(form)->columnCount(), 1);
        click(form, u"chkDelimit_1"_s);
        click(form, u"chkDelimit_2"_s);
        EXPECT_EQ(gridModel(form)->columnCount(), 5);
        click(form, u"cmdBack"_s);
        ASSERT_EQ(currentPanel(form), u"FilePanel"_s);
        EXPECT_EQ(control<QLineEdit>(form, u"Filename"_s)->text(), nodesFile());
        click(form, u"cmdBack"_s);
        ASSERT_EQ(currentPanel(form), u"MethodPanel"_s);
        EXPECT_FALSE(control<QPushButton>(form, u"cmdBack"_s)->isEnabled());
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
    EXPECT_EQ(user.fileDialogCount(), 1);
    EXPECT_TRUE(rows.isEmpty());
}

TEST_F(WizardFormTest, CancelledWizardsReturnTrueAndEachCallOpensAFreshWindow)
{
    QPointer<QWidget> first;
    user.then([&first](QWidget &form) {
        first = &form;
        chooseMethod(form, u"Excel Spreadsheet"_s);
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
    EXPECT_TRUE(first.isNull()); // the window went with the call

    user.then([](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"MethodPanel"_s);
        EXPECT_EQ(control<QListWidget>(form, u"ImportTypeList"_s)->currentRow(), -1);
        EXPECT_TRUE(control<QLabel>(form, u"ImportTypeDescription"_s)->text().isEmpty());
        QTest::keyClick(&form, Qt::Key_Escape); // Escape cancels as well
    });
    EXPECT_TRUE(startWizard());
    EXPECT_EQ(completions, 0);
}

TEST_F(WizardFormTest, AnOptionTickedBeforeCancellingKeepsItsValue)
{
    walkToSelection(nodesFile());
    user.then([](QWidget &form) { click(form, u"cmdNext"_s); });
    user.then([this](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"OptionsPanel"_s);
        auto *options = control<QTableWidget>(form, u"OptionsList"_s);
        const QPoint caption = options->visualItemRect(options->item(0, 1)).center();
        for (const bool expected : {true, false, true}) {
            QTest::mouseClick(options->viewport(), Qt::LeftButton, {}, caption);
            EXPECT_EQ(engine.ImportOptions()->Item(u"Overwrite"_s)->Value(), expected);
            EXPECT_EQ(options->item(0, 0)->checkState(), expected ? Qt::Checked : Qt::Unchecked);
        }
        click(form, u"cmdBack"_s);
        EXPECT_EQ(control<QPushButton>(form, u"cmdNext"_s)->text(), u"Next -->"_s);
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
    EXPECT_TRUE(engine.ImportOptions()->Item(u"Overwrite"_s)->Value());
    EXPECT_TRUE(rows.isEmpty());
}

TEST_F(WizardFormTest, CancelDuringTheImportStopsAtOnceAndTheWindowKeepsPainting)
{
    // A long file of our own: every line a valid address.
    TempFolder folder;
    QByteArray lines;
    constexpr int lineCount = 3000;
    for (int line = 0; line < lineCount; ++line)
        lines += "node-" + QByteArray::number(line) + ",10.1." + QByteArray::number(line / 250)
                 + '.' + QByteArray::number(line % 250 + 1) + '\n';
    const QString path = folder.write(u"many.csv"_s, lines);

    int paints = 0;
    class PaintCounter : public QObject
    {
    public:
        explicit PaintCounter(int &count)
            : m_count(count)
        {}
        bool eventFilter(QObject *, QEvent *event) override
        {
            if (event->type() == QEvent::Paint)
                ++m_count;
            return false;
        }
        int &m_count;
    } counter(paints);

    constexpr int cancelAt = 2000;
    int paintsBeforeCancel = 0;
    onNewRow = [&](QString &status, bool &) {
        status = u"Took "_s + rows.constLast().value(u"IP"_s);
        if (rows.size() == cancelAt) {
            paintsBeforeCancel = paints;
            QWidget *form = user.wizardWindow();
            ASSERT_NE(form, nullptr);
            click(*form, u"cmdCancel"_s);
        }
    };
    walkToSelection(path);
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
