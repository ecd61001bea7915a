#include "GatewayTest.h"

#include "FakePortal.h"
#include "TcpRelay.h"

#include <zef_config/ThreadPool.h>

#include <gmock/gmock.h>

#include <future>
#include <thread>

namespace zef {

namespace {

using testing::Contains;

}  // namespace

// Deadlines are long here: a close that waited for one of them would be found hanging.
class IpGatewayCloseTest : public GatewayTest {
protected:
    IpGatewayCloseTest()
    {
        std::thread([] {}).join();  // a sanitizer starts a thread of its own with the first one
        CountFromHere();
        options.connectDeadline = std::chrono::hours(1);
        options.loginDeadline = std::chrono::hours(1);
        options.wwnDeadline = std::chrono::hours(1);
        options.keepAliveInterval = std::chrono::hours(1);
    }

    void CountFromHere()
    {
        descriptors = OpenDescriptors();
        threads = RunningThreads();
    }

    // Closes the gateway, and sees that it takes everything with it.
    void CloseAndLookBehind()
    {
        auto closed = std::async(std::launch::async, [this] { gateway.Close(); });
        ASSERT_EQ(closed.wait_for(kPatience), std::future_status::ready) << "the close hangs";
        closed.get();
        EXPECT_TRUE(gateway.Links().empty());
        EXPECT_EQ(OpenDescriptors(), descriptors);
        EXPECT_TRUE(Eventually([this] { return RunningThreads() <= threads; }));
        EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    }

    // Calls CreateLink on another thread, waits until the link is in that phase, and closes.
    void CloseDuring(LinkPhase phase)
    {
        StartGateway();
        std::thread caller([this] { EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1); });
        EXPECT_TRUE(record.WaitFor(phase));
        gateway.Close();
        caller.join();
        CloseAndLookBehind();
    }

    size_t descriptors = 0;
    size_t threads = 0;
};

TEST_F(IpGatewayCloseTest, EndsAGatewayWithoutLinks)
{
    StartGateway();
    CloseAndLookBehind();
}

TEST_F(IpGatewayCloseTest, LogsOutOfTheArray)
{
    TgtArray &array = StartArray();
    TcpRelay relay("127.0.0.1", array.Address(), array.Port());
    options.arrayPort = relay.Port();
    CountFromHere();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    gateway.Close();
    EXPECT_TRUE(record.WaitForCause(LinkPhase::Closed, "the gateway is closing"));
    EXPECT_THAT(relay.Opcodes(), Contains(int{TcpRelay::kLogoutRequest}));
    EXPECT_TRUE(Eventually([&array] { return array.InitiatorAddresses().empty(); }));
    EXPECT_TRUE(Eventually([this] { return OpenDescriptors() == descriptors; })) << "the relay's end included";
    CloseAndLookBehind();
}

TEST_F(IpGatewayCloseTest, LeavesNothingBehindAfterFortyLinks)
{
    StartArray();
    CountFromHere();
    StartGateway();
    for (int i = 1; i <= 40; ++i) {
        EXPECT_EQ(Create("127.0.1." + std::to_string(i)), 0);
    }
    CloseAndLookBehind();
}

TEST_F(IpGatewayCloseTest, EndsWhileConnecting)
{
    const FullPortal portal("127.0.0.1");
    options.arrayPort = portal.Port();
    CountFromHere();
    CloseDuring(LinkPhase::Connecting);
}

TEST_F(IpGatewayCloseTest, EndsWhileLoggingIn)
{
    StartArray();
    tgt->Freeze();
    CountFromHere();
    CloseDuring(LinkPhase::LoggingIn);
    tgt->Thaw();
}

TEST_F(IpGatewayCloseTest, EndsDuringDiscovery)
{
    options.targetName = "";
    StartArray();
    tgt->Freeze();
    CountFromHere();
    CloseDuring(LinkPhase::Discovering);
    tgt->Thaw();
}

TEST_F(IpGatewayCloseTest, EndsWhileTheWwnIsRead)
{
    TgtArray &array = StartArray();
    TcpRelay relay("127.0.0.1", array.Address(), array.Port());
    relay.HoldAt(TcpRelay::kScsiCommand);
    options.arrayPort = relay.Port();
    StartGateway();
    std::thread caller([this] { EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1); });
    EXPECT_TRUE(record.WaitFor(LinkPhase::ReadingWwn));
    gateway.Close();
    caller.join();
}

TEST_F(IpGatewayCloseTest, EndsWhenTheArrayAnswersNoLogout)
{
    StartArray();
    CountFromHere();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    tgt->Freeze();
    CloseAndLookBehind();
    tgt->Thaw();
}

TEST_F(IpGatewayCloseTest, EndsWhileALostLinkWaits)
{
    options.retryDelay = std::chrono::hours(1);
    StartArray();
    CountFromHere();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    tgt->Kill();
    EXPECT_TRUE(record.WaitFor(LinkPhase::WaitingToRetry));
    CloseAndLookBehind();
}

TEST_F(IpGatewayCloseTest, EndsWhileACredentialIsWaitedFor)
{
    // A task of the pool that waits for one link keeps the other link's credential from being asked.
    ThreadPool pool(1);
    FakePortal silent("127.0.0.9", FakePortal::StaySilent());
    TgtArray::Settings settings;
    settings.port = silent.Port();
    TgtArray &array = StartArray(settings);
    CountFromHere();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    auto task = pool.commit(0, "create", [this] { return Create("127.0.0.1", "127.0.0.9"); });
    EXPECT_TRUE(record.WaitFor(
        [](const LinkState &state) { return state.phase == LinkPhase::LoggingIn && state.array == "127.0.0.9"; }));
    array.Kill();
    EXPECT_TRUE(record.WaitFor(LinkPhase::WaitingToRetry));
    auto closed = std::async(std::launch::async, [this] { gateway.Close(); });
    EXPECT_EQ(closed.wait_for(kPatience), std::future_status::ready) << "the close hangs";
    EXPECT_EQ(task.second.get(), -1);
    pool.Clear();
}

TEST_F(IpGatewayCloseTest, ReturnsToEveryCallerThatWaits)
{
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    options.arrayPort = portal.Port();
    StartGateway();
    std::vector<std::thread> callers;
    std::atomic<int> refused{0};
    for (int i = 1; i <= 8; ++i) {
        callers.emplace_back([this, i, &refused] {
            refused += Create("127.0.1." + std::to_string(i), "127.0.0.1") == -1 ? 1 : 0;
        });
    }
    EXPECT_TRUE(Eventually([this] { return gateway.Links().size() == 8; }));
    gateway.Close();
    for (std::thread &caller : callers) {
        caller.join();
    }
    EXPECT_EQ(refused, 8);
}

TEST_F(IpGatewayCloseTest, MayRaceWithCallersAndTheArraysEnd)
{
    TgtArray &array = StartArray();
    for (int round = 0; round < 5; ++round) {
        StartGateway();
        std::vector<std::thread> callers;
        for (int i = 1; i <= 6; ++i) {
            callers.emplace_back([this, i] {
                const std::string local = "127.0.1." + std::to_string(i);
                Create(local);
                Info(local, "127.0.0.1");
                gateway.DeleteLink(local, "127.0.0.1");
            });
        }
        array.Kill();
        gateway.Close();
        for (std::thread &caller : callers) {
            caller.join();
        }
        array.Start();
    }
}

TEST_F(IpGatewayCloseTest, CanBeStartedAgain)
{
    StartArray();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    gateway.Close();
    StartGateway();
    EXPECT_TRUE(gateway.Links().empty());
    EXPECT_EQ(Create("127.0.0.1"), 0);
}

TEST_F(IpGatewayCloseTest, MakesAFibreChannelPollFindALinkThatIsUp)
{
    OrnLinkInfo records[2] = {{1, -1, 0, ""}, {2, -1, 0, ""}};
    uint32_t count = 9;
    StartGateway();
    gateway.Close();
    EXPECT_EQ(gateway.FibreChannelLinks(records, 2, &count), 0);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(records[0].wwn, UINT64_MAX);
    EXPECT_EQ(records[0].status, 0);
    EXPECT_EQ(records[1].wwn, 2u);
    EXPECT_EQ(records[1].status, -1);
    EXPECT_EQ(gateway.FibreChannelLinks(records, 0, &count), 0);
    EXPECT_EQ(count, 0u);
}

}  // namespace zef
