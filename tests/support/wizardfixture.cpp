#include "wizardfixture.h"

using namespace Qt::StringLiterals;

namespace MGImport8::Test {

namespace {

// The text method as shipped, plus methods that exercise the navigation's edges.
const QByteArray methodFile = R"(<?xml version="1.0"?><ImportMethods>
<ImportMethod NAME="Text" METHOD="IMPORTTEXT" DISABLED="NO" ICON="Text" DESCRIPTION="Delimited text"
 SELECTFILETITLE="Select Text File" SELECTFILEDESCRIPTION="Choose the file" DELIMITER="COMMA"
 PATTERN="Text Files (*.txt;*.csv)|*.txt;*.csv"
 PANELS="MethodPanel,FilePanel,DelimiterPanel,MapPanel,PreviewPanel,OptionsPanel,ImportPanel"/>
<ImportMethod NAME="Old" METHOD="IMPORTTEXT" DISABLED="YES" ICON="Text"
 PANELS="MethodPanel,FilePanel"/>
<ImportMethod NAME="Unlisted" METHOD="IMPORTTEXT" DISABLED="NO"/>
<ImportMethod NAME="Short" METHOD="IMPORTTEXT" DISABLED="NO" DELIMITER="SEMICOLON"
 PANELS="MethodPanel,FilePanel,DelimiterPanel"/>
<ImportMethod NAME="Access" METHOD="IMPORTACCESS" DISABLED="NO" ICON="Access"
 PANELS="MethodPanel,FilePanel,TablePanel,MapPanel,PreviewPanel,OptionsPanel,ImportPanel"/>
<ImportMethod NAME="Sheet" METHOD="IMPORTEXCEL" DISABLED="NO" ICON="Excel"
 PANELS="MethodPanel,FilePanel,SpreadsheetPanel,MapPanel"/>
<ImportMethod NAME="SQL" METHOD="IMPORTSQL" DISABLED="NO" ICON="SQL"
 PANELS="MethodPanel,DatabasePanel,TablePanel,MapPanel"/></ImportMethods>)";

} // namespace

WizardFixture::WizardFixture()
{
    engine.setColumns(u"Name,IP,Location"_s);
    engine.setRequiredColumns(u"IP"_s);
    engine.setIPColumn(u"IP"_s);
}

void WizardFixture::SetUp()
{
    folder.write(u"methods/test.ImportMethods"_s, methodFile);
    methodsPath = std::make_unique<ScopedEnv>("MGIMPORT8_METHODS_PATH",
                                              (folder.path() + u"/methods"_s).toUtf8());
    restart();
}

void WizardFixture::restart()
{
    view.clearMessages();
    wizard.reset();
    wizard = std::make_unique<WizardController>(engine, view);
    wizard->start();
}

QString WizardFixture::writeFile(const QString &name, const QByteArray &content)
{
    return folder.write(name, content);
}

void WizardFixture::chooseMethod(const QString &name)
{
    const QList<MethodListRow> &rows = wizard->state().methods;
    const auto found = std::find_if(rows.begin(), rows.end(),
                                    [&](const MethodListRow &row) { return row.name == name; });
    ASSERT_NE(found, rows.end()) << "no method " << name.toStdString();
    wizard->selectMethodRow(int(found - rows.begin()));
}

void WizardFixture::openText(const QString &path)
{
    chooseMethod(u"Text"_s);
    view.setFileAnswer(path);
    wizard->next(); // the file panel opens the dialog at once
    ASSERT_EQ(panel(), Panel::FilePanel);
    wizard->next();
    ASSERT_EQ(panel(), Panel::DelimiterPanel) << messageTexts().join(u'\n').toStdString();
}

void WizardFixture::openTextToMapping(const QByteArray &content)
{
    openText(writeFile(u"nodes.csv"_s, content));
    wizard->next();
    ASSERT_EQ(panel(), Panel::MapPanel) << messageTexts().join(u'\n').toStdString();
}

void WizardFixture::openTextToSelection(const QByteArray &content)
{
    openTextToMapping(content);
    wizard->next();
    ASSERT_EQ(panel(), Panel::PreviewPanel) << messageTexts().join(u'\n').toStdString();
}

QStringList WizardFixture::rowTexts(qsizetype row, int firstColumn)
{
    QStringList texts;
    for (int column = firstColumn; column < grid().columnCount(); ++column)
        texts.append(grid().text(row, column));
    return texts;
}

QString WizardFixture::checks()
{
    QString result;
    for (qsizetype row = 1; row < grid().rowCount(); ++row)
        result += QString::number(int(grid().checkState(row, 0)));
    return result;
}

QStringList WizardFixture::messageTexts() const
{
    QStringList texts;
    for (const HeadlessView::Message &message : view.messages())
        texts.append(message.text);
    return texts;
}

QString WizardFixture::takeExclamation()
{
    const QList<HeadlessView::Message> messages = view.messages();
    EXPECT_LE(messages.size(), 1) << messageTexts().join(u'\n').toStdString();
    view.clearMessages();
    if (messages.isEmpty())
        return {};
    EXPECT_EQ(messages.first().icon, MessageIcon::Exclamation);
    EXPECT_TRUE(messages.first().title.isEmpty());
    return messages.first().text;
}

} // namespace MGImport8::Test
