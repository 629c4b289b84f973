// Reading one ImportMethod element: attribute names in any case, the yes/no DISABLED word, the
// DELIMITER word list, PANELS split without trimming, and IncludePanel with and without a list.
#include "methods/catalogueloader.h"

#include <MGImport8/importtype.h>

#include <pugixml.hpp>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MGImport8::CatalogueLoader;
using MGImport8::ImportType;

namespace {

// Reads the attributes of `<ImportMethod .../>` written as `attributes`.
std::unique_ptr<ImportType> readMethod(const char *attributes, bool *named = nullptr)
{
    const std::string xml = std::string("<ImportMethod ") + attributes + "/>";
    pugi::xml_document document;
    EXPECT_TRUE(document.load_string(xml.c_str())) << xml;
    auto method = std::make_unique<ImportType>();
    const bool ok = CatalogueLoader::ReadMethod(*method, document.first_child());
    if (named)
        *named = ok;
    return method;
}

} // namespace

TEST(ImportType, AttributeNamesAreReadInAnyCase)
{
    const auto method = readMethod(
        R"(name="Text" mEtHoD="IMPORTTEXT" Description="d" ICON="Text" selectfiletitle="Pick"
           SelectFileDescription="sfd" pattern="Text (*.txt)|*.txt" Table="Nodes" FieldMap="a=b"
           Unknown="ignored" xmlns:x="urn:x" x:Name="not the name")");
    EXPECT_EQ(method->Name(), u"Text"_s);
    EXPECT_EQ(method->Method(), u"IMPORTTEXT"_s);
    EXPECT_EQ(method->Description(), u"d"_s);
    EXPECT_EQ(method->Icon(), u"Text"_s);
    EXPECT_EQ(method->SelectFileTitle(), u"Pick"_s);
    EXPECT_EQ(method->SelectFileDescription(), u"sfd"_s);
    EXPECT_EQ(method->Pattern(), u"Text (*.txt)|*.txt"_s);
    EXPECT_EQ(method->Table(), u"Nodes"_s);
    EXPECT_EQ(method->FieldMap(), u"a=b"_s);
}

TEST(ImportType, WithoutANameTheElementIsRefused)
{
    // The last case: the later attribute overwrites the name.
    for (const char *attributes : {R"(METHOD="IMPORTTEXT" DISABLED="NO")",
                                   R"(NAME="" DISABLED="NO")", R"(NAME="x" name="")"}) {
        bool named = true;
        readMethod(attributes, &named);
        EXPECT_FALSE(named) << attributes;
    }
}

TEST(ImportType, DisabledIsReadAsAYesNoWord)
{
    struct Case
    {
        const char *attributes;
        bool enabled;
    };
    const Case cases[] = {
        {R"(NAME="m" DISABLED="no")", true},
        {R"(NAME="m" DISABLED="")", true},
        {R"(NAME="m" DISABLED="False")", true},
        {R"(NAME="m" DISABLED="User")", false},
        {R"(NAME="m" DISABLED="yes")", false},
        {R"(NAME="m" DISABLED="1")", false},
        {R"(NAME="m")", false},
        {R"(NAME="m" DISABLED=" yes")", true},
        {R"(NAME="m" DISABLED="yes" disabled="no")", true},
    };
    for (const Case &c : cases)
        EXPECT_EQ(readMethod(c.attributes)->Enabled(), c.enabled) << c.attributes;
}

TEST(ImportType, DelimiterWordsMapToCharactersInOrderAndAppend)
{
    const std::pair<const char *, QString> cases[] = {
        {R"(NAME="m" Delimiter="Tab,Comma,Pipe")", u"\t,"_s},
        {R"(NAME="m" DELIMITER="space,SEMICOLON,colon")", u" ;:"_s},
        {R"(NAME="m" DELIMITER="COMMA, TAB")", u","_s},
        {R"(NAME="m" DELIMITER="")", QString()},
        // Two attributes that upper-case alike both contribute.
        {R"(NAME="m" DELIMITER="COMMA" delimiter="TAB")", u",\t"_s},
    };
    for (const auto &[attributes, delimiter] : cases)
        EXPECT_EQ(readMethod(attributes)->Delimiter(), delimiter) << attributes;
}

TEST(ImportType, IncludePanelComparesWithoutCaseButWithBlanks)
{
    auto method = readMethod(R"(Name="Text" Disabled="no" Panels="MethodPanel,FilePanel")");
    EXPECT_TRUE(method->Enabled());
    EXPECT_TRUE(method->IncludePanel(u"filepanel"_s));
    EXPECT_TRUE(method->IncludePanel(u"METHODPANEL"_s));
    EXPECT_FALSE(method->IncludePanel(u"MapPanel"_s));

    method = readMethod(R"(Name="Text" Panels="MethodPanel, FilePanel")");
    EXPECT_FALSE(method->IncludePanel(u"FilePanel"_s));
    EXPECT_TRUE(method->IncludePanel(u" FilePanel"_s));

    method = readMethod(R"(Name="Text" Panels="A,B" PANELS="C")");
    EXPECT_EQ(method->Panels(), QStringList{u"C"_s}) << "a later PANELS replaces the list";
}

TEST(ImportType, EmptyPanelListAnswersNoButMissingListThrows)
{
    const auto empty = readMethod(R"(Name="m" Panels="")");
    EXPECT_TRUE(empty->HasPanelList());
    EXPECT_FALSE(empty->IncludePanel(u"MethodPanel"_s));
    EXPECT_FALSE(empty->IncludePanel(QString()));

    const auto none = readMethod(R"(Name="m")");
    EXPECT_FALSE(none->HasPanelList());
    EXPECT_THROW(none->IncludePanel(u"MethodPanel"_s), MGImport8::SubscriptOutOfRange);
    try {
        none->IncludePanel(u"MethodPanel"_s);
    } catch (const std::out_of_range &error) {
        EXPECT_STREQ(error.what(), "Subscript out of range");
    }
}
