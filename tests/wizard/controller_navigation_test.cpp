// Navigation the window walks do not reach: a method without a panel list refused without a crash,
// the delimiter boxes (preset, several "other" characters, a method's delimiter without a box), a
// file that vanishes, and a blank server or database.
#include "wizardfixture.h"

#include "wizard/delimiterchoice.h"

#include <MGImport8/importtypes.h>

#include <QFile>

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

using Navigation = WizardFixture;

TEST_F(Navigation, MethodWithoutPanelsIsRefusedAndLeavingEveryRowKeepsTheChoice)
{
    chooseMethod(u"Unlisted"_s);
    wizard->next();
    ASSERT_EQ(view.messages().size(), 1);
    EXPECT_EQ(view.messages().first().icon, MessageIcon::Critical);
    EXPECT_TRUE(view.messages().first().text.contains(u"'Unlisted'"_s));
    EXPECT_EQ(panel(), Panel::MethodPanel);
    view.clearMessages();

    chooseMethod(u"Text"_s);
    EXPECT_EQ(wizard->state().importTypeDescription, u"Delimited text"_s);
    wizard->selectMethodRow(-1);
    EXPECT_TRUE(wizard->state().importTypeDescription.isEmpty());
    wizard->next();
    EXPECT_EQ(panel(), Panel::FilePanel) << "another method still works afterwards";
}

TEST_F(Navigation, NextStaysWhenTheMethodNamesNoLaterPanel)
{
    chooseMethod(u"Short"_s);
    view.setFileAnswer(writeFile(u"s.txt"_s, "a;b\n"));
    wizard->next();
    wizard->next();
    ASSERT_EQ(panel(), Panel::DelimiterPanel);
    wizard->next();
    EXPECT_EQ(panel(), Panel::DelimiterPanel);
    EXPECT_TRUE(view.messages().isEmpty());
    EXPECT_FALSE(view.busy());
}

// A file that vanishes between panels: coming back re-reads it, and Next refuses. A file missing
// from the start and an empty one are the window tests'.
TEST_F(Navigation, AFileThatVanishesBetweenPanelsKeepsTheWizardOnTheFilePanel)
{
    chooseMethod(u"Text"_s);
    wizard->next();
    const QString empty = writeFile(u"empty.csv"_s, {});
    wizard->setFilename(empty);
    wizard->next();
    EXPECT_EQ(panel(), Panel::DelimiterPanel);
    QFile::remove(empty);
    wizard->back();
    wizard->next();
    EXPECT_EQ(panel(), Panel::FilePanel);
    EXPECT_TRUE(messageTexts().join(u""_s).startsWith(u"Cannot open 'empty.csv'"_s));
}

// Emptying, re-reading and the "other" box are walked in the window; here the text of several
// characters and the preset on coming back.
TEST_F(Navigation, OtherTextIsSeveralDelimitersAndComingBackPresetsTheBoxes)
{
    openText(writeFile(u"nodes.csv"_s, "a,b;c\n"));
    EXPECT_EQ(rowTexts(0), (QStringList{u"a"_s, u"b;c"_s}));
    wizard->setDelimiterChecked(2, false);
    view.clearMessages();
    wizard->setOtherDelimiter(u";b"_s);
    wizard->setDelimiterChecked(4, true);
    EXPECT_EQ(rowTexts(0), (QStringList{u"a,"_s, QString(), u"c"_s}));
    wizard->next();
    wizard->back();
    EXPECT_EQ(wizard->state().delimiterChecked,
              (std::array<bool, 5>{false, false, true, false, false}));
}

TEST(DelimiterPreset, OnlyTheLastCharactersBoxStaysChecked)
{
    // A method without a delimiter is read with a comma, and keeps it.
    const std::pair<QString, std::array<bool, 5>> cases[] = {
        {QString(), {false, false, true, false, false}},
        {u",;"_s, {false, true, false, false, false}},
        {u" |"_s, {false, false, false, false, false}},
    };
    for (const auto &[delimiter, checked] : cases) {
        ImportType method;
        method.setDelimiter(delimiter);
        WizardState state;
        state.delimiterChecked = {true, true, true, true, true};
        DelimiterChoice::preset(method, state);
        EXPECT_EQ(state.delimiterChecked, checked) << delimiter.toStdString();
        EXPECT_EQ(method.Delimiter(), delimiter.isEmpty() ? u","_s : delimiter);
    }
}

TEST_F(Navigation, BlankServerOrDatabaseKeepsTheWizardOnThePanel)
{
    chooseMethod(u"SQL"_s);
    wizard->next();
    ASSERT_EQ(panel(), Panel::DatabasePanel);
    // Nothing to connect to: a blank server is named as such, before a blank database.
    const QString noServer = u"Please select a SQL Server first"_s;
    const std::tuple<QString, QString, QString> blanks[] = {
        {QString(), QString(), noServer},
        {u"   "_s, u"Nodes"_s, noServer},
        {u"host"_s, QString(), u"Please select a SQL Database first"_s},
    };
    for (const auto &[server, database, message] : blanks) {
        wizard->setServerName(server);
        wizard->setDatabaseName(database);
        wizard->next();
        EXPECT_EQ(panel(), Panel::DatabasePanel);
        EXPECT_EQ(takeExclamation(), message) << server.toStdString();
    }
}

// A method whose delimiter has no box of its own leaves every box unchecked. The file panel then
// reads one field a line; the delimiter panel must not pass that grid off as the user's choice.
TEST_F(Navigation, DelimiterWithoutABoxAsksForOneOnTheDelimiterPanel)
{
    folder.write(u"methods/odd.ImportMethods"_s,
                 R"(<ImportMethods><ImportMethod NAME="Colon" METHOD="IMPORTTEXT" DISABLED="NO"
                    DELIMITER="COLON" PANELS="MethodPanel,FilePanel,DelimiterPanel,MapPanel"/>
                    </ImportMethods>)");
    restart();
    chooseMethod(u"Colon"_s);
    view.setFileAnswer(writeFile(u"odd.txt"_s, "10.0.0.1:a\n10.0.0.2:b\n"));
    wizard->next();
    wizard->next();
    ASSERT_EQ(panel(), Panel::DelimiterPanel) << messageTexts().join(u'\n').toStdString();
    EXPECT_EQ(wizard->state().delimiterChecked, (std::array<bool, 5>{}));
    EXPECT_EQ(takeExclamation(), u"Please select at least one delimiter"_s);
    wizard->next();
    EXPECT_EQ(panel(), Panel::DelimiterPanel);
    EXPECT_EQ(takeExclamation(), u"Please select a file with data in it."_s);
}

} // namespace

} // namespace MGImport8::Test
