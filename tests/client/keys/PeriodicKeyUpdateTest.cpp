#include "keys/PeriodicKeyUpdate.h"

#include "FakeKeyClock.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace zef {

namespace {

using Kind = PeriodicKeyUpdate::Kind;
using std::chrono::hours;

constexpr int64_t kDay = 24 * 60 * 60;
constexpr uint32_t kHuge = 0xffffffff;

class PeriodicKeyUpdateTest : public testing::Test {
protected:
    std::vector<KeyAgeLimits> Checks()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return checks;
    }

    void Record(const KeyAgeLimits &limits)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        checks.push_back(limits);
    }

    FakeKeyClock clock{0};
    std::mutex mutex;
    std::vector<KeyAgeLimits> checks;  // guarded by mutex
    PeriodicKeyUpdate update{clock, [this](const KeyAgeLimits &limits) { Record(limits); }};
};

}  // namespace

TEST_F(PeriodicKeyUpdateTest, ChecksAtOnceWithTheLimitInSeconds)
{
    update.Schedule(Kind::Root, 30, 6);
    ASSERT_TRUE(clock.AwaitWait(1));
    ASSERT_EQ(Checks().size(), 1u);
    EXPECT_EQ(Checks()[0].root, 30 * kDay);
    EXPECT_FALSE(Checks()[0].master.has_value());
    EXPECT_EQ(clock.LatestDuration(), hours(6));
}

TEST_F(PeriodicKeyUpdateTest, ChecksAgainWhenTheIntervalHasPassed)
{
    update.Schedule(Kind::Master, 30, 6);
    ASSERT_TRUE(clock.AwaitWait(1));
    clock.Advance(hours(5));
    EXPECT_EQ(Checks().size(), 1u);
    clock.Advance(hours(1));
    ASSERT_TRUE(clock.AwaitWait(2));
    ASSERT_EQ(Checks().size(), 2u);
    EXPECT_EQ(Checks()[1].master, 30 * kDay);
    EXPECT_FALSE(Checks()[1].root.has_value());
}

TEST_F(PeriodicKeyUpdateTest, ChecksBothKindsAtTheShorterInterval)
{
    update.Schedule(Kind::Root, 30, 12);
    ASSERT_TRUE(clock.AwaitWait(1));
    update.Schedule(Kind::Master, 10, 4);
    ASSERT_TRUE(clock.AwaitWait(2));
    ASSERT_EQ(Checks().size(), 2u);
    EXPECT_EQ(Checks()[1].root, 30 * kDay);
    EXPECT_EQ(Checks()[1].master, 10 * kDay);
    EXPECT_EQ(clock.LatestDuration(), hours(4));
}

TEST_F(PeriodicKeyUpdateTest, NeverChecksForZeroDaysOrZeroHours)
{
    for (const auto &[days, checkHours] : {std::pair(0u, 6u), std::pair(0u, 0u), std::pair(30u, 0u)}) {
        update.Schedule(Kind::Master, days, checkHours);
    }
    update.Schedule(Kind::Root, 30, 6);
    ASSERT_TRUE(clock.AwaitWait(1));
    for (const KeyAgeLimits &limits : Checks()) {
        EXPECT_FALSE(limits.master.has_value());
    }
    EXPECT_EQ(Checks().size(), 1u);
}

TEST_F(PeriodicKeyUpdateTest, ASettingOfZeroEndsTheChecksOfItsKind)
{
    update.Schedule(Kind::Root, 30, 6);
    ASSERT_TRUE(clock.AwaitWait(1));
    update.Schedule(Kind::Root, 0, 6);
    update.Schedule(Kind::Master, 10, 6);
    ASSERT_TRUE(clock.AwaitWait(2));
    const std::vector<KeyAgeLimits> seen = Checks();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_FALSE(seen[1].root.has_value());
    EXPECT_EQ(seen[1].master, 10 * kDay);
}

TEST_F(PeriodicKeyUpdateTest, TakesTheLargestSettings)
{
    update.Schedule(Kind::Root, kHuge, kHuge);
    ASSERT_TRUE(clock.AwaitWait(1));
    EXPECT_EQ(Checks()[0].root, int64_t{kHuge} * kDay);
    EXPECT_EQ(clock.LatestDuration(), hours(365 * 24));
}

TEST_F(PeriodicKeyUpdateTest, StopsInTheMiddleOfAWait)
{
    update.Schedule(Kind::Root, 30, kHuge);
    ASSERT_TRUE(clock.AwaitWait(1));
    update.Stop();
    EXPECT_EQ(Checks().size(), 1u);
}

TEST_F(PeriodicKeyUpdateTest, StopsWhenNothingRuns)
{
    update.Stop();
    update.Stop();
    EXPECT_TRUE(Checks().empty());
}

TEST_F(PeriodicKeyUpdateTest, StartsAgainAfterAStopWithoutTheOldSchedule)
{
    update.Schedule(Kind::Root, 30, 6);
    ASSERT_TRUE(clock.AwaitWait(1));
    update.Stop();
    update.Schedule(Kind::Master, 10, 8);
    ASSERT_TRUE(clock.AwaitWait(2));
    const std::vector<KeyAgeLimits> seen = Checks();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_FALSE(seen[1].root.has_value());
    EXPECT_EQ(clock.LatestDuration(), hours(8));
}

}  // namespace zef
