#include "embedded_host/XmlTree.h"

#include "nxshared/XmlDocument.h"

#include <string>
#include <vector>

#include <climits>
#include <gtest/gtest.h>

namespace
{
using boost::shared_ptr;
using nx::XmlNode;
using Strings = std::vector<std::string>;

shared_ptr<XmlNode> Node(const std::string& name, const std::string& text = "")
{
    const auto node = nx::CreateXmlNode();
    node->Initialize(name, text);
    return node;
}

// The root of a text, null when it is refused.
shared_ptr<XmlNode> Root(const std::string& text)
{
    const auto document = nx::CreateXmlDocument(text);
    return document ? document->GetRoot() : nullptr;
}

// The text of the root element, "refused" when there is none.
std::string Data(const std::string& text)
{
    const auto root = Root(text);
    return root ? root->GetData() : "refused";
}

// --- Building -----------------------------------------------------------------------------------

TEST(XmlTree, NewNode_IsEmpty)
{
    const auto node = nx::CreateXmlNode();
    EXPECT_EQ("", node->GetName());
    EXPECT_EQ("", node->GetData());
    EXPECT_EQ(0u, node->GetChildCount());
}

TEST(XmlTree, Children_StayInOrder)
{
    const auto node = Node("a");
    node->AddChild("b", std::string("1"));
    node->AddChild("c", std::string("2"));
    node->AddChild("b", std::string("3"));
    ASSERT_EQ(3u, node->GetChildCount());
    EXPECT_EQ("c", node->GetChildAt(1)->GetName());
    EXPECT_EQ("3", node->GetChildAt(2)->GetData());
    EXPECT_EQ(nullptr, node->GetChildAt(3));
    EXPECT_EQ("1", node->GetChildData("b"));
    EXPECT_EQ("1", node->GetChild("b")->GetData());
    EXPECT_TRUE(node->HasChild("c"));
}

TEST(XmlTree, MissingChild_ReadsAsNothing)
{
    const auto node = Node("a", "text");
    EXPECT_FALSE(node->HasChild("b"));
    EXPECT_EQ(nullptr, node->GetChild("b"));
    EXPECT_EQ("", node->GetChildData("b"));
    EXPECT_EQ(0, node->GetChildDataNumber("b"));
    EXPECT_EQ(0u, node->GetChildDataULONG("b"));
    EXPECT_FALSE(node->GetChildDataBool("b"));
}

TEST(XmlTree, NullChild_IsIgnored)
{
    const auto node = Node("a");
    node->AddChild(shared_ptr<XmlNode>());
    EXPECT_EQ(0u, node->GetChildCount());
}

TEST(XmlTree, AddedNode_IsSharedNotCopied)
{
    const auto parent = Node("a");
    const auto child = Node("b");
    parent->AddChild(child);
    child->AddChild("c", 1);
    EXPECT_EQ("<a><b><c>1</c></b></a>", parent->ToText());
}

TEST(XmlTree, NumbersAndTruths_AreWrittenInWords)
{
    const auto node = Node("a");
    node->AddChild("i", INT_MIN);
    node->AddChild("u", UINT_MAX);
    node->AddChild("t", true);
    node->AddChild("f", false);
    node->AddChild("s", "text");
    EXPECT_EQ("<a><i>-2147483648</i><u>4294967295</u><t>true</t><f>false</f><s>text</s></a>",
              node->ToText());
}

TEST(XmlTree, ChildrenAsNumbers_AreLeadingIntegers)
{
    const auto node = Root("<a><i> -12x</i><u>4294967295</u><b>4294967301</b><n>none</n></a>");
    ASSERT_TRUE(node);
    EXPECT_EQ(-12, node->GetChildDataNumber("i"));
    EXPECT_EQ(static_cast<unsigned long>(-12), node->GetChildDataULONG("i"));
    EXPECT_EQ(-1, node->GetChildDataNumber("u"));
    EXPECT_EQ(4294967295u, node->GetChildDataULONG("u"));
    EXPECT_EQ(5, node->GetChildDataNumber("b"));
    EXPECT_EQ(static_cast<unsigned long>(4294967301), node->GetChildDataULONG("b"));
    EXPECT_EQ(0, node->GetChildDataNumber("n"));
}

TEST(XmlTree, ChildrenAsTruths_BeginWithTOr1)
{
    const auto node = Root("<a><b>True</b><c>1</c><d>t</d><e>false</e><f> true</f><g/></a>");
    ASSERT_TRUE(node);
    for (const char* name : {"b", "c", "d"})
        EXPECT_TRUE(node->GetChildDataBool(name)) << name;
    for (const char* name : {"e", "f", "g"})
        EXPECT_FALSE(node->GetChildDataBool(name)) << name;
}

TEST(XmlTree, SetAttribute_ReplacesAndKeepsOrder)
{
    const auto node = Node("a");
    node->SetAttribute("x", "1");
    node->SetAttribute("y", "2");
    node->SetAttribute("x", "3");
    EXPECT_EQ("3", node->GetAttribute("x"));
    EXPECT_EQ("", node->GetAttribute("z"));
    EXPECT_EQ("<a x=\"3\" y=\"2\"/>", node->ToText());
}

TEST(XmlTree, InitializeAgain_KeepsChildren)
{
    const auto node = Node("a", "old");
    node->AddChild("b", 1);
    node->Initialize("c", "new");
    EXPECT_EQ("<c>new<b>1</b></c>", node->ToText());
}

// --- Writing ------------------------------------------------------------------------------------

TEST(XmlTree, Text_IsCompactWithoutDeclaration)
{
    const auto node = Node("State");
    node->AddChild(Node("ALL_CONTACTS"));
    node->GetChild("ALL_CONTACTS")->AddChild("BUTTON_STATUS", 0);
    node->AddChild("EMPTY", "");
    EXPECT_EQ(
        "<State><ALL_CONTACTS><BUTTON_STATUS>0</BUTTON_STATUS></ALL_CONTACTS><EMPTY/></State>",
        node->ToText());
}

TEST(XmlTree, SpecialCharacters_AreEscaped)
{
    const auto node = Node("a", "<&>\"'");
    node->SetAttribute("x", "<&\"'\n");
    EXPECT_EQ("<a x=\"&lt;&amp;&quot;'&#10;\">&lt;&amp;&gt;\"'</a>", node->ToText());
}

TEST(XmlTree, NulInTexts_IsWrittenAsReplacementAndNothingBehindItIsLost)
{
    const auto node = Node("a", std::string("1\0002", 3));
    node->SetAttribute("x", std::string("\0", 1));
    EXPECT_EQ("<a x=\"\xEF\xBF\xBD\">1\xEF\xBF\xBD"
              "2</a>",
              node->ToText());
}

TEST(XmlTree, AnyBytes_ComeBackFromTheTextAsTheyWere)
{
    std::string bytes;
    for (int byte = 255; byte > 0; --byte)
        bytes += static_cast<char>(byte);
    const auto node = Node("a", bytes);
    node->SetAttribute("x", bytes);
    const auto back = Root(node->ToText());
    ASSERT_TRUE(back);
    EXPECT_EQ(bytes, back->GetData());
    EXPECT_EQ(bytes, back->GetAttribute("x"));
}

// --- Reading ------------------------------------------------------------------------------------

TEST(XmlTree, WhiteSpace_IsKeptInTextsAndDroppedBetweenElements)
{
    EXPECT_EQ("  two words ", Data("<a>  two words </a>"));
    EXPECT_EQ(" ", Data("<a> </a>"));
    EXPECT_EQ("\r\n\t", Data("<a>\r\n\t</a>"));
    const auto root = Root("<a>\n  <b> x </b>\n  <c/>\n</a>\n");
    ASSERT_TRUE(root);
    EXPECT_EQ("", root->GetData());
    EXPECT_EQ(" x ", root->GetChildData("b"));
    EXPECT_EQ("<a><b> x </b><c/></a>", root->ToText());
}

TEST(XmlTree, Escapes_AreRead)
{
    EXPECT_EQ("<&>\"'", Data("<a>&lt;&amp;&gt;&quot;&apos;</a>"));
    EXPECT_EQ("A\xC3\xA4\xE2\x82\xAC\xF0\x9F\x92\xA1", Data("<a>&#65;&#xE4;&#x20ac;&#x1F4A1;</a>"));
    EXPECT_EQ("<b>&amp;", Data("<a><![CDATA[<b>&amp;]]></a>"));
    EXPECT_EQ("1  2", Data("<a>1 <!-- not this --> 2</a>"));
}

TEST(XmlTree, MixedText_IsJoined)
{
    const auto root = Root("<a>one<b/>two<![CDATA[ three]]></a>");
    ASSERT_TRUE(root);
    EXPECT_EQ("onetwo three", root->GetData());
    EXPECT_EQ(1u, root->GetChildCount());
}

TEST(XmlTree, DeclarationCommentsAndDoctypeAroundTheRoot_AreAllowed)
{
    EXPECT_EQ("x",
              Data("<?xml version=\"1.0\"?>\n<!DOCTYPE a>\n<!-- c -->\n<a>x</a>\n<!-- c -->\n"));
    EXPECT_EQ("x", Data("\xEF\xBB\xBF<a>x</a>"));
}

TEST(XmlTree, Attributes_AreReadInOrder)
{
    const auto root = Root("<a x='1' y=\"&lt;&#10;\" z=\"\"/>");
    ASSERT_TRUE(root);
    EXPECT_EQ("1", root->GetAttribute("x"));
    EXPECT_EQ("<\n", root->GetAttribute("y"));
    EXPECT_EQ("<a x=\"1\" y=\"&lt;&#10;\" z=\"\"/>", root->ToText());
}

TEST(XmlTree, Iterator_WalksTheRootsChildren)
{
    const auto document = nx::CreateXmlDocument("<a><b/><c/><b/></a>");
    ASSERT_TRUE(document);
    auto iterator = document->GetIterator();
    Strings names;
    while (const auto child = iterator.Next())
        names.push_back(child->GetName());
    EXPECT_EQ((Strings{"b", "c", "b"}), names);
    EXPECT_EQ("b", document->GetIterator().Next()->GetName());
}

TEST(XmlTree, NodesOutliveTheirDocument)
{
    const auto child = Root("<a><b><c>text</c></b></a>")->GetChild("b");
    EXPECT_EQ("text", child->GetChildData("c"));
}

class RefusedXml : public testing::TestWithParam<std::string>
{
};

TEST_P(RefusedXml, Text_IsNull)
{
    EXPECT_EQ(nullptr, nx::CreateXmlDocument(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Texts, RefusedXml,
                         testing::Values("", " ", "text", "<", "<a", "<a>", "</a>", "<a></b>",
                                         "<a><b></a></b>", "<a/><b/>", "<a/><a/>", "<a/>text",
                                         "text<a/>", "<!-- only -->", "<?xml version=\"1.0\"?>",
                                         "<a x=1/>", "<a x=\"1/>", "<a x/>", "<a><![CDATA[</a>",
                                         "<a><!-- </a>", "<a x=\"1\" x=\"2\"/>",
                                         "<a><b x=\"1\" y=\"\" x=\"1\"/></a>", "<a>&#0;</a>",
                                         "<a>1&#x000;2</a>", "<a x=\"&#00;\"/>",
                                         std::string("<a>\0</a>", 8), std::string("<a/>\0", 5),
                                         std::string("\xFF\xFE<\0a\0/\0>\0", 10)));

TEST(XmlTree, ReferencesThatOnlyLookLikeNul_AreRead)
{
    EXPECT_EQ("A", Data("<a>&#065;</a>"));
    EXPECT_EQ("&#", Data("<a>&#</a>"));
    EXPECT_EQ("&#0", Data("<a>&#0</a>"));
    EXPECT_EQ("refused", Data("&#0"));
}

std::string Nested(int depth)
{
    std::string text;
    for (int i = 0; i < depth; ++i)
        text += "<a>";
    for (int i = 0; i < depth; ++i)
        text += "</a>";
    return text;
}

TEST(XmlTree, DeepTrees_AreReadToTheLimitAndRefusedBeyond)
{
    constexpr int LIMIT = 200;
    const auto deepest = Root(Nested(LIMIT));
    ASSERT_TRUE(deepest);
    int depth = 0;
    for (auto node = deepest; node; node = node->GetChildAt(0))
        ++depth;
    EXPECT_EQ(LIMIT, depth);
    EXPECT_EQ(nullptr, Root(Nested(LIMIT + 1)));
}
} // namespace
