#include "check/WellFormedness.h"

#include "CheckTest.h"

namespace zef {
namespace {

using Lines = std::vector<std::string>;

TEST(WellFormednessTest, TellsWhereElementsBegin)
{
    const std::string text = "<?xml version=\"1.0\"?>\n<a x='>'>\n  <b\n y=\"1\"/><b>t</b>\n</a>";
    const XmlReport report = ParseStrictly(SourceText(text));
    EXPECT_TRUE(report.findings.empty());
    EXPECT_EQ(report.offsets.at("a"), std::vector<uint32_t>{static_cast<uint32_t>(text.find("<a"))});
    EXPECT_EQ(report.offsets.at("b"), (std::vector<uint32_t>{static_cast<uint32_t>(text.find("<b\n")),
                                                            static_cast<uint32_t>(text.find("<b>"))}));
}

TEST(WellFormednessTest, KnowsElementsBehindAnError)
{
    const XmlReport report = ParseStrictly(SourceText("<a><b>&unknown;</b><c/></a>"));
    EXPECT_EQ(Summary(report.findings), Lines{"1:16: error: not-well-formed"});
    EXPECT_EQ(report.offsets.count("c"), 1u);
}

TEST(WellFormednessTest, NeverQuotesTheText)
{
    for (const char *text : {"<a>&secret;</a>", "<a><secret></a>", "<a>secret<secret</a>", "<a secret></a>",
                             "<a secret=1/>", "<secret:a/>", "<a/>secret", "<a>\xffsecret</a>", "<a><![CDATA[secret"}) {
        const XmlReport report = ParseStrictly(SourceText(text));
        EXPECT_FALSE(report.findings.empty()) << text;
        for (const Finding &finding : report.findings) {
            EXPECT_EQ(finding.text.find("secret"), std::string::npos) << finding.text;
        }
    }
}

TEST(WellFormednessTest, KnowsWhatManyErrorsAreCalled)
{
    const auto first = [](const std::string &text) {
        const XmlReport report = ParseStrictly(SourceText(text));
        return report.findings.empty() ? std::string() : report.findings.front().text;
    };
    EXPECT_EQ(first(""), "there is no XML here");
    EXPECT_EQ(first("<a></b>"), "a closing tag does not match its opening tag");
    EXPECT_EQ(first("<a>"), "an element is not closed");
    EXPECT_EQ(first("<a/>x"), "something follows the end of the top element");
    EXPECT_EQ(first("<a>&</a>"), "a name is missing; a \"<\" or \"&\" in a value is written &lt; or &amp;");
    EXPECT_EQ(first("<a>&b</a>"), "a \"&\" that begins no entity; it is written &amp;");
    EXPECT_EQ(first("<a b='<'/>"), "a \"<\" in the value of an attribute; it is written &lt;");
    EXPECT_EQ(first("<a b='' b=''/>"), "an attribute stands twice in one element");
    EXPECT_EQ(first("<a>\xff</a>"), "a character that XML does not allow, or bytes that are not UTF-8");
    EXPECT_EQ(first("<a>\x01</a>"), "a character that XML does not allow, or bytes that are not UTF-8");
    EXPECT_EQ(first(std::string("<a>\0</a>", 8)), "a zero byte");
    EXPECT_EQ(first(" <?xml version=\"1.0\"?><a/>"),
              "an XML declaration that does not stand at the very beginning of the file");
}

TEST(WellFormednessTest, StopsAfterAFewErrors)
{
    std::string text = "<a>";
    for (int i = 0; i < 1000; ++i) {
        text += "&u;";
    }
    EXPECT_EQ(ParseStrictly(SourceText(text)).findings.size(), 5u);
}

}  // namespace
}  // namespace zef
