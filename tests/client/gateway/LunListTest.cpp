#include "gateway/LunList.h"

#include <gtest/gtest.h>

namespace {

using zef::ParseLunList;
using Bytes = std::vector<uint8_t>;

Bytes Answer(const std::vector<Bytes> &entries)
{
    Bytes answer(8, 0);
    for (const Bytes &entry : entries) {
        answer.insert(answer.end(), entry.begin(), entry.end());
        answer.resize((answer.size() + 7) / 8 * 8);
    }
    answer[3] = static_cast<uint8_t>(answer.size() - 8);
    return answer;
}

}  // namespace

TEST(LunListTest, GivesTheLunsInTheirOrder)
{
    EXPECT_EQ(ParseLunList(Answer({{0, 0}, {0, 7}, {0, 1}}), 10), (std::vector<int>{0, 7, 1}));
}

TEST(LunListTest, GivesFlatAddressesAsTheyAre)
{
    EXPECT_EQ(ParseLunList(Answer({{0x41, 0x02}}), 10), (std::vector<int>{0x4102}));
}

TEST(LunListTest, SkipsLunsWithMoreThanOneLevelAndOtherMethods)
{
    EXPECT_EQ(ParseLunList(Answer({{0, 1, 0, 2}, {0x80, 1}, {0xC1, 0}, {0, 3}}), 10), (std::vector<int>{3}));
}

TEST(LunListTest, GivesAtMostTheLimit)
{
    EXPECT_EQ(ParseLunList(Answer({{0, 1}, {0, 2}, {0, 3}}), 2), (std::vector<int>{1, 2}));
}

TEST(LunListTest, StopsAtTheAnnouncedLength)
{
    Bytes answer = Answer({{0, 1}, {0, 2}});
    answer[3] = 8;
    EXPECT_EQ(ParseLunList(answer, 10), (std::vector<int>{1}));
}

TEST(LunListTest, StopsAtTheEndOfATruncatedAnswer)
{
    const Bytes whole = Answer({{0, 1}, {0, 2}});
    for (size_t size = 0; size < whole.size(); ++size) {
        const Bytes answer(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(ParseLunList(answer, 10).size(), size < 16 ? 0u : 1u) << size;
    }
}

TEST(LunListTest, SurvivesAnAnnouncedLengthOfFourGigabytes)
{
    Bytes answer = Answer({{0, 1}});
    answer[0] = answer[1] = answer[2] = answer[3] = 0xFF;
    EXPECT_EQ(ParseLunList(answer, 10), (std::vector<int>{1}));
}
