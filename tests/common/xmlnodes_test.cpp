// SafeXMLName: unsafe characters become "_", lower case survives, the empty name gets the fallback.
// AddElement/AddAttribute/SetAttribute: names are made safe, a repeated attribute is replaced in
//   place rather than duplicated, nulls give empty values and variants convert as automation does.
// GetNodeText is read through the structure files it serves.
#include "common/xmlnodes.h"

#include <QVariant>

#include <gtest/gtest.h>

#include <sstream>

using namespace MGImport8;
using namespace Qt::StringLiterals;

namespace {

std::string serialized(const pugi::xml_node &node)
{
    std::ostringstream out;
    node.print(out, "", pugi::format_raw);
    return out.str();
}

} // namespace

TEST(SafeXMLName, ReplacesUnsafeCharacters)
{
    // clang-format off
    const std::pair<QString, QString> cases[] = {
        {u"Node Name/IP"_s, u"Node_Name_IP"_s}, {u"a\\b:c"_s, u"a_b_c"_s},
        {u"keep_-.@09azAZ"_s, u"keep_-.@09azAZ"_s}, {u"caf\u00e9"_s, u"caf_"_s},
        {u"\U0001F600"_s, u"__"_s}, {u""_s, u"fallback"_s}};
    // clang-format on
    for (const auto &[name, expected] : cases)
        EXPECT_EQ(SafeXMLName(name, u"fallback"), expected) << name.toStdString();
}

TEST(XmlBuilding, NamesAreSafeAndAttributesReplaced)
{
    pugi::xml_document document;
    pugi::xml_node root = AddElement(document, document, u"Root Node", u"");
    AddElement(document, root, u"Name", u"caf\u00e9 & <co>");
    AddAttribute(document, root, u"a/b", u"one"_s);
    AddAttribute(document, root, u"other", 2);
    AddAttribute(document, root, u"a:b", true);
    SetAttribute(document, root, u"other", QVariant());
    SetAttribute(document, root, u"new", 1.5);

    EXPECT_EQ(serialized(document),
              "<Root_Node a_b=\"True\" other=\"\" new=\"1.5\"><Name>caf\xC3\xA9 &amp; "
              "&lt;co&gt;</Name></Root_Node>");

    // An attribute whose name is not safe, as a file from elsewhere holds it, is updated where
    // it stands rather than joined by a second one under the safe name.
    pugi::xml_document loaded;
    ASSERT_TRUE(loaded.load_string("<e x:y=\"old\"/>"));
    SetAttribute(loaded, loaded.child("e"), u"x:y", u"new"_s);
    EXPECT_EQ(serialized(loaded), "<e x:y=\"new\"/>");

    // Nodes that cannot take children or attributes give empty results, not crashes.
    const pugi::xml_node text = root.child("Name").first_child();
    EXPECT_FALSE(AddElement(document, text, u"x", u"y"));
    EXPECT_FALSE(AddAttribute(document, text, u"x", 1));
    EXPECT_FALSE(AddAttribute(document, pugi::xml_node(), u"x", 1));
}
