// The wizard's messages and its source panels as the user meets them:
// - exit checks: a cancelled file dialog, a blank file name, an unreadable file (its box keeping
//   each line of the text whole);
// - the database panel's controls: security choice enabling the login frame, the password's echo,
//   the login check when the server list is opened;
// - a real inventory from elsewhere (corpus) imported with its address column found by content.
#include "formfixture.h"

#include <QComboBox>
#include <QFrame>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

using WizardPanelsTest = FormFixture;

TEST_F(WizardPanelsTest, ExitChecksKeepTheUserOnThePanelWithTheirMessage)
{
    user.answerFileDialog(std::nullopt); // the dialog that opens with the file panel: cancelled
    user.then([this](QWidget &form) {
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
        EXPECT_TRUE(user.takeMessages().value(0).startsWith(u"Cannot open 'devices.csv'\r\n"_s));
        EXPECT_TRUE(user.messages().constLast().linesWhole) << "a line of the box was split";
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

        auto *server = control<QComboBox>(form, u"ServerName"_s);
        auto *integrated = control<QRadioButton>(form, u"radioNTSecurity"_s);
        auto *sqlLogin = control<QRadioButton>(form, u"radioSQLSecurity"_s);
        auto *loginFrame = control<QFrame>(form, u"SQLLoginFrame"_s);
        auto *password = control<QLineEdit>(form, u"LoginPassword"_s);
        ASSERT_TRUE(server && integrated && sqlLogin && loginFrame && password);
        EXPECT_TRUE(integrated->isChecked());
        EXPECT_FALSE(loginFrame->isEnabled());
        EXPECT_EQ(password->echoMode(), QLineEdit::Password);

        QTest::mouseClick(sqlLogin, Qt::LeftButton);
        EXPECT_TRUE(loginFrame->isEnabled());

        // Opening the server list with a blank login name asks for one and finds nothing.
        QTest::keyClicks(control<QLineEdit>(form, u"LoginName"_s), u"  "_s);
        user.takeMessages();
        QTest::keyClick(server, Qt::Key_Down, Qt::AltModifier);
        ASSERT_EQ(user.takeMessages(),
                  QStringList({u"Please enter a valid username for the SQL Server Login Name."_s}));
        EXPECT_EQ(user.messages().constLast().icon, QMessageBox::Critical);
        EXPECT_EQ(user.messages().constLast().title, u"Login name needed"_s);
        server->hidePopup();
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
        click(form, u"cmdNext"_s); // the import runs inside the click
        ASSERT_EQ(currentPanel(form), u"ImportPanel"_s);
        click(form, u"cmdCancel"_s); // Done
    });
    EXPECT_FALSE(startWizard());
    EXPECT_EQ(rows.size(), ticked);
    for (const auto &row : std::as_const(rows))
        EXPECT_TRUE(row.value(u"IP"_s).startsWith(u"10."_s)) << row.value(u"IP"_s).toStdString();
}

} // namespace

} // namespace MGImport8::Test
