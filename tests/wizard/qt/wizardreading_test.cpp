// The wizard as a person reads it on long and awkward files:
// - the mapping row stays pinned over the grid when it scrolls down, and picks made there bind;
// - column widths account for long names in the middle of the table, grow (never shrink) as longer
//   ones scroll into sight, and a cut cell shows its whole text as a tooltip;
// - F4 and Alt+Down open the mapping drop-down of the current column; a whole import runs from
//   the keyboard alone, Tab leaving the grid and the space bar ticking an option;
// - the rows the host skipped are listed with their line and status, past ten thousand the rest
//   counted, not listed, and all are saved for a new import;
// - every control has an accessible name, and the newer buttons a mnemonic.
#include "formfixture.h"

#include <MGImport8/importoption.h>
#include <MGImport8/importoptions.h>

#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QHelpEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QTableWidget>
#include <QTest>
#include <QToolTip>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

constexpr int LongFileLines = 3000;
/// Skipped rows the window lists one by one.
constexpr int Listed = 10000;
/// Lines of the long file holding longer names than the rest: the middle (sampled when the table
/// arrives) and a place no sample reaches (seen only when scrolled to).
constexpr int MiddleLine = LongFileLines / 2;
constexpr int FarLine = 2500;
const QString middleName = u"switch-in-the-middle-of-the-list-with-a-long-name"_s;
const QString farName = u"router-far-down-in-the-basement-rack-seventeen-with-an-even-longer-name"_s;

class WizardReadingTest : public FormFixture
{
protected:
    /// A device list: a header line, then a name, an address and a description on each line.
    QString longDeviceList()
    {
        QByteArray text = "Name,IP,Description\n";
        for (int line = 2; line <= LongFileLines; ++line) {
            const QString name = line == MiddleLine ? middleName
                                 : line == FarLine  ? farName
                                                    : u"host-"_s + QString::number(line);
            text += name.toUtf8() + ",10.1." + QByteArray::number(line / 250) + '.'
                    + QByteArray::number(line % 250 + 1) + ",edge switch\n";
        }
        return folder.write(u"devices.csv"_s, text);
    }

    TempFolder folder;
};

int cellWidth(QTableView *table, int row, int column)
{
    return table->sizeHintForIndex(table->model()->index(row, column)).width();
}

TEST_F(WizardReadingTest, MappingRowStaysPinnedAndColumnsFitTheWholeTable)
{
    walkToMapping(longDeviceList());
    user.then([](QWidget &form) {
        QTableView *table = importTable(form);
        ASSERT_NE(table, nullptr);
        auto *pinned = table->findChild<QTableView *>(u"PinnedMappingRow"_s);
        ASSERT_NE(pinned, nullptr);
        EXPECT_FALSE(pinned->isVisible());

        // The middle of the table was sampled when the table arrived.
        EXPECT_GE(table->columnWidth(0), cellWidth(table, MiddleLine, 0));
        EXPECT_LT(table->columnWidth(0), cellWidth(table, FarLine, 0));
        const int description = table->columnWidth(2);

        table->scrollTo(table->model()->index(FarLine, 0));
        EXPECT_GE(table->columnWidth(0), cellWidth(table, FarLine, 0)) << "widened on scroll";
        EXPECT_EQ(table->columnWidth(2), description);
        ASSERT_GT(table->verticalScrollBar()->value(), 0);
        ASSERT_TRUE(pinned->isVisible()) << "the mapping row went out of sight";
        EXPECT_EQ(pinned->geometry().top(), table->viewport()->geometry().top());
        EXPECT_EQ(pinned->rowHeight(0), table->rowHeight(0));
        EXPECT_EQ(pinned->columnWidth(0), table->columnWidth(0));
        // The row scrolled to is not hidden under the pinned row.
        EXPECT_GE(table->visualRect(table->model()->index(FarLine, 0)).top(), pinned->height());

        // A pick on the pinned row binds the column.
        const QPoint at = pinned->visualRect(pinned->model()->index(0, 2)).center();
        QTest::mouseClick(pinned->viewport(), Qt::LeftButton, {}, at);
        QTest::mouseDClick(pinned->viewport(), Qt::LeftButton, {}, at);
        auto *choices = table->findChild<QComboBox *>(u"MappingChoice"_s);
        ASSERT_NE(choices, nullptr) << "no drop-down on the pinned mapping cell";
        QTest::keyClick(choices, Qt::Key_Down);
        EXPECT_EQ(cell(form, 0, 2), u"Name"_s);
        EXPECT_GT(table->verticalScrollBar()->value(), 0) << "the pick scrolled the grid away";

        table->scrollToTop();
        EXPECT_FALSE(pinned->isVisible()) << "back at the top the grid's own row shows";
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
}

TEST_F(WizardReadingTest, CutCellsShowTheirTextAndF4OpensTheMappingChoice)
{
    walkToMapping(nodesFile());
    user.then([](QWidget &form) {
        QTableView *table = importTable(form);
        ASSERT_NE(table, nullptr);
        const QModelIndex description = table->model()->index(3, 2);
        const QString whole = description.data().toString();
        ASSERT_FALSE(whole.isEmpty());

        auto tipAt = [table](const QModelIndex &index) {
            const QPoint at = table->visualRect(index).center();
            QHelpEvent help(QEvent::ToolTip, at, table->viewport()->mapToGlobal(at));
            QApplication::sendEvent(table->viewport(), &help);
            return QToolTip::isVisible() ? QToolTip::text() : QString();
        };
        // Every cell of the sample fits its column as Qt itself measures it (grid line included).
        for (int column = 0; column < table->model()->columnCount(); ++column)
            EXPECT_GE(table->columnWidth(column),
                      static_cast<QAbstractItemView *>(table)->sizeHintForColumn(column))
                << column;
        EXPECT_TRUE(tipAt(description).isEmpty()) << "a cell shown whole needs no tooltip";
        table->setColumnWidth(2, table->fontMetrics().horizontalAdvance(u"Core"_s));
        EXPECT_EQ(tipAt(description), whole);
        QToolTip::hideText();

        const struct
        {
            Qt::Key key;
            Qt::KeyboardModifiers modifiers;
        } openers[] = {{Qt::Key_F4, Qt::NoModifier}, {Qt::Key_Down, Qt::AltModifier}};
        for (const auto &opener : openers) {
            table->setFocus();
            table->setCurrentIndex(table->model()->index(5, 3));
            QTest::keyClick(table, opener.key, opener.modifiers);
            auto *choices = table->findChild<QComboBox *>(u"MappingChoice"_s);
            ASSERT_NE(choices, nullptr) << "key " << opener.key << " opened no drop-down";
            EXPECT_EQ(table->currentIndex(), table->model()->index(0, 3));
            EXPECT_TRUE(choices->view()->isVisible()) << "the list is not open";
            choices->hidePopup();
            QTest::keyClick(choices, Qt::Key_Escape);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
        EXPECT_EQ(cell(form, 0, 3), u"<ignore>"_s) << "opening the list alone binds nothing";
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
}

/// The key goes where the keyboard focus is, as a user's key does.
void press(QWidget &form, Qt::Key key)
{
    QWidget *focus = form.focusWidget();
    QTest::keyClick(focus ? focus : &form, key);
}

TEST_F(WizardReadingTest, AWholeImportRunsFromTheKeyboardAlone)
{
    user.answerFileDialog(nodesFile());
    user.then([](QWidget &form) {
        auto *methods = control<QListWidget>(form, u"ImportTypeList"_s);
        ASSERT_NE(methods, nullptr);
        methods->setFocus();
        QTest::keyClicks(methods, u"Text"_s); // the list finds an item by its first letters
        ASSERT_EQ(methods->currentItem()->text(), u"Text File"_s);
        press(form, Qt::Key_Return); // the file dialog opens with the file panel
    });
    for (const QString &panel : {u"FilePanel"_s, u"DelimiterPanel"_s, u"MapPanel"_s}) {
        user.then([panel](QWidget &form) {
            ASSERT_EQ(currentPanel(form), panel);
            press(form, Qt::Key_Return);
        });
    }
    user.then([](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"PreviewPanel"_s);
        // Tab leaves the grid rather than walking its cells.
        QTableView *table = importTable(form);
        table->setFocus();
        QTest::keyClick(table, Qt::Key_Tab);
        EXPECT_NE(form.focusWidget(), table);
        press(form, Qt::Key_Return);
    });
    user.then([](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"OptionsPanel"_s);
        auto *options = control<QTableWidget>(form, u"OptionsList"_s);
        options->setFocus();
        options->setCurrentCell(0, 1);
        QTest::keyClick(options, Qt::Key_Space);
        EXPECT_EQ(options->item(0, 0)->checkState(), Qt::Checked);
        press(form, Qt::Key_Return);
    });
    user.then([](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"ImportPanel"_s);
        click(form, u"cmdCancel"_s);
    });
    EXPECT_FALSE(startWizard());
    EXPECT_EQ(rows.size(), 14);
    EXPECT_TRUE(engine.ImportOptions()->Item(u"Overwrite"_s)->Value());
}

TEST_F(WizardReadingTest, SkippedRowsAreListedCountedPastTenThousandAndSaved)
{
    // The host takes the first line and skips the rest: five more than the window lists.
    QByteArray text;
    for (int line = 1; line <= Listed + 6; ++line)
        text += "n" + QByteArray::number(line) + ",10.2." + QByteArray::number(line / 200) + '.'
                + QByteArray::number(line % 200 + 1) + '\n';
    onNewRow = [this](QString &status, bool &skip) {
        skip = rows.size() > 1;
        status = skip ? u"Lab address, not monitored"_s : u"Added"_s;
    };
    walkToSelection(folder.write(u"many.csv"_s, text));
    user.then([](QWidget &form) { click(form, u"cmdNext"_s); });
    user.then([](QWidget &form) { click(form, u"cmdNext"_s); });
    const QString saved = folder.path() + u"/skipped.csv"_s;
    user.answerFileDialog(saved);
    user.answerFileDialog(u"/nonexistent/folder/skipped.csv"_s);
    user.then([this, saved](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"ImportPanel"_s);
        auto *list = control<QTableWidget>(form, u"SkippedRows"_s);
        ASSERT_TRUE(list && list->isVisible());
        ASSERT_EQ(list->rowCount(), Listed + 1);
        EXPECT_EQ(list->item(0, 0)->text(), u"2"_s); // the line in the file
        EXPECT_EQ(list->item(0, 1)->text(), u"Lab address, not monitored"_s);
        EXPECT_EQ(list->item(Listed - 1, 0)->text(), QString::number(Listed + 1));
        EXPECT_TRUE(list->item(Listed, 1)->text().contains(u" 5 more"_s));

        click(form, u"cmdSaveSkipped"_s);
        const QByteArray written = fileBytes(saved);
        EXPECT_TRUE(written.startsWith("n2,10.2.0.3,\"Lab address, not monitored\"\r\nn3,"))
            << written.left(100).toStdString();
        EXPECT_EQ(written.count("\r\n"), Listed + 5);
        EXPECT_TRUE(user.takeMessages().isEmpty());

        click(form, u"cmdSaveSkipped"_s); // a folder that does not exist
        const QString problem = user.takeMessages().join(u'|');
        EXPECT_TRUE(problem.startsWith(u"Cannot write '"_s)
                    && problem.contains(u"nonexistent/folder/skipped.csv'\r\n"_s))
            << problem.toStdString();
        EXPECT_EQ(user.messages().constLast().icon, QMessageBox::Critical);
        click(form, u"cmdCancel"_s);
    });
    EXPECT_FALSE(startWizard());
}

TEST_F(WizardReadingTest, EveryControlHasAnAccessibleNameAndNewButtonsAMnemonic)
{
    user.then([](QWidget &form) {
        const QList<QWidget *> widgets = form.findChildren<QWidget *>();
        int controls = 0;
        for (QWidget *widget : widgets) {
            const QString name = widget->objectName();
            const bool isControl = qobject_cast<QAbstractButton *>(widget)
                                   || qobject_cast<QLineEdit *>(widget)
                                   || qobject_cast<QComboBox *>(widget)
                                   || qobject_cast<QProgressBar *>(widget)
                                   || (qobject_cast<QAbstractItemView *>(widget)
                                       && !qobject_cast<QHeaderView *>(widget));
            if (!isControl || name.isEmpty() || name.startsWith(u"qt_"_s))
                continue;
            ++controls;
            EXPECT_FALSE(widget->accessibleName().isEmpty()) << name.toStdString();
        }
        EXPECT_GT(controls, 30);
        for (const QString &name :
             {u"cmdDetectDelimiters"_s, u"cmdMatchNames"_s, u"cmdSaveSkipped"_s})
            EXPECT_TRUE(control<QPushButton>(form, name)->text().contains(u'&'))
                << name.toStdString();
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
}

} // namespace

} // namespace MGImport8::Test
