#include "gateway/ExpectedLinks.h"

#include <gmock/gmock.h>

#include <set>
#include <string>

namespace zef {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

constexpr char kArray[] = "10.0.0.1";
constexpr char kOther[] = "10.0.0.2";

std::set<std::string> Locals(size_t count)
{
    std::set<std::string> locals;
    for (size_t i = 0; i < count; ++i) {
        locals.insert("10.1.0." + std::to_string(i));
    }
    return locals;
}

}  // namespace

TEST(ExpectedLinksTest, HandsOutOnceWhatIsToBegin)
{
    ExpectedLinks links;
    EXPECT_THAT(links.Expect(kArray, {"a", "b"}, {"a", "b"}), IsEmpty());
    EXPECT_THAT(links.TakeWaiting(), ElementsAre(Pair("a", kArray), Pair("b", kArray)));
    EXPECT_THAT(links.TakeWaiting(), IsEmpty());
}

TEST(ExpectedLinksTest, ForgetsWhatItExpectedOfThisArrayBefore)
{
    ExpectedLinks links;
    links.Expect(kArray, {"a"}, {"a"});
    links.Expect(kOther, {"a"}, {"a"});
    links.Expect(kArray, {"b"}, {"b"});
    EXPECT_THAT(links.TakeWaiting(), ElementsAre(Pair("a", kOther), Pair("b", kArray)));
}

TEST(ExpectedLinksTest, ToldWhatWasBegunInVain)
{
    ExpectedLinks links;
    links.Begun({"a", kArray});
    links.Begun({"b", kArray});
    links.Begun({"a", kOther});
    EXPECT_THAT(links.Expect(kArray, {}, {"b"}), ElementsAre(Pair("a", kArray)));
    EXPECT_THAT(links.Expect(kArray, {}, {"b"}), IsEmpty());
    EXPECT_FALSE(links.Claim({"a", kArray}));
    EXPECT_TRUE(links.Claim({"b", kArray}));
    EXPECT_TRUE(links.Claim({"a", kOther}));
}

TEST(ExpectedLinksTest, ForgetsWhatIsAskedFor)
{
    ExpectedLinks links;
    links.Expect(kArray, {"a", "b"}, {"a", "b"});
    EXPECT_FALSE(links.Claim({"a", kArray}));
    EXPECT_THAT(links.TakeWaiting(), ElementsAre(Pair("b", kArray)));
    links.Begun({"b", kArray});
    EXPECT_TRUE(links.Claim({"b", kArray}));
    EXPECT_FALSE(links.Claim({"b", kArray}));
}

TEST(ExpectedLinksTest, HasNoMoreThanTheLibraryKeeps)
{
    ExpectedLinks links;
    links.Begun({"a", kOther});
    links.Expect(kArray, Locals(40), Locals(40));
    EXPECT_THAT(links.TakeWaiting(), SizeIs(ExpectedLinks::kMost - 1));
}

TEST(ExpectedLinksTest, IsEmptyOnceCleared)
{
    ExpectedLinks links;
    links.Begun({"a", kArray});
    links.Expect(kArray, {"b"}, {"a", "b"});
    links.Clear();
    EXPECT_THAT(links.TakeWaiting(), IsEmpty());
    EXPECT_FALSE(links.Claim({"a", kArray}));
}

}  // namespace zef
