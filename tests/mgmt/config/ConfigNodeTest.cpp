#include "support/FakeSystem.h"
#include "support/SmallStack.h"
#include "support/XmlDocument.h"

#include <zef_config/ConfigNode.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <climits>

namespace {

using ::testing::ElementsAre;

// A node of the first element with this name.
ConfigNode NodeOf(const XmlDocument &document, const char *name)
{
    return ConfigNode(document.Find(name));
}

// Source of a lone element.
std::string Element(const std::string &text, const std::string &attributes = "")
{
    return "<Value" + attributes + ">" + text + "</Value>";
}

// The attribute "id" of every element of a node, in its order.
std::vector<std::string> Ids(const ConfigNode &node)
{
    std::vector<std::string> ids;
    for (int i = 0; i < node.Size(); ++i) {
        ids.push_back(node[i].GetAttr("id"));
    }
    return ids;
}

int ChildCount(mxml_node_t *element)
{
    int count = 0;
    for (mxml_node_t *child = mxmlGetFirstChild(element); child != nullptr; child = mxmlGetNextSibling(child)) {
        ++count;
    }
    return count;
}

int TypedInt(const std::string &text)
{
    const XmlDocument document(Element(text, " type=\"int\""));
    int value = 77;
    EXPECT_EQ(NodeOf(document, "Value").GetInt(value), 0) << text;
    return value;
}

int UntypedInt(const std::string &text)
{
    const XmlDocument document(Element(text));
    return NodeOf(document, "Value").GetInt();
}

// The type and text of what the untyped getter throws; "" when it does not.
std::string ThrownFor(const std::string &text)
{
    try {
        (void)UntypedInt(text);
    } catch (const std::invalid_argument &error) {
        return std::string("invalid_argument ") + error.what();
    } catch (const std::out_of_range &error) {
        return std::string("out_of_range ") + error.what();
    }
    return "";
}

TEST(ConfigNodeTest, TheDefaultNodeIsEmpty)
{
    EXPECT_EQ(ConfigNode().Size(), 0);
}

TEST(ConfigNodeTest, ANodeOfANullElementHasSizeOne)
{
    EXPECT_EQ(ConfigNode(nullptr).Size(), 1);
}

TEST(ConfigNodeTest, ANodeOfANullElementReadsAsNothing)
{
    const ConfigNode node(nullptr);
    std::string text = "kept";
    bool flag = true;
    int number = 7;
    EXPECT_EQ(node.GetString(), "");
    EXPECT_FALSE(node.GetBool());
    EXPECT_EQ(node.GetInt(), 0);
    EXPECT_EQ(node.GetAttr("type"), "");
    EXPECT_EQ(node.GetString(text), -1);
    EXPECT_EQ(node.GetBool(flag), -1);
    EXPECT_EQ(node.GetInt(number), -1);
    EXPECT_EQ(text, "kept");
    EXPECT_TRUE(flag);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(node.Get("Name").Size(), 0);
    EXPECT_EQ(node.WithAttr("type", "string").Size(), 0);
}

TEST(ConfigNodeTest, WritingToANullElementDoesNothing)
{
    ConfigNode node(nullptr);
    node.SetString("x");
    node.SetBool(true);
    node.SetInt(1);
    node.SetAttr("type", "x");
    EXPECT_EQ(node.Size(), 1);
    EXPECT_EQ(node.GetString(), "");
}

TEST(ConfigNodeTest, DeletingANullElementRemovesItFromTheList)
{
    const XmlDocument document("<Config>text</Config>");
    ConfigNode node(nullptr);
    node.AddNode(document.Root());
    node.Delete();
    EXPECT_EQ(node.Size(), 1);
    EXPECT_EQ(node.GetString(), "text");
}

TEST(ConfigNodeTest, AddNodeAppendsWithoutLookingForDuplicatesOrNull)
{
    const XmlDocument document("<Config><A id='a'/><B id='b'/></Config>");
    ConfigNode node;
    node.AddNode(document.Find("B"));
    node.AddNode(document.Find("A"));
    node.AddNode(document.Find("B"));
    node.AddNode(nullptr);
    EXPECT_THAT(Ids(node), ElementsAre("b", "a", "b", ""));
}

TEST(ConfigNodeTest, AnIndexGivesANodeOfThatElementAlone)
{
    const XmlDocument document("<Config><A id='a'/><B id='b'/><C id='c'/></Config>");
    ConfigNode node(document.Find("A"));
    node.AddNode(document.Find("B"));
    node.AddNode(document.Find("C"));
    EXPECT_EQ(node[0].Size(), 1);
    EXPECT_EQ(node[0].GetAttr("id"), "a");
    EXPECT_EQ(node[1].GetAttr("id"), "b");
    EXPECT_EQ(node[2].GetAttr("id"), "c");
}

TEST(ConfigNodeTest, AnIndexOutOfRangeGivesTheEmptyNode)
{
    const XmlDocument document("<Config><A/><B/></Config>");
    ConfigNode node(document.Find("A"));
    node.AddNode(document.Find("B"));
    for (const int index : {-1, 2, 3, INT_MIN, INT_MAX}) {
        EXPECT_EQ(node[index].Size(), 0) << index;
    }
    EXPECT_EQ(ConfigNode()[0].Size(), 0);
    EXPECT_EQ(ConfigNode()[-1].Size(), 0);
}

TEST(ConfigNodeTest, CopiesShareTheDocumentAndOutliveEachOther)
{
    const XmlDocument document("<Config><A>old</A></Config>");
    ConfigNode copy;
    {
        ConfigNode original = NodeOf(document, "A");
        copy = original;
        original.AddNode(document.Root());
    }
    EXPECT_EQ(copy.Size(), 1);
    copy.SetString("new");
    EXPECT_EQ(NodeOf(document, "A").GetString(), "new");
}

TEST(ConfigNodeTest, GetFindsAllChildrenOfTheNameAndNoOthers)
{
    const XmlDocument document("<Config><Ips id='1'/><ips id='2'/><Ips id='3'/><IPS id='4'/><Ips id='5'/></Config>");
    const ConfigNode found = NodeOf(document, "Config").Get("Ips");
    EXPECT_EQ(found.Size(), 3);
    EXPECT_THAT(Ids(found), ::testing::UnorderedElementsAre("1", "3", "5"));
}

TEST(ConfigNodeTest, GetComparesTheWholeNameByteForByte)
{
    const XmlDocument document("<Config><Name id='1'/></Config>");
    const ConfigNode config = NodeOf(document, "Config");
    EXPECT_EQ(config.Get("Name").Size(), 1);
    for (const std::string &other : {std::string("Nam"), std::string("Names"), std::string("name"), std::string(),
                                     std::string(" Name"), std::string("Name\0", 5), std::string("Name\0x", 6)}) {
        EXPECT_EQ(config.Get(other).Size(), 0) << other;
    }
}

// The element's memory decides, so the children are hung in against the order of their addresses.
TEST(ConfigNodeTest, GetOrdersMatchesByAddressAndNotAsInTheDocument)
{
    constexpr int kCount = 5;
    const XmlDocument document("<Config/>");
    std::vector<mxml_node_t *> children;
    for (int i = 0; i < kCount; ++i) {
        children.push_back(mxmlNewElement(MXML_NO_PARENT, "Ips"));
    }
    std::sort(children.begin(), children.end(), std::less<>());
    for (int i = 0; i < kCount; ++i) {
        mxmlElementSetAttr(children[static_cast<size_t>(i)], "id", std::to_string(i).c_str());
    }
    for (const size_t i : {3U, 0U, 4U, 2U, 1U}) {
        mxmlAdd(document.Root(), MXML_ADD_AFTER, MXML_ADD_TO_PARENT, children[i]);
    }
    EXPECT_THAT(Ids(ConfigNode(document.Root()).Get("Ips")), ElementsAre("0", "1", "2", "3", "4"));
}

// More than there is room for at first, in an order that no list of pointers keeps by itself.
TEST(ConfigNodeTest, GetOrdersManyMatchesByAddress)
{
    constexpr size_t kCount = 1000;
    const XmlDocument document("<Config/>");
    std::vector<mxml_node_t *> children;
    for (size_t i = 0; i < kCount; ++i) {
        children.push_back(mxmlNewElement(MXML_NO_PARENT, i % 3 == 0 ? "Ip" : "Ips"));
    }
    std::shuffle(children.begin(), children.end(), std::mt19937(1));
    for (mxml_node_t *child : children) {
        mxmlAdd(document.Root(), MXML_ADD_AFTER, MXML_ADD_TO_PARENT, child);
    }
    std::sort(children.begin(), children.end(), std::less<>());
    std::vector<std::string> expected;
    for (size_t i = 0; i < kCount; ++i) {
        mxmlElementSetAttr(children[i], "id", std::to_string(i).c_str());
        if (std::string(mxmlGetElement(children[i])) == "Ips") {
            expected.push_back(std::to_string(i));
        }
    }
    EXPECT_EQ(Ids(ConfigNode(document.Root()).Get("Ips")), expected);
}

TEST(ConfigNodeTest, GetFindsAnElementWithoutAName)
{
    const XmlDocument document("<Config><Name/></Config>");
    mxmlNewElement(document.Root(), "");
    EXPECT_EQ(ConfigNode(document.Root()).Get("").Size(), 1);
    EXPECT_EQ(ConfigNode(document.Root()).Get(std::string("\0", 1)).Size(), 0);
}

TEST(ConfigNodeTest, GetWalksChildrenAloneAndNeitherGrandchildrenNorSiblings)
{
    const XmlDocument document("<Config><StorageObject><Name>inner</Name></StorageObject><Uuid/><Name2/></Config>");
    EXPECT_EQ(NodeOf(document, "Config").Get("Name").Size(), 0);
    EXPECT_EQ(NodeOf(document, "StorageObject").Get("Name").Size(), 1);
    EXPECT_EQ(NodeOf(document, "StorageObject").Get("Uuid").Size(), 0);
    EXPECT_EQ(NodeOf(document, "StorageObject").Get("StorageObject").Size(), 0);
    EXPECT_EQ(NodeOf(document, "Uuid").Get("Name2").Size(), 0);
}

TEST(ConfigNodeTest, GetSkipsWhatIsNoElement)
{
    const XmlDocument document("<Config>Name<!-- Name --><Name>x</Name>Name<![CDATA[Name]]></Config>");
    EXPECT_EQ(NodeOf(document, "Config").Get("Name").Size(), 1);
    EXPECT_EQ(ConfigNode(mxmlGetFirstChild(document.Root())).Get("Name").Size(), 0);
}

TEST(ConfigNodeTest, GetLooksUnderTheFirstElementOnly)
{
    const XmlDocument document("<Config><A><X id='a'/></A><B><X id='b'/></B></Config>");
    ConfigNode node(document.Find("B"));
    node.AddNode(document.Find("A"));
    EXPECT_THAT(Ids(node.Get("X")), ElementsAre("b"));
}

TEST(ConfigNodeTest, GetOnTheEmptyNodeOrWithoutMatchGivesTheEmptyNode)
{
    const XmlDocument document("<Config/>");
    EXPECT_EQ(ConfigNode().Get("Name").Size(), 0);
    EXPECT_EQ(NodeOf(document, "Config").Get("Name").Size(), 0);
}

TEST(ConfigNodeTest, WithAttrKeepsTheExactMatchesInListOrder)
{
    const XmlDocument document("<Config><A id='a' type='string'/><B id='b' type='String'/><C id='c'/>"
                               "<D id='d' type='string'/><E id='e' type='string '/></Config>");
    ConfigNode node;
    for (const char *name : {"D", "C", "B", "A", "E"}) {
        node.AddNode(document.Find(name));
    }
    EXPECT_THAT(Ids(node.WithAttr("type", "string")), ElementsAre("d", "a"));
    EXPECT_THAT(Ids(node.WithAttr("type", "String")), ElementsAre("b"));
    EXPECT_THAT(Ids(node.WithAttr("Type", "string")), ElementsAre());
    EXPECT_THAT(Ids(node.WithAttr("type", "")), ElementsAre());
    EXPECT_THAT(Ids(node.WithAttr("type", std::string("string\0", 7))), ElementsAre());
    EXPECT_EQ(node.Size(), 5);
}

TEST(ConfigNodeTest, WithAttrFindsAnEmptyValueOnlyWhereTheAttributeIsPresent)
{
    const XmlDocument document("<Config><A id='a' note=''/><B id='b'/></Config>");
    ConfigNode node(document.Find("A"));
    node.AddNode(document.Find("B"));
    EXPECT_THAT(Ids(node.WithAttr("note", "")), ElementsAre("a"));
}

TEST(ConfigNodeTest, WithAttrOnTheEmptyNodeGivesTheEmptyNode)
{
    EXPECT_EQ(ConfigNode().WithAttr("type", "string").Size(), 0);
}

TEST(ConfigNodeTest, CreateAppendsTheNewElementAsTheLastChild)
{
    const XmlDocument document("<Config><A/>text</Config>");
    ConfigNode created = NodeOf(document, "Config").Create("New");
    EXPECT_EQ(created.Size(), 1);
    created.SetAttr("id", "new");
    EXPECT_EQ(document.Text(), "<Config><A />text<New id=\"new\" /></Config>");
}

TEST(ConfigNodeTest, CreateActsOnTheFirstElementOnly)
{
    const XmlDocument document("<Config><A/><B/></Config>");
    ConfigNode node(document.Find("A"));
    node.AddNode(document.Find("B"));
    (void)node.Create("New");
    EXPECT_EQ(document.Text(), "<Config><A><New /></A><B /></Config>");
    EXPECT_EQ(node.Size(), 2);
}

TEST(ConfigNodeTest, CreateOnTheEmptyNodeCreatesNothing)
{
    EXPECT_EQ(ConfigNode().Create("New").Size(), 0);
}

TEST(ConfigNodeTest, DeleteTakesTheFirstElementAndTheNextBecomesTheElement)
{
    const XmlDocument document("<Config><A><X>deep</X>text</A><B>second</B></Config>");
    ConfigNode node(document.Find("A"));
    node.AddNode(document.Find("B"));
    node.Delete();
    EXPECT_EQ(node.Size(), 1);
    EXPECT_EQ(node.GetString(), "second");
    EXPECT_EQ(document.Text(), "<Config><B>second</B></Config>");
}

TEST(ConfigNodeTest, DeleteOnTheEmptyNodeDoesNothing)
{
    ConfigNode node;
    node.Delete();
    EXPECT_EQ(node.Size(), 0);
}

TEST(ConfigNodeTest, GetAttrGivesTheValueOrNothing)
{
    const XmlDocument document("<Config type='string' note=''/>");
    const ConfigNode node = NodeOf(document, "Config");
    EXPECT_EQ(node.GetAttr("type"), "string");
    EXPECT_EQ(node.GetAttr("note"), "");
    EXPECT_EQ(node.GetAttr("Type"), "");
    EXPECT_EQ(ConfigNode().GetAttr("type"), "");
}

TEST(ConfigNodeTest, SetAttrAddsOrReplacesOnTheFirstElement)
{
    const XmlDocument document("<Config><A/><B/></Config>");
    ConfigNode node(document.Find("A"));
    node.AddNode(document.Find("B"));
    node.SetAttr("id", "1");
    EXPECT_EQ(document.Text(), "<Config><A id=\"1\" /><B /></Config>");
    node.SetAttr("id", "2");
    EXPECT_EQ(document.Text(), "<Config><A id=\"2\" /><B /></Config>");
}

TEST(ConfigNodeTest, TheEmptyNodeReadsAsDefaultsAndFailsTyped)
{
    const ConfigNode node;
    std::string text = "kept";
    bool flag = true;
    int number = 7;
    EXPECT_EQ(node.GetString(), "");
    EXPECT_FALSE(node.GetBool());
    EXPECT_EQ(node.GetInt(), 0);
    EXPECT_EQ(node.GetString(text), -1);
    EXPECT_EQ(node.GetBool(flag), -1);
    EXPECT_EQ(node.GetInt(number), -1);
    EXPECT_EQ(text, "kept");
    EXPECT_TRUE(flag);
    EXPECT_EQ(number, 7);
}

TEST(ConfigNodeTest, TheEmptyNodeIgnoresEveryWriter)
{
    ConfigNode node;
    node.SetAttr("type", "string");
    node.SetString("x");
    node.SetBool(true);
    node.SetInt(1);
    EXPECT_EQ(node.Size(), 0);
    EXPECT_EQ(node.GetAttr("type"), "");
    EXPECT_EQ(node.GetString(), "");
}

TEST(ConfigNodeTest, AnElementWithoutTextReadsAsDefaultsAndFailsTyped)
{
    for (const char *source : {"<A/>", "<A></A>", "<A><B>x</B>late</A>", "<A note='1' id='2'/>", "<A type=''/>"}) {
        const XmlDocument document(source);
        const ConfigNode node = NodeOf(document, "A");
        std::string text = "kept";
        bool flag = true;
        int number = 7;
        EXPECT_EQ(node.GetString(), "") << source;
        EXPECT_FALSE(node.GetBool()) << source;
        EXPECT_EQ(node.GetInt(), 0) << source;
        EXPECT_EQ(node.GetString(text), -1) << source;
        EXPECT_EQ(node.GetBool(flag), -1) << source;
        EXPECT_EQ(node.GetInt(number), -1) << source;
        EXPECT_EQ(text, "kept") << source;
        EXPECT_TRUE(flag) << source;
        EXPECT_EQ(number, 7) << source;
    }
}

TEST(ConfigNodeTest, AnElementWithItsTypeButWithoutTextFailsTyped)
{
    const XmlDocument document("<A><S type='string'/><B type='bool'/><I type='int'/></A>");
    std::string text = "kept";
    bool flag = true;
    int number = 7;
    EXPECT_EQ(NodeOf(document, "S").GetString(text), -1);
    EXPECT_EQ(NodeOf(document, "B").GetBool(flag), -1);
    EXPECT_EQ(NodeOf(document, "I").GetInt(number), -1);
    EXPECT_EQ(text, "kept");
    EXPECT_TRUE(flag);
    EXPECT_EQ(number, 7);
}

TEST(ConfigNodeTest, TheTextIsKeptWithItsWhiteSpace)
{
    const XmlDocument document("<A> a\n\t b </A>");
    EXPECT_EQ(NodeOf(document, "A").GetString(), " a\n\t b ");
}

TEST(ConfigNodeTest, TheUntypedGettersIgnoreTheTypeAttribute)
{
    const XmlDocument document("<A><S type='int'>abc</S><B type='string'>true</B><I type='bool'>42</I></A>");
    EXPECT_EQ(NodeOf(document, "S").GetString(), "abc");
    EXPECT_TRUE(NodeOf(document, "B").GetBool());
    EXPECT_EQ(NodeOf(document, "I").GetInt(), 42);
}

TEST(ConfigNodeTest, TheUntypedBoolIsTrueForTheWordTrueInAnyCaseOnly)
{
    for (const char *text : {"true", "TRUE", "True", "tRuE"}) {
        const XmlDocument document(Element(text));
        EXPECT_TRUE(NodeOf(document, "Value").GetBool()) << text;
    }
    for (const char *text : {"false", "1", "yes", " true", "true ", "truee", "tru", "\xC3\xA9true"}) {
        const XmlDocument document(Element(text));
        EXPECT_FALSE(NodeOf(document, "Value").GetBool()) << text;
    }
}

TEST(ConfigNodeTest, TheUntypedIntTakesWhiteSpaceSignAndDigitsAndIgnoresTheRest)
{
    EXPECT_EQ(UntypedInt("42"), 42);
    EXPECT_EQ(UntypedInt(" \t\n42"), 42);
    EXPECT_EQ(UntypedInt("+7"), 7);
    EXPECT_EQ(UntypedInt("-7abc"), -7);
    EXPECT_EQ(UntypedInt("12 34"), 12);
    EXPECT_EQ(UntypedInt("010"), 10);
    EXPECT_EQ(UntypedInt("0x10"), 0);
}

TEST(ConfigNodeTest, TheUntypedIntReachesBothEndsOf32Bits)
{
    EXPECT_EQ(UntypedInt("2147483647"), INT_MAX);
    EXPECT_EQ(UntypedInt("-2147483648"), INT_MIN);
}

TEST(ConfigNodeTest, TheUntypedIntThrowsInvalidArgumentWithoutDigits)
{
    for (const char *text : {"abc", "-", "+", " ", "x12", "- 5"}) {
        EXPECT_EQ(ThrownFor(text), "invalid_argument stoi") << text;
    }
}

TEST(ConfigNodeTest, TheUntypedIntThrowsOutOfRangeBeyond32Bits)
{
    for (const char *text : {"2147483648", "-2147483649", "4294967296", "9223372036854775808",
                             "-99999999999999999999"}) {
        EXPECT_EQ(ThrownFor(text), "out_of_range stoi") << text;
    }
}

TEST(ConfigNodeTest, TheTypedStringAcceptsAMissingTypeAndItsOwn)
{
    for (const char *source : {"<Name>abc</Name>", "<Name type='string'>abc</Name>", "<Name Type='int'>abc</Name>"}) {
        const XmlDocument document(source);
        std::string text;
        EXPECT_EQ(NodeOf(document, "Name").GetString(text), 0) << source;
        EXPECT_EQ(text, "abc") << source;
    }
}

TEST(ConfigNodeTest, TheTypedStringRejectsEveryOtherType)
{
    for (const char *type : {"int", "bool", "String", "STRING", "string ", " string", "strin", "strings", ""}) {
        const XmlDocument document("<Name type='" + std::string(type) + "'>abc</Name>");
        std::string text = "kept";
        EXPECT_EQ(NodeOf(document, "Name").GetString(text), -1) << type;
        EXPECT_EQ(text, "kept") << type;
    }
}

TEST(ConfigNodeTest, TheTypedStringTakesAnyText)
{
    const XmlDocument document("<A> \xC3\xA9 &lt;&amp;\n</A>");
    std::string text;
    EXPECT_EQ(NodeOf(document, "A").GetString(text), 0);
    EXPECT_EQ(text, " \xC3\xA9 <&\n");
}

TEST(ConfigNodeTest, TheTypedBoolTakesTrueAndFalseInAnyCase)
{
    for (const char *attributes : {"", " type='bool'"}) {
        for (const char *word : {"true", "TRUE", "True", "tRUe"}) {
            const XmlDocument document(Element(word, attributes));
            bool value = false;
            EXPECT_EQ(NodeOf(document, "Value").GetBool(value), 0) << word;
            EXPECT_TRUE(value) << word;
        }
        for (const char *word : {"false", "FALSE", "False", "fALSe"}) {
            const XmlDocument document(Element(word, attributes));
            bool value = true;
            EXPECT_EQ(NodeOf(document, "Value").GetBool(value), 0) << word;
            EXPECT_FALSE(value) << word;
        }
    }
}

TEST(ConfigNodeTest, TheTypedBoolRejectsEveryOtherTextAndKeepsTheOutput)
{
    for (const char *word : {"yes", "1", "0", "on", " true", "true ", "truefalse", "fals", "trues", "\xC3\xA9"}) {
        const XmlDocument document(Element(word, " type='bool'"));
        for (const bool before : {false, true}) {
            bool value = before;
            EXPECT_EQ(NodeOf(document, "Value").GetBool(value), -1) << word;
            EXPECT_EQ(value, before) << word;
        }
    }
}

TEST(ConfigNodeTest, TheTypedBoolRejectsEveryOtherType)
{
    for (const char *type : {"string", "int", "Bool", "boolean", "boo", ""}) {
        const XmlDocument document(Element("true", " type='" + std::string(type) + "'"));
        bool value = false;
        EXPECT_EQ(NodeOf(document, "Value").GetBool(value), -1) << type;
        EXPECT_FALSE(value) << type;
    }
}

TEST(ConfigNodeTest, TheTypedIntTakesWhateverItFinds)
{
    EXPECT_EQ(TypedInt("42"), 42);
    EXPECT_EQ(TypedInt("12abc"), 12);
    EXPECT_EQ(TypedInt("abc"), 0);
    EXPECT_EQ(TypedInt(" \n-5 6"), -5);
    EXPECT_EQ(TypedInt("+8"), 8);
    EXPECT_EQ(TypedInt("010"), 10);
    EXPECT_EQ(TypedInt("0x10"), 0);
}

TEST(ConfigNodeTest, TheTypedIntCutsToTheLow32Bits)
{
    EXPECT_EQ(TypedInt("2147483647"), INT_MAX);
    EXPECT_EQ(TypedInt("2147483648"), INT_MIN);
    EXPECT_EQ(TypedInt("-2147483649"), INT_MAX);
    EXPECT_EQ(TypedInt("4294967295"), -1);
    EXPECT_EQ(TypedInt("4294967297"), 1);
}

TEST(ConfigNodeTest, TheTypedIntClampsToALongBeforeItCuts)
{
    EXPECT_EQ(TypedInt("99999999999999999999"), -1);
    EXPECT_EQ(TypedInt("-99999999999999999999"), 0);
}

TEST(ConfigNodeTest, TheTypedIntAcceptsAMissingTypeAndRejectsEveryOther)
{
    const XmlDocument plain(Element("5"));
    int value = 7;
    EXPECT_EQ(NodeOf(plain, "Value").GetInt(value), 0);
    EXPECT_EQ(value, 5);
    for (const char *type : {"string", "bool", "Int", "integer", "in", ""}) {
        const XmlDocument document(Element("5", " type='" + std::string(type) + "'"));
        value = 7;
        EXPECT_EQ(NodeOf(document, "Value").GetInt(value), -1) << type;
        EXPECT_EQ(value, 7) << type;
    }
}

TEST(ConfigNodeTest, SetStringWritesTypeAndText)
{
    const XmlDocument document("<Config><A/></Config>");
    NodeOf(document, "A").SetString("a <b> & \"c\"");
    EXPECT_EQ(document.Text(), "<Config><A type=\"string\">a &lt;b&gt; &amp; &quot;c&quot;</A></Config>");
    std::string text;
    EXPECT_EQ(NodeOf(document, "A").GetString(text), 0);
    EXPECT_EQ(text, "a <b> & \"c\"");
}

TEST(ConfigNodeTest, SetBoolWritesTypeAndWord)
{
    const XmlDocument document("<Config><A/><B type='string'>x</B></Config>");
    NodeOf(document, "A").SetBool(true);
    NodeOf(document, "B").SetBool(false);
    EXPECT_EQ(document.Text(), "<Config><A type=\"bool\">true</A><B type=\"bool\">false</B></Config>");
}

TEST(ConfigNodeTest, SetIntWritesTypeAndDecimalText)
{
    const XmlDocument document("<Config><A/></Config>");
    ConfigNode node = NodeOf(document, "A");
    for (const int value : {0, -5, INT_MAX, INT_MIN}) {
        node.SetInt(value);
        EXPECT_EQ(document.Text(), "<Config><A type=\"int\">" + std::to_string(value) + "</A></Config>");
    }
}

TEST(ConfigNodeTest, ASetterReplacesTheTextInPlace)
{
    const XmlDocument document("<Config><A>7<B>kept</B></A></Config>");
    NodeOf(document, "A").SetInt(-5);
    EXPECT_EQ(document.Text(), "<Config><A type=\"int\">-5<B>kept</B></A></Config>");
}

TEST(ConfigNodeTest, ASetterAddsOneTextChildWhereThereIsNone)
{
    const XmlDocument document("<Config><A/></Config>");
    NodeOf(document, "A").SetInt(-5);
    EXPECT_EQ(ChildCount(document.Find("A")), 1);
    EXPECT_EQ(mxmlGetType(mxmlGetFirstChild(document.Find("A"))), MXML_OPAQUE);
    NodeOf(document, "A").SetInt(6);
    EXPECT_EQ(ChildCount(document.Find("A")), 1);
    EXPECT_EQ(NodeOf(document, "A").GetString(), "6");
}

TEST(ConfigNodeTest, ASetterAddsItsTextBehindTheChildrenThatAreThere)
{
    const XmlDocument document("<Config><A><B/></A></Config>");
    NodeOf(document, "A").SetString("x");
    EXPECT_EQ(document.Text(), "<Config><A type=\"string\"><B />x</A></Config>");
    EXPECT_EQ(NodeOf(document, "A").GetString(), "");
}

TEST(ConfigNodeTest, SettersActOnTheFirstElementOnly)
{
    const XmlDocument document("<Config><A>1</A><B>2</B></Config>");
    ConfigNode node(document.Find("A"));
    node.AddNode(document.Find("B"));
    node.SetString("x");
    EXPECT_EQ(document.Text(), "<Config><A type=\"string\">x</A><B>2</B></Config>");
}

TEST(MymxmlDeleteTest, DeletingNullDoesNothing)
{
    const XmlDocument document("<Config><A /></Config>");
    MymxmlDelete(nullptr);
    EXPECT_EQ(document.Text(), "<Config><A /></Config>");
}

TEST(MymxmlDeleteTest, TakesTheSubtreeAndLeavesParentAndSiblings)
{
    const XmlDocument document("<Config><A/><B><C><D>x</D></C>y</B><E/></Config>");
    MymxmlDelete(document.Find("B"));
    EXPECT_EQ(document.Text(), "<Config><A /><E /></Config>");
}

TEST(MymxmlDeleteTest, LeavesAParentThatItEmpties)
{
    const XmlDocument document("<Config><A><B><C/></B></A></Config>");
    MymxmlDelete(document.Find("B"));
    EXPECT_EQ(document.Text(), "<Config><A /></Config>");
}

// Mini-XML does without what it gets no memory for.
TEST(ConfigNodeTest, WithoutMemoryForTheNameNoElementIsCreated)
{
    const XmlDocument document("<Config/>");
    ConfigNode config = NodeOf(document, "Config");
    FakeSystem::copiesUntilFailure = 0;
    EXPECT_THROW((void)config.Create("Uuid"), std::bad_alloc);
    EXPECT_EQ(document.Text(), "<Config />");
    config.Create("Uuid").SetString("one");
    EXPECT_EQ(NodeOf(document, "Uuid").GetString(), "one");
}

TEST(ConfigNodeTest, ATypeThatThereIsNoMemoryForIsReported)
{
    const XmlDocument document("<Value/>");
    ConfigNode value = NodeOf(document, "Value");
    FakeSystem::copiesUntilFailure = 0;
    EXPECT_THROW(value.SetString("one"), std::bad_alloc);
    EXPECT_EQ(document.Text(), "<Value />");
}

// The type is copied first.
TEST(ConfigNodeTest, AFirstTextThatThereIsNoMemoryForIsReported)
{
    const XmlDocument document("<Value type=\"string\"/>");
    ConfigNode value = NodeOf(document, "Value");
    FakeSystem::copiesUntilFailure = 1;
    EXPECT_THROW(value.SetString("one"), std::bad_alloc);
    EXPECT_EQ(document.Text(), "<Value type=\"string\" />");
    value.SetString("one");
    EXPECT_EQ(value.GetString(), "one");
}

TEST(ConfigNodeTest, AnotherTextThatThereIsNoMemoryForIsReported)
{
    const XmlDocument document(Element("one", " type=\"string\""));
    ConfigNode value = NodeOf(document, "Value");
    FakeSystem::copiesUntilFailure = 1;
    EXPECT_THROW(value.SetString("two"), std::bad_alloc);
    EXPECT_EQ(value.GetString(), "one");
    value.SetString("two");
    EXPECT_EQ(value.GetString(), "two");
}

TEST(MymxmlDeleteTest, FreesEveryNodeBelowFromTheFirstChildOn)
{
    static std::vector<std::string> freed;
    freed.clear();
    const auto note = [](void *name) { freed.emplace_back(static_cast<const char *>(name)); };
    const XmlDocument document("<Config/>");
    mxml_node_t *const top = mxmlNewElement(document.Root(), "A");
    static char first[] = "first";
    static char second[] = "second";
    static char third[] = "third";
    mxmlNewCustom(top, first, note);
    mxmlNewCustom(mxmlNewElement(mxmlNewElement(top, "B"), "C"), second, note);
    mxmlNewCustom(top, third, note);
    MymxmlDelete(top);
    EXPECT_THAT(freed, ElementsAre("first", "second", "third"));
}

TEST(MymxmlDeleteTest, NeedsNoDeeperStackForADeeperTree)
{
    constexpr int kDepth = 1000000;
    const XmlDocument document("<Config/>");
    mxml_node_t *node = document.Root();
    for (int i = 0; i < kDepth; ++i) {
        node = mxmlNewElement(node, "A");
    }
    RunOnSmallStack([&document] { MymxmlDelete(mxmlGetFirstChild(document.Root())); });
    EXPECT_EQ(document.Text(), "<Config />");
}

}  // namespace
