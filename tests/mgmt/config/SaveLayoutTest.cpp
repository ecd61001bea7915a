#include "SaveLayout.h"
#include "support/PlainLayout.h"

#include <zef_config/ConfigMgr.h>

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include <climits>
#include <cstring>

namespace {

// The text stands at the very end of its memory, where a sanitizer sees a look behind it.
std::string LaidOut(const std::string &text)
{
    const auto exact = std::make_unique<char[]>(text.size() + 1);
    std::memcpy(exact.get(), text.c_str(), text.size() + 1);
    return zef_config::LayOut(exact.get());
}

// Texts that have little to do with XML, and everything with its characters.
class AwkwardTexts {
public:
    std::string Next()
    {
        std::string text;
        const size_t pieces = Below(30);
        for (size_t i = 0; i < pieces; ++i) {
            text += Piece();
        }
        return text;
    }

private:
    size_t Below(size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(random); }

    // A character that means something or nearly does, a tag, or a run, longer than what is looked at at once.
    std::string Piece()
    {
        static const std::vector<std::string> pieces = {
            "<", ">", "/", "</", "/>", "<a>", "</a>", "<a />", "<?x?>", "> ", " <", ">>", "<<", "=", "?", "a", "b ",
            " ", "\t", "\n", "\r", "\v", "\f", "\x01", "\x7c", "\x80", "\xbc", "\xbe", "\xff", "\xa0", ";", "!",
            "a b\tc\nd"};
        const size_t kind = Below(10);
        if (kind > 2) {
            return pieces[Below(pieces.size())];
        }
        const std::string run(Below(50), kind == 0 ? ' ' : 'x');
        return kind == 2 ? "<" + run + ">" : run;
    }

    std::mt19937 random{1};
};

constexpr int kAwkwardTexts = 20000;

// Stripping

TEST(XmlRmSpaceTest, DropsSpacesTabsAndLineFeedsOutsideOfMarkup)
{
    EXPECT_EQ(XmlRmSpace(" \t\n<a>\n\t x \ty\n</a> \n"), "<a>xy</a>");
    EXPECT_EQ(XmlRmSpace(" a\tb\nc "), "abc");
    EXPECT_EQ(XmlRmSpace(""), "");
    EXPECT_EQ(XmlRmSpace(" \t\n"), "");
}

TEST(XmlRmSpaceTest, KeepsEveryOtherCharacter)
{
    EXPECT_EQ(XmlRmSpace("a\rb\vc\fd\xC2\xA0""e\x01"), "a\rb\vc\fd\xC2\xA0""e\x01");
}

TEST(XmlRmSpaceTest, KeepsEverythingInsideOfMarkup)
{
    EXPECT_EQ(XmlRmSpace("<a  b=\"c \t\n d\"\n/>"), "<a  b=\"c \t\n d\"\n/>");
    EXPECT_EQ(XmlRmSpace("< <a> b"), "< <a>b");
}

TEST(XmlRmSpaceTest, AGreaterThanSignEndsTheMarkupWhereverItStands)
{
    EXPECT_EQ(XmlRmSpace("<!-- a > b c -->"), "<!-- a >bc-->");
    EXPECT_EQ(XmlRmSpace("a > b"), "a>b");
}

TEST(XmlRmSpaceTest, MarkupThatIsNotClosedKeepsItsSpaces)
{
    EXPECT_EQ(XmlRmSpace("a b<c d"), "ab<c d");
}

TEST(XmlRmSpaceTest, StopsAtAZeroByteAndLeavesItsArgumentAlone)
{
    const std::string text("a b\0c d", 7);
    EXPECT_EQ(XmlRmSpace(text), "ab");
    EXPECT_EQ(text, std::string("a b\0c d", 7));
}

TEST(XmlAddSpaceTest, AppendsFourSpacesALevel)
{
    std::string output = "x";
    XmlAddSpace(output, 1);
    EXPECT_EQ(output, "x    ");
    XmlAddSpace(output, 2);
    EXPECT_EQ(output, "x            ");
}

TEST(XmlAddSpaceTest, AppendsNothingForALevelOfZeroOrLess)
{
    std::string output = "x";
    for (const int level : {0, -1, INT_MIN}) {
        XmlAddSpace(output, level);
        EXPECT_EQ(output, "x") << level;
    }
}

TEST(XmlRmSpaceTest, StripsAwkwardTextsLikeThePlainRules)
{
    AwkwardTexts texts;
    for (int i = 0; i < kAwkwardTexts; ++i) {
        const std::string text = texts.Next();
        ASSERT_EQ(XmlRmSpace(text), StripPlainly(text)) << text;
    }
}

TEST(XmlRmSpaceTest, StripsPiecesOfEveryLengthAtEveryPlace)
{
    for (size_t length = 0; length < 40; ++length) {
        for (size_t space = 0; space <= length; ++space) {
            std::string text(length, 'x');
            text.insert(space, " ");
            EXPECT_EQ(XmlRmSpace(text), std::string(length, 'x'));
            EXPECT_EQ(XmlRmSpace("<" + text + ">" + text), "<" + text + ">" + std::string(length, 'x'));
        }
    }
}

// Laying out

TEST(SaveLayoutTest, GivesEachElementALine)
{
    EXPECT_EQ(LaidOut("<?xml?><A><B>x</B><C>y</C></A>"), "<?xml?>\n<A>\n    <B>x</B>\n    <C>y</C>\n</A>\n");
}

TEST(SaveLayoutTest, AnEmptyTextStaysEmpty)
{
    EXPECT_EQ(LaidOut(""), "");
    EXPECT_EQ(LaidOut(" \t\n"), "");
}

TEST(SaveLayoutTest, StopsAtAZeroByte)
{
    EXPECT_EQ(LaidOut(std::string("<?x?><A>b\0c</A>", 16)), "<?x?>\n<A>b");
}

TEST(SaveLayoutTest, ALessThanSignAtTheEndIsIndentedLikeAnOpeningTag)
{
    EXPECT_EQ(LaidOut("<"), "<");
    EXPECT_EQ(LaidOut("<?x?><A><"), "<?x?>\n<A>\n    <");
    EXPECT_EQ(LaidOut("<?x?><A>b<"), "<?x?>\n<A>b    <");
}

TEST(SaveLayoutTest, NothingIsIndentedBelowDepthZero)
{
    EXPECT_EQ(LaidOut("</A>"), "</A>\n");
    EXPECT_EQ(LaidOut("</A></B><C><D><E><F>"), "</A>\n</B>\n<C>\n<D>\n<E>\n<F>\n");
    EXPECT_EQ(LaidOut("</A></B><C><D><E><F><G>"), "</A>\n</B>\n<C>\n<D>\n<E>\n<F>\n    <G>\n");
}

TEST(SaveLayoutTest, WhatLooksLikeAClosingTagBehindWhiteSpaceIsBehindWhatStandsBeforeThat)
{
    EXPECT_EQ(LaidOut("<?x?><A><B><C/> \n</B>"), "<?x?>\n<A>\n    <B>\n        <C/>\n        </B>\n");
    EXPECT_EQ(LaidOut("<?x?><A><B>c \n</B>"), "<?x?>\n<A>\n    <B>c</B>\n");
}

TEST(SaveLayoutTest, AClosingTagInsideOfMarkupIsNotIndented)
{
    EXPECT_EQ(LaidOut("<?x?><A><B><C \n</C></B>"), "<?x?>\n<A>\n    <B>\n        <C \n</C>\n    </B>\n");
}

TEST(SaveLayoutTest, ALineEndsWhereNoTextFollows)
{
    EXPECT_EQ(LaidOut("<A>> b> <C> >"), "<A>>b>\n<C>>\n");
}

TEST(SaveLayoutTest, OtherWhiteSpaceIsText)
{
    EXPECT_EQ(LaidOut("<A>\r</A>\v<B>\f</B>"), "<A>\r</A>\v<B>\f</B>\n");
}

TEST(SaveLayoutTest, ElementsInTheSelfClosingFormLetTheDepthDrift)
{
    constexpr size_t kCount = 300;
    std::string text = "<?x?>";
    std::string expected = "<?x?>\n";
    for (size_t i = 0; i < kCount; ++i) {
        text += "<A/>";
        expected += std::string(4 * i, ' ') + "<A/>\n";
    }
    EXPECT_EQ(LaidOut(text), expected);
    EXPECT_EQ(LaidOut(text + "</B>"), expected + std::string(4 * (kCount - 1), ' ') + "</B>\n");
}

TEST(SaveLayoutTest, LaysAwkwardTextsOutLikeThePlainRules)
{
    AwkwardTexts texts;
    for (int i = 0; i < kAwkwardTexts; ++i) {
        const std::string text = texts.Next();
        ASSERT_EQ(LaidOut(text), LayOutPlainly(text)) << text;
    }
}

TEST(SaveLayoutTest, LaysDeepTextsOutLikeThePlainRules)
{
    AwkwardTexts texts;
    std::string deep = "<?x?>";
    for (int i = 0; i < 1000; ++i) {
        deep += "<A>" + texts.Next();
        if (i % 50 == 0) {
            ASSERT_EQ(LaidOut(deep), LayOutPlainly(deep)) << deep;
        }
    }
}

}  // namespace
