// The wizard as a person reads it on long and awkward files:
// - the mapping row stays pinned over the grid when it scrolls down, and picks made there bind;
// - column widths account for long names in the middle of the table, grow (never shrink) as longer
//   ones scroll into sight, and a cut cell shows its whole text as a tooltip;
// - the tick column has its own heading and source columns keep their numbers on every panel;
// - F4 and Alt+Down open the mapping drop-down of the current column; a whole import runs from
//   the keyboard alone, Tab leaving the grid and the space bar ticking an option;
// - a message box keeps the lines its text breaks, each whole;
// - "Detect delimiters" and "Match names from the first line" on a plain header line;
// - the rows the host skipped are listed with their line and status, and saved for a new import;
//   past ten thousand the rest are counted, not listed, and all are still saved;
// - every control has an accessible name;
// - the window follows a dark system palette, except for the mapping row's fixed colours.
#include "formfixture.h"

#include <MGImport8/importoption.h>
#include <MGImport8/importoptions.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QHeaderView>
#include <QHelpEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QToolTip>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

constexpr int LongFileLines = 3000;
/// Skipped rows the window lists one by one, and a file with a few more.
constexpr int Listed = 10000;
constexpr int Lines = Listed + 5;
/// Lines of the long file holding longer names than the rest: the middle (sampled when the table
/// arrives) and a place no sample reaches (seen only when scrolled to).
constexpr int MiddleLine = LongFileLines / 2;
constexpr int FarLine = 2500;
const QString middleName = u"switch-in-the-middle-of-the-list-with-a-long-name"_s;
const QString farName = u"router-far-down-in-the-basement-rack-seventeen-with-an-even-longer-name"_s;

class WizardReadingTest : public FormFixture
{
protected:
    /// Writes `text` into the test's folder and returns its path.
    QString writeFile(const QString &name, const QByteArray &text)
    {
        const QString path = folder.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        return path;
    }

    /// A device list: a header line, then a name, an address and a description on each line.
    QString longDeviceList()
    {
        QByteArray text = "Name,IP,Description\n";
        for (int line = 2; line <= LongFileLines; ++line) {
            QString name = u"host-"_s + QString::number(line);
            if (line == MiddleLine)
                name = middleName;
            if (line == FarLine)
                name = farName;
            text += name.toUtf8() + ",10.1." + QByteArray::number(line / 250) + '.'
                    + QByteArray::number(line % 250 + 1) + ",edge switch\n";
        }
        return writeFile(u"devices.csv"_s, text);
    }

    QTemporaryDir folder;
};

int cellWidth(QTableView *table, int row, int column)
{
    return table->sizeHintForIndex(table->model()->index(row, column)).width();
}

QTableView *pinnedRow(QTableView *table)
{
    return table->findChild<QTableView *>(u"PinnedMappingRow"_s);
}

TEST_F(WizardReadingTest, MappingRowStaysPinnedAndColumnsFitTheWholeTable)
{
    walkToMapping(longDeviceList());
    user.then([](QWidget &form) {
        QTableView *table = importTable(form);
        ASSERT_NE(table, nullptr);
        QTableView *pinned = pinnedRow(table);
        ASSERT_NE(pinned, nullptr);
        EXPECT_FALSE(pinned->isVisible()) << "at the top the grid's own row 0 shows";

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
        EXPECT_EQ(pinned->model()->index(0, 1).data().toString(), u"IP"_s);
        EXPECT_EQ(pinned->columnWidth(0), table->columnWidth(0));
        // The row scrolled to is not hidden under the pinned row.
        EXPECT_GE(table->visualRect(table->model()->index(FarLine, 0)).top(), pinned->height());

        // A pick on the pinned row binds the column, with the colour of a pick.
        const QPoint at = pinned->visualRect(pinned->model()->index(0, 2)).center();
        QTest::mouseClick(pinned->viewport(), Qt::LeftButton, {}, at);
        QTest::mouseDClick(pinned->viewport(), Qt::LeftButton, {}, at);
        auto *choices = table->findChild<QComboBox *>(u"MappingChoice"_s);
        ASSERT_NE(choices, nullptr) << "no drop-down on the pinned mapping cell";
        QTest::keyClick(choices, Qt::Key_Down);
        EXPECT_EQ(cell(form, 0, 2), u"Name"_s);
        EXPECT_EQ(gridModel(form)->index(0, 2).data(Qt::ForegroundRole).value<QColor>(),
                  QColor(0, 0, 255));
        EXPECT_GT(table->verticalScrollBar()->value(), 0) << "the pick scrolled the grid away";

        // Back at the top: the grid's own row, the widths kept.
        const int widened = table->columnWidth(0);
        table->scrollToTop();
        EXPECT_FALSE(pinned->isVisible());
        EXPECT_EQ(table->columnWidth(0), widened);
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
        for (int step = 0;
             step < methods->count()
             && (!methods->currentItem() || methods->currentItem()->text() != u"Text File"_s);
             ++step)
            QTest::keyClick(methods, Qt::Key_Down);
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

TEST_F(WizardReadingTest, TickColumnHasItsOwnHeadingAndSourceColumnsKeepTheirNumbers)
{
    walkToMapping(nodesFile());
    user.then([](QWidget &form) {
        QAbstractItemModel *model = gridModel(form);
        ASSERT_NE(model, nullptr);
        EXPECT_EQ(model->headerData(0, Qt::Horizontal).toInt(), 1);
        EXPECT_EQ(model->headerData(4, Qt::Horizontal).toInt(), 5);
        click(form, u"cmdNext"_s);
    });
    user.then([](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"PreviewPanel"_s);
        QAbstractItemModel *model = gridModel(form);
        EXPECT_EQ(model->headerData(0, Qt::Horizontal).toString(), u"Import"_s);
        EXPECT_EQ(model->headerData(1, Qt::Horizontal).toInt(), 1);
        EXPECT_EQ(model->headerData(5, Qt::Horizontal).toInt(), 5);
        // No mapping edits here: F4 leaves the current row (and the rows a toggle acts on) alone.
        QTableView *table = importTable(form);
        table->setCurrentIndex(model->index(5, 1));
        QTest::keyClick(table, Qt::Key_F4);
        EXPECT_EQ(table->currentIndex().row(), 5);
        EXPECT_EQ(table->findChild<QComboBox *>(u"MappingChoice"_s), nullptr);
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
}

TEST_F(WizardReadingTest, MessagesKeepTheirLinesWhole)
{
    engine.setRequiredColumns(u"Description,IP"_s);
    walkToMapping(nodesFile());
    user.then([this](QWidget &form) {
        click(form, u"cmdNext"_s);
        ASSERT_EQ(user.takeMessages().size(), 1);
        EXPECT_TRUE(user.messages().constLast().text.contains(
            u"\r\nand select 'Description' from the drop-down menu."_s));
        EXPECT_TRUE(user.messages().constLast().linesWhole);
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
}

TEST_F(WizardReadingTest, DetectDelimitersAndMatchNamesOnAPlainHeaderLine)
{
    const QString path = writeFile(u"semicolons.txt"_s, "name;IP;location\n"
                                                        "alpha;10.1.0.1;Oslo, harbour\n"
                                                        "beta;10.1.0.2;Bergen\n"
                                                        "gamma;10.1.0.3;Tromso, north\n"
                                                        "delta;10.1.0.4;Bodo\n"
                                                        "epsilon;10.1.0.5;Alta, east\n");
    walkToDelimiters(path);
    user.then([](QWidget &form) {
        EXPECT_EQ(gridModel(form)->columnCount(), 2) << "the method's comma comes first";
        click(form, u"cmdDetectDelimiters"_s);
        EXPECT_TRUE(control<QCheckBox>(form, u"chkDelimit_1"_s)->isChecked());
        EXPECT_FALSE(control<QCheckBox>(form, u"chkDelimit_2"_s)->isChecked());
        EXPECT_EQ(gridModel(form)->columnCount(), 3);
        EXPECT_EQ(cell(form, 1, 2), u"Oslo, harbour"_s);
        click(form, u"cmdNext"_s);
    });
    user.then([](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"MapPanel"_s);
        // Without "HEADER:" only the address column is bound, by its contents.
        EXPECT_EQ(cell(form, 0, 0), u"<ignore>"_s);
        EXPECT_EQ(cell(form, 0, 1), u"IP"_s);
        click(form, u"cmdMatchNames"_s);
        EXPECT_EQ(cell(form, 0, 0), u"Name"_s);
        EXPECT_EQ(cell(form, 0, 1), u"IP"_s);
        EXPECT_EQ(cell(form, 0, 2), u"Location"_s);
        EXPECT_EQ(gridModel(form)->index(0, 0).data(Qt::ForegroundRole).value<QColor>(),
                  QColor(0, 0, 255));
        click(form, u"cmdNext"_s);
    });
    user.then([this](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"PreviewPanel"_s);
        EXPECT_EQ(checkedRows(form), QList<int>({2, 3, 4, 5, 6}))
            << "the header line has no address";
        EXPECT_TRUE(user.takeMessages().isEmpty());
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
}

TEST_F(WizardReadingTest, SkippedRowsAreListedAndSavedForANewImport)
{
    onNewRow = [this](QString &status, bool &skip) {
        if (rows.constLast().value(u"IP"_s).startsWith(u"10.30."_s)) {
            skip = true;
            status = u"Lab address, not monitored"_s;
        } else {
            status = u"Added"_s;
        }
    };
    walkToSelection(nodesFile());
    user.then([](QWidget &form) { click(form, u"cmdNext"_s); });
    user.then([](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"OptionsPanel"_s);
        click(form, u"cmdNext"_s);
    });
    const QString saved = folder.filePath(u"skipped.csv"_s);
    user.answerFileDialog(saved);
    user.answerFileDialog(u"/nonexistent/folder/skipped.csv"_s);
    user.then([this, saved](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"ImportPanel"_s);
        auto *list = control<QTableWidget>(form, u"SkippedRows"_s);
        ASSERT_NE(list, nullptr);
        ASSERT_TRUE(list->isVisible());
        ASSERT_EQ(list->rowCount(), 2);
        EXPECT_EQ(list->item(0, 0)->text(), u"15"_s); // the line of sw-lab-01 in the file
        EXPECT_EQ(list->item(1, 0)->text(), u"16"_s);
        EXPECT_EQ(list->item(0, 1)->text(), u"Lab address, not monitored"_s);

        click(form, u"cmdSaveSkipped"_s);
        QFile file(saved);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), "sw-lab-01,10.30.0.1,Lab switch,Lab,lab@example.org,"
                                  "\"Lab address, not monitored\"\r\n"
                                  "sw-lab-02,10.30.0.2,Lab switch,Lab,lab@example.org,"
                                  "\"Lab address, not monitored\"\r\n");
        EXPECT_TRUE(user.takeMessages().isEmpty());

        click(form, u"cmdSaveSkipped"_s); // a folder that does not exist
        const QStringList problems = user.takeMessages();
        ASSERT_EQ(problems.size(), 1);
        EXPECT_TRUE(problems.constFirst().startsWith(u"Cannot write '"_s)
                    && problems.constFirst().contains(u"nonexistent/folder/skipped.csv'\r\n"_s))
            << problems.constFirst().toStdString();
        EXPECT_EQ(user.messages().constLast().icon, QMessageBox::Critical);
        click(form, u"cmdCancel"_s);
    });
    EXPECT_FALSE(startWizard());
}

TEST_F(WizardReadingTest, BeyondTenThousandSkippedRowsTheRestAreCountedAndAllSaved)
{
    QByteArray text;
    for (int line = 1; line <= Lines; ++line)
        text += "n" + QByteArray::number(line) + ",10.2." + QByteArray::number(line / 200) + '.'
                + QByteArray::number(line % 200 + 1) + '\n';
    onNewRow = [](QString &status, bool &skip) {
        skip = true;
        status = u"Known already"_s;
    };
    walkToSelection(writeFile(u"many.csv"_s, text));
    user.then([](QWidget &form) { click(form, u"cmdNext"_s); });
    user.then([](QWidget &form) { click(form, u"cmdNext"_s); });
    const QString saved = folder.filePath(u"skipped.csv"_s);
    user.answerFileDialog(saved);
    user.then([saved](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"ImportPanel"_s);
        auto *list = control<QTableWidget>(form, u"SkippedRows"_s);
        ASSERT_EQ(list->rowCount(), Listed + 1);
        EXPECT_EQ(list->item(Listed - 1, 0)->text(), QString::number(Listed));
        EXPECT_TRUE(list->item(Listed, 1)->text().contains(u" 5 more"_s));
        click(form, u"cmdSaveSkipped"_s);
        QFile file(saved);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll().count("\r\n"), Lines);
        click(form, u"cmdCancel"_s);
    });
    EXPECT_FALSE(startWizard());
}

TEST_F(WizardReadingTest, DarkPaletteIsFollowedExceptForTheFixedColours)
{
    const QPalette before = QApplication::palette();
    QPalette dark = before;
    dark.setColor(QPalette::Base, QColor(30, 30, 30));
    dark.setColor(QPalette::Text, QColor(230, 230, 230));
    dark.setColor(QPalette::Window, QColor(45, 45, 45));
    dark.setColor(QPalette::WindowText, QColor(230, 230, 230));
    QApplication::setPalette(dark);
    walkToMapping(nodesFile());
    user.then([dark](QWidget &form) {
        QTableView *table = importTable(form);
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(table->palette().color(QPalette::Base), dark.color(QPalette::Base));
        EXPECT_EQ(form.palette().color(QPalette::Window), dark.color(QPalette::Window));
        QAbstractItemModel *model = gridModel(form);
        // Data cells take the palette's colours; the mapping row keeps its grey.
        EXPECT_FALSE(model->index(3, 1).data(Qt::ForegroundRole).isValid());
        EXPECT_FALSE(model->index(3, 1).data(Qt::BackgroundRole).isValid());
        EXPECT_EQ(model->index(0, 1).data(Qt::BackgroundRole).value<QColor>(),
                  QColor(200, 200, 200));
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
    QApplication::setPalette(before);
}

TEST_F(WizardReadingTest, EveryControlHasAnAccessibleNameAndNewButtonsAMnemonic)
{
    user.then([](QWidget &form) {
        const QList<QWidget *> widgets = form.findChildren<QWidget *>();
        int controls = 0;
        for (QWidget *widget : widgets) {
            const QString name = widget->objectName();
            const bool control = qobject_cast<QAbstractButton *>(widget)
                                 || qobject_cast<QLineEdit *>(widget)
                                 || qobject_cast<QComboBox *>(widget)
                                 || qobject_cast<QProgressBar *>(widget)
                                 || (qobject_cast<QAbstractItemView *>(widget)
                                     && !qobject_cast<QHeaderView *>(widget));
            if (!control || name.isEmpty() || name.startsWith(u"qt_"_s))
                continue;
            ++controls;
            EXPECT_FALSE(widget->accessibleName().isEmpty()) << name.toStdString();
        }
        EXPECT_GT(controls, 30);
        for (const QString &name :
             {u"cmdDetectDelimiters"_s, u"cmdMatchNames"_s, u"cmdSaveSkipped"_s}) {
            auto *button = control<QPushButton>(form, name);
            ASSERT_NE(button, nullptr);
            EXPECT_TRUE(button->text().contains(u'&')) << name.toStdString();
        }
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
}

} // namespace

} // namespace MGImport8::Test
