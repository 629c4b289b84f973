// The wizard's messages and its source panels as the user meets them:
// - exit checks: no method chosen, a cancelled file dialog, a blank file name, an unreadable file;
//   each box with the icon it asks for and the application's title;
// - the database panel's controls: security choice enabling the login frame, the password's echo,
//   the login check when the server list is opened, a server that cannot be reached;
// - a workbook from elsewhere (corpus) fills the worksheet panel's grid from its first sheet;
// - a real inventory from elsewhere (corpus) imported with its address column found by content.
#include "formfixture.h"

#include <QComboBox>
#include <QFrame>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTableView>
#include <QTest>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

class WizardPanelsTest : public FormFixture
{};

TEST_F(WizardPanelsTest, ExitChecksKeepTheUserOnThePanelWithTheirMessage)
{
    user.answerFileDialog(std::nullopt); // the dialog that opens with the file panel: cancelled
    user.then([this](QWidget &form) {
        click(form, u"cmdNext"_s);
        EXPECT_EQ(user.takeMessages(),
                  QStringList({u"Please select an item from the list first."_s}));
        EXPECT_EQ(user.messages().constLast().icon, QMessageBox::Warning);
        EXPECT_EQ(user.messages().constLast().title, u"Node Inventory"_s);
        ASSERT_EQ(currentPanel(form), u"MethodPanel"_s);

        chooseMethod(form, u"Text File"_s);
        EXPECT_FALSE(control<QLabel>(form, u"ImportTypeDescription"_s)->text().isEmpty());
        click(form, u"cmdNext"_s);
        ASSERT_EQ(currentPanel(form), u"FilePanel"_s);
        EXPECT_EQ(user.fileDialogCount(), 1);
        auto *filename = control<QLineEdit>(form, u"Filename"_s);
        EXPECT_TRUE(filename->text().isEmpty()); // cancelling the dialog changed nothing
        EXPECT_EQ(control<QLabel>(form, u"SelectFileTitle"_s)->text(), u"Select Text File"_s);

        QTest::keyClicks(filename, u"   "_s);
        click(form, u"cmdNext"_s);
        EXPECT_EQ(user.takeMessages(), QStringList({u"Please select a file first."_s}));
        EXPECT_TRUE(filename->text().isEmpty()); // trimmed, and written back

        QTest::keyClicks(filename, u"/nonexistent/folder/devices.csv"_s);
        click(form, u"cmdNext"_s);
        const QStringList cannotOpen = user.takeMessages();
        ASSERT_EQ(cannotOpen.size(), 1);
        EXPECT_TRUE(cannotOpen.constFirst().startsWith(u"Cannot open 'devices.csv'\r\n"_s))
            << cannotOpen.constFirst().toStdString();
        EXPECT_EQ(currentPanel(form), u"FilePanel"_s);

        // The browse button opens the dialog again; a chosen file lands in the text box.
        user.answerFileDialog(nodesFile());
        click(form, u"cmdSelectFile"_s);
        EXPECT_EQ(filename->text(), nodesFile());
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
}

TEST_F(WizardPanelsTest, DatabasePanelOffersItsControlsAndChecksTheLoginFirst)
{
    user.then([this](QWidget &form) {
        chooseMethod(form, u"SQL Server Database"_s);
        click(form, u"cmdNext"_s);
        ASSERT_EQ(currentPanel(form), u"DatabasePanel"_s);
        EXPECT_EQ(user.fileDialogCount(), 0);

        auto *server = control<QComboBox>(form, u"ServerName"_s);
        auto *integrated = control<QRadioButton>(form, u"radioNTSecurity"_s);
        auto *sqlLogin = control<QRadioButton>(form, u"radioSQLSecurity"_s);
        auto *loginFrame = control<QFrame>(form, u"SQLLoginFrame"_s);
        auto *password = control<QLineEdit>(form, u"LoginPassword"_s);
        auto *database = control<QComboBox>(form, u"DatabaseName"_s);
        ASSERT_TRUE(server && integrated && sqlLogin && loginFrame && password && database);
        EXPECT_NE(control<QLabel>(form, u"StatusMessage"_s), nullptr);
        EXPECT_TRUE(server->isEditable());
        EXPECT_TRUE(database->isEditable());
        EXPECT_TRUE(integrated->isChecked());
        EXPECT_FALSE(loginFrame->isEnabled());
        EXPECT_EQ(password->echoMode(), QLineEdit::Password);

        QTest::mouseClick(sqlLogin, Qt::LeftButton);
        EXPECT_TRUE(loginFrame->isEnabled());
        EXPECT_FALSE(integrated->isChecked());

        // Opening the server list with a blank login name asks for one and finds nothing.
        QTest::keyClicks(control<QLineEdit>(form, u"LoginName"_s), u"  "_s);
        user.takeMessages();
        QTest::keyClick(server, Qt::Key_Down, Qt::AltModifier);
        ASSERT_EQ(user.takeMessages(),
                  QStringList({u"Please enter a valid username for the SQL Server Login Name."_s}));
        EXPECT_EQ(user.messages().constLast().icon, QMessageBox::Critical);
        EXPECT_EQ(user.messages().constLast().title, u"Login name needed"_s);
        server->hidePopup();

        QTest::mouseClick(integrated, Qt::LeftButton);
        EXPECT_FALSE(loginFrame->isEnabled());
        QTest::keyClicks(server, u"inventory-db"_s);
        QTest::keyClicks(database, u"Nodes"_s);
        click(form, u"cmdNext"_s);
        // No such server answers here: the user hears that its tables cannot be listed and stays.
        EXPECT_EQ(currentPanel(form), u"DatabasePanel"_s);
        ASSERT_FALSE(user.messages().isEmpty());
        EXPECT_EQ(user.messages().constLast().icon, QMessageBox::Warning);
        EXPECT_TRUE(user.messages().constLast().text.startsWith(
            u"Cannot open 'Nodes'' on 'inventory-db\r\n"_s))
            << user.messages().constLast().text.toStdString();
        EXPECT_EQ(server->currentText(), u"inventory-db"_s);
        click(form, u"cmdBack"_s);
        ASSERT_EQ(currentPanel(form), u"MethodPanel"_s);
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
}

TEST_F(WizardPanelsTest, WorkbookFromElsewhereFillsTheWorksheetPanel)
{
    MGIMPORT8_REQUIRE_CORPUS();
    const QString workbook = corpusDir() + u"/inventories/Cerveira_PowerPing/devices.xlsx"_s;
    user.answerFileDialog(workbook);
    user.then([this](QWidget &form) {
        chooseMethod(form, u"Excel Spreadsheet"_s);
        click(form, u"cmdNext"_s);
        ASSERT_EQ(currentPanel(form), u"FilePanel"_s);
        EXPECT_EQ(user.lastFileDialogFilters().value(0),
                  u"Spreadsheets (*.xlsx *.xlsm *.xls *.ods)"_s);
        click(form, u"cmdNext"_s);
        ASSERT_EQ(currentPanel(form), u"SpreadsheetPanel"_s);
        EXPECT_EQ(control<QComboBox>(form, u"Worksheet"_s)->count(), 11);
        EXPECT_EQ(control<QComboBox>(form, u"Worksheet"_s)->currentText(), u"Sheet1"_s);
        EXPECT_GT(control<QTableView>(form, u"ImportTable"_s)->model()->rowCount(), 1);
        EXPECT_TRUE(user.messages().isEmpty());
        click(form, u"cmdCancel"_s);
    });
    EXPECT_TRUE(startWizard());
}

TEST_F(WizardPanelsTest, InventoryFromElsewhereImportsTheRowsWithValidAddresses)
{
    MGIMPORT8_REQUIRE_CORPUS();
    // Stacki's host sheet: NAME,APPLIANCE,RACK,RANK,IP,MAC,INTERFACE,SUBNET.
    walkToSelection(corpusDir() + u"/inventories/Teradata_stacki-wiki/hosts.csv"_s);
    int ticked = 0;
    user.then([&ticked](QWidget &form) {
        EXPECT_EQ(cell(form, 0, 5), u"IP"_s); // column 4 of the file, behind the tick column
        ticked = int(checkedRows(form).size());
        EXPECT_GT(ticked, 0);
        EXPECT_FALSE(checkedRows(form).contains(1)); // the header line
        click(form, u"cmdNext"_s);
        click(form, u"cmdNext"_s);
    });
    user.then([](QWidget &form) {
        ASSERT_EQ(currentPanel(form), u"ImportPanel"_s);
        click(form, u"cmdCancel"_s); // Done
    });
    EXPECT_FALSE(startWizard());
    EXPECT_EQ(rows.size(), ticked);
    EXPECT_EQ(completions, 1);
    for (const auto &row : std::as_const(rows))
        EXPECT_TRUE(row.value(u"IP"_s).startsWith(u"10."_s)) << row.value(u"IP"_s).toStdString();
}

} // namespace

} // namespace MGImport8::Test
