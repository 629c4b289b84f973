// The spreadsheet panel through the wizard: the grid it fills, and its messages, exactly.

#include "wizard/importgrid.h"
#include "wizard/sources/workbooksourcereader.h"
#include "wizardfixture.h"
#include "workbooktesting.h"

#include <xlsxwriter.h>

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
    QString twoSheetBook()
    {
        const QString path = folder.path() + u"/devices.xlsx"_s;
        lxw_workbook *book = workbook_new(QFile::encodeName(path).constData());
        lxw_worksheet *routers = workbook_add_worksheet(book, "Routers");
        worksheet_write_string(routers, 0, 0, "Name", nullptr);
        worksheet_write_string(routers, 0, 1, "IP", nullptr);
        worksheet_write_string(routers, 1, 0, "core", nullptr);
        worksheet_write_string(routers, 1, 1, "10.0.0.1", nullptr);
        lxw_worksheet *other = workbook_add_worksheet(book, "Other");
        worksheet_write_string(other, 0, 0, "10.9.9.9", nullptr);
        workbook_close(book);
        return path;
    }
    // The one message shown, which must have the critical icon and the component's title.
    QString takeCritical()
    {
        const auto &messages = view.messages();
        if (messages.size() != 1)
            return u"%1 messages"_s.arg(messages.size());
        const auto message = messages.first();
        view.clearMessages();
        EXPECT_EQ(message.icon, MessageIcon::Critical);
        EXPECT_EQ(message.title, WorkbookMessageTitle);
        return message.text;
    }
};

TEST_F(SpreadsheetPanel, LoadsTheFirstSheetAndReplacesItWithAnother)
{
    openWorkbook(twoSheetBook());
    EXPECT_TRUE(view.messages().isEmpty());
    EXPECT_EQ(wizard->state().worksheetDescription,
              u"Which worksheet from devices.xlsx should we use ?"_s);
    EXPECT_EQ(wizard->state().worksheets.size(), 11);
    EXPECT_EQ(rowTexts(0), (QStringList{u"Name"_s, u"IP"_s}));
    EXPECT_EQ(grid().rowCount(), 2);
    wizard->selectWorksheet(1);
    EXPECT_EQ(grid().rowCount(), 1);
    EXPECT_EQ(grid().columnCount(), 1);
    EXPECT_EQ(rowTexts(0), QStringList{u"10.9.9.9"_s});
    wizard->next();
    EXPECT_EQ(panel(), Panel::MapPanel);
}

TEST_F(SpreadsheetPanel, ShowsEachFailureWithItsOwnMessage)
{
    const QString book = twoSheetBook();
    openWorkbook(book);
    wizard->selectWorksheet(5);
    EXPECT_EQ(takeCritical(), u"There was en error trying to import [devices.xlsx] in Excel\r\n\r\n"
                              "Additional information: 9 - The workbook has 2 sheet(s); there is "
                              "no sheet 6"_s);
    EXPECT_EQ(grid().rowCount(), 0);
    wizard->next();
    EXPECT_EQ(takeExclamation(), u"Please select an Excel worksheet with data in it."_s);

    const QString lock = folder.write(u".~lock.devices.xlsx#"_s, "someone");
    wizard->selectWorksheet(0);
    EXPECT_EQ(takeCritical(), u"The file [devices.xlsx] is currently open by another application. "
                              "Please close the other application and try again."_s);
    QFile::remove(lock);

    restart();
    openWorkbook(writeFile(u"damaged.xlsx"_s, QByteArray("PK\x03\x04", 4) + QByteArray(64, 'z')));
    const QString damaged = takeCritical();
    EXPECT_TRUE(damaged.startsWith(u"There was en error trying to import [damaged.xlsx] in Excel"
                                   "\r\n\r\nAdditional information: 321 - "_s))
        << damaged.toStdString();
}

TEST_F(SpreadsheetPanel, ASheetTooLargeForTheGridAsksForAnother)
{
    // One value repeated over every row and column of the sheet.
    const QByteArray content
        = "<office:document-content xmlns:office=\"o\" xmlns:table=\"t\" xmlns:text=\"x\">"
          "<office:body><office:spreadsheet><table:table><table:table-row "
          "table:number-rows-repeated=\"1048576\"><table:table-cell "
          "table:number-columns-repeated=\"16384\" office:value-type=\"float\" office:value=\"1\"/>"
          "</table:table-row></table:table></office:spreadsheet></office:body>"
          "</office:document-content>";
    const QString path = writeFile(u"huge.ods"_s,
                                   zipParts({{u"mimetype"_s,
                                              "application/vnd.oasis.opendocument.spreadsheet"},
                                             {u"content.xml"_s, content}}));
    openWorkbook(path);
    ASSERT_EQ(view.messages().size(), 1);
    const auto message = view.messages().first();
    EXPECT_EQ(message.icon, MessageIcon::Exclamation);
    EXPECT_EQ(message.title, WorkbookMessageTitle);
    EXPECT_TRUE(message.text.startsWith(u"There was an error trying to load that worksheet, please "
                                        "select a different worksheet.\r\n\r\nError Information: "
                                        "The worksheet's used area holds more than"_s))
        << message.text.toStdString();
}

} // namespace
} // namespace MGImport8::Test
