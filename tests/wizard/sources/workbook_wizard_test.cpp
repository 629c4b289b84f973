// The spreadsheet panel's failures through the wizard, each message exactly (a sheet read and a
// sheet past the last are walked in the window and on the command line).

#include "wizard/sources/workbooksourcereader.h"
#include "wizardfixture.h"
#include "workbooktesting.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {
namespace {

class SpreadsheetPanel : public WizardFixture
{
protected:
    // Chooses the workbook method and walks to the spreadsheet panel with `path`.
    void openWorkbook(const QString &path)
    {
        chooseMethod(u"Sheet"_s);
        view.setFileAnswer(path);
        wizard->next();
        wizard->next();
        ASSERT_EQ(panel(), Panel::SpreadsheetPanel);
    }
    // The one message shown, with its icon and the component's title.
    QString take(MessageIcon icon)
    {
        const auto &messages = view.messages();
        if (messages.size() != 1)
            return u"%1 messages"_s.arg(messages.size());
        const auto message = messages.first();
        view.clearMessages();
        EXPECT_EQ(message.icon, icon);
        EXPECT_EQ(message.title, WorkbookMessageTitle);
        return message.text;
    }
};

TEST_F(SpreadsheetPanel, ShowsEachFailureWithItsOwnMessage)
{
    openWorkbook(writeFile(u"devices.xlsx"_s,
                           minimalXlsx(sheetXml("<row><c t=\"str\"><v>10.9.9.9</v></c></row>"))));
    EXPECT_TRUE(view.messages().isEmpty());
    wizard->selectWorksheet(5);
    EXPECT_EQ(grid().rowCount(), 0);
    view.clearMessages();
    wizard->next();
    EXPECT_EQ(takeExclamation(), u"Please select an Excel worksheet with data in it."_s);

    const QString lock = folder.write(u".~lock.devices.xlsx#"_s, "someone");
    wizard->selectWorksheet(0);
    EXPECT_EQ(take(MessageIcon::Critical),
              u"The file [devices.xlsx] is currently open by another application. "
              "Please close the other application and try again."_s);
    QFile::remove(lock);

    restart();
    openWorkbook(writeFile(u"damaged.xlsx"_s, QByteArray("PK\x03\x04", 4) + QByteArray(64, 'z')));
    const QString damaged = take(MessageIcon::Critical);
    EXPECT_TRUE(damaged.startsWith(u"There was en error trying to import [damaged.xlsx] in Excel"
                                   "\r\n\r\nAdditional information: 321 - "_s))
        << damaged.toStdString();
}

// A sheet whose repeated cells would fill the whole sheet area.
TEST_F(SpreadsheetPanel, ASheetTooLargeForTheGridAsksForAnother)
{
    MGIMPORT8_REQUIRE_CORPUS();
    openWorkbook(spreadsheet(u"calamine/issue_594_dos.ods"_s));
    EXPECT_TRUE(take(MessageIcon::Exclamation)
                    .startsWith(u"There was an error trying to load that worksheet, please "
                                "select a different worksheet.\r\n\r\nError Information: "
                                "The worksheet's used area holds more than"_s));
}

} // namespace
} // namespace MGImport8::Test
