#include "check/AttributeCount.h"

#include "CheckTest.h"

namespace zef {
namespace {

std::string Attributes(size_t count, const std::string &value)
{
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        text += " a" + std::to_string(i) + "=\"" + value + "\"";
    }
    return text;
}

TEST(AttributeCountTest, TakesAsManyAttributesAsTheLimit)
{
    EXPECT_EQ(FindCrowdedTag("<a/><Config" + Attributes(kMaxAttributes, "x") + "/>"), std::nullopt);
}

TEST(AttributeCountTest, FindsTheTagWithOneMore)
{
    EXPECT_EQ(FindCrowdedTag("<a/><Config" + Attributes(kMaxAttributes + 1, "x") + "/>"), 4u);
}

TEST(AttributeCountTest, IsNotFooledByAngleBracketsInValues)
{
    EXPECT_EQ(FindCrowdedTag("<Config" + Attributes(kMaxAttributes + 1, "<>'=") + "/>"), 0u);
}

TEST(AttributeCountTest, DoesNotCountInTextsCommentsAndCdata)
{
    const std::string equals(kMaxAttributes + 1, '=');
    EXPECT_EQ(FindCrowdedTag("<a>" + equals + "</a><!-- ' <a " + equals + " --><![CDATA[<b " + equals + "]]>"),
              std::nullopt);
}

using AttributeLimitTest = CheckTest;

TEST_F(AttributeLimitTest, ACrowdedFileIsRefusedUnread)
{
    const CheckResult result = Check("<?xml version=\"1.0\"?>\n<Config" + Attributes(kMaxAttributes + 1, "") + "/>");
    EXPECT_EQ(Summary(result), std::vector<std::string>{"2:1: error: too-many-attributes!"});
}

}  // namespace
}  // namespace zef
