#include "iputil/ProbeRecord.h"

#include "client/log/CapturedLog.h"
#include "client/log/FakeLogClock.h"

namespace zef {

namespace {

using std::chrono::seconds;

constexpr char kArray[] = "10.0.0.9";
constexpr char kRefused[] = "10.0.0.1: Connection refused";
constexpr uint16_t kPort = 3260;

class ProbeRecordTest : public CapturedLog {
protected:
    void FailFor(seconds time)
    {
        for (seconds passed{0}; passed < time; passed += seconds(2)) {
            clock.Advance(seconds(2));
            record.NotReached(kArray, kPort, kRefused);
        }
    }

    FakeLogClock clock;
    ProbeRecord record{clock.Clock()};
};

}  // namespace

TEST_F(ProbeRecordTest, KnowsNothingAtFirst)
{
    EXPECT_TRUE(record.States().empty());
}

TEST_F(ProbeRecordTest, KeepsCauseAndTimesOfAnAddressThatIsNotReached)
{
    record.NotReached(kArray, kPort, "10.0.0.1: No route to host");
    clock.Advance(seconds(2));
    record.NotReached(kArray, kPort, kRefused);
    const std::vector<ProbeState> states = record.States();
    ASSERT_EQ(states.size(), 1u);
    EXPECT_EQ(states[0].array, kArray);
    EXPECT_EQ(states[0].cause, kRefused);
    EXPECT_EQ(states[0].failures, 2u);
    EXPECT_EQ(states[0].lastTry, clock.Wall());
    EXPECT_EQ(states[0].nextTry, clock.Wall() + seconds(2));
    EXPECT_FALSE(states[0].reached);
}

TEST_F(ProbeRecordTest, KeepsThatAnAddressIsReached)
{
    record.NotReached(kArray, kPort, kRefused);
    clock.Advance(seconds(2));
    record.Reached(kArray, kPort);
    const std::vector<ProbeState> states = record.States();
    ASSERT_EQ(states.size(), 1u);
    EXPECT_EQ(states[0].cause, "");
    EXPECT_EQ(states[0].failures, 0u);
    EXPECT_EQ(states[0].lastTry, clock.Wall());
    EXPECT_TRUE(states[0].reached);
}

TEST_F(ProbeRecordTest, OrdersAndForgetsAddresses)
{
    record.Reached("10.0.0.8", kPort);
    record.NotReached("10.0.0.10", kPort, kRefused);
    record.Reached("10.0.0.9", kPort);
    record.Forget("10.0.0.9");
    const std::vector<ProbeState> states = record.States();
    ASSERT_EQ(states.size(), 2u);
    EXPECT_EQ(states[0].array, "10.0.0.10");
    EXPECT_EQ(states[1].array, "10.0.0.8");
}

TEST_F(ProbeRecordTest, ForgetsTheOldestWhenThereAreTooMany)
{
    for (size_t i = 0; i <= ProbeRecord::kMostArrays; ++i) {
        record.Reached(std::to_string(i), kPort);
        clock.Advance(seconds(1));
    }
    const std::vector<ProbeState> states = record.States();
    EXPECT_EQ(states.size(), ProbeRecord::kMostArrays);
    EXPECT_EQ(states.front().array, "1");
}

TEST_F(ProbeRecordTest, TellsOnceThatAnAddressIsNotReachedAndThatItIsAgain)
{
    record.Reached("10.0.0.8", kPort);
    record.NotReached(kArray, kPort, kRefused);
    FailFor(seconds(598));
    record.Reached(kArray, kPort);
    EXPECT_EQ(Text(), "warning [iputil] no local address reaches 10.0.0.9:3260 (10.0.0.1: Connection refused); tried "
                      "again every 2 s, reported again when the cause changes, in 10 minutes, or when it is reached\n"
                      "info    [iputil] 10.0.0.9:3260 is reached after 300 failed tries\n");
}

TEST_F(ProbeRecordTest, TellsANewCauseAndASummary)
{
    record.NotReached(kArray, kPort, "10.0.0.1: No route to host");
    FailFor(seconds(600));
    EXPECT_EQ(Text(), "warning [iputil] no local address reaches 10.0.0.9:3260 (10.0.0.1: No route to host); tried "
                      "again every 2 s, reported again when the cause changes, in 10 minutes, or when it is reached\n"
                      "warning [iputil] no local address reaches 10.0.0.9:3260 (10.0.0.1: Connection refused); 1 try "
                      "failed since 14:03:22, 2 since 2026-03-01 14:03:22\n"
                      "warning [iputil] still no local address reaches 10.0.0.9:3260 (10.0.0.1: Connection refused); "
                      "299 tries failed since 14:03:24, 301 since 2026-03-01 14:03:22\n");
}

TEST_F(ProbeRecordTest, TellsAnewOfAnAddressThatWasForgotten)
{
    record.NotReached(kArray, kPort, kRefused);
    record.Forget(kArray);
    record.NotReached(kArray, kPort, kRefused);
    const std::string line = "warning [iputil] no local address reaches 10.0.0.9:3260 (10.0.0.1: Connection refused); "
                             "tried again every 2 s, reported again when the cause changes, in 10 minutes, or when it "
                             "is reached\n";
    EXPECT_EQ(Text(), line + line);
}

}  // namespace zef
