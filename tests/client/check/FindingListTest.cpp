#include "check/FindingList.h"

#include "CheckTest.h"

namespace zef {
namespace {

TEST(FindingListTest, GivesFindingsInTheOrderOfTheFile)
{
    FindingList list;
    list.Warn({2, 5}, "c", "");
    list.Complain({2, 1}, "b", "");
    list.Refuse({1, 9}, "a", "");
    EXPECT_EQ(Summary(list.Take()),
              (std::vector<std::string>{"1:9: error: a!", "2:1: error: b", "2:5: warning: c"}));
}

TEST(FindingListTest, KeepsABoundedNumberAndSaysHowManyMore)
{
    FindingList list;
    for (size_t i = 0; i < FindingList::kMaxFindings + 7; ++i) {
        list.Warn({1, 1}, "w", "");
    }
    const std::vector<Finding> findings = list.Take();
    ASSERT_EQ(findings.size(), FindingList::kMaxFindings + 1);
    EXPECT_EQ(findings.back().id, "more-findings");
    EXPECT_EQ(findings.back().text, "7 more findings are not shown; correct the first ones and check again");
    EXPECT_EQ(findings.back().severity, Severity::Warning);
}

TEST(FindingListTest, NeverLosesTheRefusalThatDecides)
{
    FindingList list;
    for (size_t i = 0; i < FindingList::kMaxFindings; ++i) {
        list.Warn({1, 1}, "w", "");
    }
    list.Refuse({2, 1}, "first", "");
    list.Refuse({2, 1}, "second", "");
    const std::vector<Finding> findings = list.Take();
    ASSERT_EQ(findings.size(), FindingList::kMaxFindings + 2);
    EXPECT_EQ(findings[FindingList::kMaxFindings].id, "first");
    EXPECT_EQ(findings.back().severity, Severity::Error);
}

TEST(FindingListTest, QuotesTextsSoThatTheyStayOneShortLine)
{
    EXPECT_EQ(Quoted("a\nb\x1b"), "\"a\\nb\\x1b\"");
    EXPECT_EQ(Quoted("a\n"), "\"a\\n\"");
    EXPECT_EQ(Quoted(std::string(65, 'x')), "\"" + std::string(64, 'x') + "...\"");
    EXPECT_EQ(Quoted(std::string(63, 'x') + "\xc3\xa4"), "\"" + std::string(63, 'x') + "...\"");
}

TEST(FindingListTest, QuotesNoSealedPassword)
{
    EXPECT_EQ(Quoted(" zef1:0123456789abcdef:AAAA"), "(an encrypted password)");
}

}  // namespace
}  // namespace zef
