#include "GatewayTest.h"

#include "TcpRelay.h"

#include <zef_config/ThreadPool.h>

#include <gmock/gmock.h>

#include <future>
#include <thread>

namespace zef {

namespace {

using testing::Contains;
using testing::HasSubstr;

using Pairs = std::vector<std::pair<std::string, std::string>>;

std::atomic<bool> insideTask{false};
std::atomic<bool> askedBesideTask{false};
std::atomic<int> asked{0};

int NoteTask(const char *local, const char *array, OrnCredential *credential);

}  // namespace

class IpGatewayRecoveryTest : public GatewayTest {
protected:
    // A link over 127.0.0.1 that is up, through the relay if there is one.
    void BringUp()
    {
        StartGateway();
        ASSERT_EQ(Create("127.0.0.1"), 0);
        ASSERT_TRUE(record.WaitFor(LinkPhase::Up));
    }

public:
    static int Give(const char *local, const char *array, OrnCredential *credential)
    {
        return GiveCredential(local, array, credential);
    }
};

namespace {

int NoteTask(const char *local, const char *array, OrnCredential *credential)
{
    ++asked;
    askedBesideTask = askedBesideTask || insideTask;
    return IpGatewayRecoveryTest::Give(local, array, credential);
}

}  // namespace

TEST_F(IpGatewayRecoveryTest, ALinkIsLoggedInAgainWhenTheArrayComesBack)
{
    TgtArray &array = StartArray();
    BringUp();
    array.Kill();
    EXPECT_TRUE(record.WaitFor(LinkPhase::WaitingToRetry));
    const OrnLinkInfo down = Info("127.0.0.1", "127.0.0.1");
    EXPECT_EQ(down.status, 1);
    EXPECT_EQ(down.wwn, array.Wwn());

    array.Start();
    EXPECT_TRUE(record.WaitFor(LinkPhase::Up));
    const OrnLinkInfo up = Info("127.0.0.1", "127.0.0.1");
    EXPECT_EQ(up.status, 0);
    EXPECT_EQ(up.wwn, array.Wwn());
    EXPECT_EQ(array.InitiatorAddresses().size(), 1u);
    EXPECT_GE(callbackCalls, 2);
}

TEST_F(IpGatewayRecoveryTest, ALostLinkSaysHowItWasLost)
{
    TgtArray &array = StartArray();
    testing::internal::CaptureStderr();
    BringUp();
    array.Kill();
    EXPECT_TRUE(record.WaitForCause(LinkPhase::WaitingToRetry, "the array closed the connection"));
    EXPECT_TRUE(record.WaitFor([](const LinkState &state) {
        return state.phase == LinkPhase::WaitingToRetry && state.cause.find("Connection refused") != std::string::npos;
    }));
    gateway.Close();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("link 127.0.0.1 -> 127.0.0.1 lost: the array closed the connection; tried again every 2 s"));
}

TEST_F(IpGatewayRecoveryTest, ABrokenConnectionIsMadeAnewFromTheSameSourceAddress)
{
    TgtArray &array = StartArray();
    TcpRelay relay("127.0.0.1", array.Address(), array.Port());
    options.arrayPort = relay.Port();
    BringUp();
    relay.Cut();
    EXPECT_TRUE(record.WaitFor(LinkPhase::WaitingToRetry));
    EXPECT_TRUE(record.WaitFor(LinkPhase::Up));
    EXPECT_EQ(OnlyLink().tries, 2u);
}

TEST_F(IpGatewayRecoveryTest, AnArrayThatIsSilentForTooLongCountsAsLost)
{
    options.keepAliveInterval = std::chrono::milliseconds(20);
    options.keepAliveLimit = 3;
    TgtArray &array = StartArray();
    BringUp();
    array.Freeze();
    EXPECT_TRUE(record.WaitForCause(LinkPhase::WaitingToRetry, "the array has left 3 keep-alives unanswered"));
    array.Thaw();
    EXPECT_TRUE(record.WaitFor(LinkPhase::Up));
}

TEST_F(IpGatewayRecoveryTest, AnsweredKeepAlivesKeepTheLinkUp)
{
    options.keepAliveInterval = std::chrono::milliseconds(2);
    TgtArray &array = StartArray();
    TcpRelay relay("127.0.0.1", array.Address(), array.Port());
    options.arrayPort = relay.Port();
    options.keepAliveLimit = 1000;
    BringUp();
    EXPECT_TRUE(Eventually([&relay] {
        const std::vector<int> opcodes = relay.Opcodes();
        return std::count(opcodes.begin(), opcodes.end(), int{TcpRelay::kNopOut}) > 20;
    }));
    EXPECT_EQ(OnlyLink().phase, LinkPhase::Up);
    EXPECT_EQ(OnlyLink().tries, 1u);
}

TEST_F(IpGatewayRecoveryTest, AnotherArrayIsNotTakenForTheOldOne)
{
    const std::string old = TgtArray::Settings().scsiId;
    TgtArray &array = StartArray();
    BringUp();
    array.Kill();
    array.SetScsiId("6001405fffffffffffffffffffffffff");
    array.Start();
    EXPECT_TRUE(record.WaitForCause(LinkPhase::WaitingToRetry,
                                    "another array answers: WWN 0x6001405fffffffff instead of 0x6001405123456789"));
    EXPECT_EQ(Info("127.0.0.1", "127.0.0.1").status, 1);
    EXPECT_EQ(Info("127.0.0.1", "127.0.0.1").wwn, 0x6001405123456789u);

    array.SetScsiId(old);
    EXPECT_TRUE(record.WaitFor(LinkPhase::Up));
    EXPECT_EQ(OnlyLink().wwn, 0x6001405123456789u);
}

TEST_F(IpGatewayRecoveryTest, AnArrayThatNoLongerNamesItsWwnIsNotTrusted)
{
    TgtArray &array = StartArray();
    TcpRelay relay("127.0.0.1", array.Address(), array.Port());
    options.arrayPort = relay.Port();
    BringUp();
    gateway.Close();

    options.wwnDeadline = std::chrono::milliseconds(100);
    BringUp();
    relay.HoldAt(TcpRelay::kScsiCommand);
    relay.Cut();
    EXPECT_TRUE(
        record.WaitForCause(LinkPhase::WaitingToRetry, "no answer to the question for the WWN within 100 ms"));
    relay.Release();
    EXPECT_TRUE(record.WaitFor(LinkPhase::Up));
}

TEST_F(IpGatewayRecoveryTest, APasswordThatWasChangedOnTheArrayShowsAsTheCause)
{
    StartArray();
    BringUp();
    SetPassword("wrong-horse-12");
    tgt->Kill();
    tgt->Start();
    EXPECT_TRUE(record.WaitForCause(LinkPhase::WaitingToRetry,
                                    "Failed to log in to target. Status: Authentication failure(513)"));
    SetPassword(kPassword);
    EXPECT_TRUE(record.WaitFor(LinkPhase::Up));
}

TEST_F(IpGatewayRecoveryTest, AFailingCallbackIsAskedAgain)
{
    StartArray();
    BringUp();
    callbackResult = -1;
    tgt->Kill();
    tgt->Start();
    EXPECT_TRUE(record.WaitForCause(LinkPhase::WaitingToRetry,
                                    "no user and password to log in with (see the messages before this one)"));
    callbackResult = 0;
    EXPECT_TRUE(record.WaitFor(LinkPhase::Up));
}

TEST_F(IpGatewayRecoveryTest, AskingForALostLinkTriesAtOnce)
{
    options.retryDelay = std::chrono::hours(1);
    StartArray();
    BringUp();
    tgt->Kill();
    EXPECT_TRUE(record.WaitFor(LinkPhase::WaitingToRetry));
    EXPECT_EQ(Create("127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().phase, LinkPhase::WaitingToRetry);
    tgt->Start();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    EXPECT_EQ(OnlyLink().phase, LinkPhase::Up);
}

TEST_F(IpGatewayRecoveryTest, RetryNowTriesAtOnceWhatWaits)
{
    options.retryDelay = std::chrono::hours(1);
    StartArray();
    BringUp();
    EXPECT_TRUE(gateway.RetryNow().empty()) << "it is up";
    tgt->Kill();
    EXPECT_TRUE(record.WaitFor(LinkPhase::WaitingToRetry));
    tgt->Start();
    EXPECT_EQ(gateway.RetryNow(), (Pairs{{"127.0.0.1", "127.0.0.1"}}));
    EXPECT_TRUE(record.WaitFor(LinkPhase::Up));
    EXPECT_EQ(OnlyLink().tries, 2u);
}

TEST_F(IpGatewayRecoveryTest, RetryNowLeavesFailedLinksToTheLibrary)
{
    StartArray();
    StartGateway();
    SetPassword("wrong-horse-12");
    EXPECT_EQ(Create("127.0.0.1"), -1);
    EXPECT_TRUE(gateway.RetryNow().empty());
    gateway.Close();
    EXPECT_TRUE(gateway.RetryNow().empty());
    EXPECT_EQ(callbackCalls, 1);
}

TEST_F(IpGatewayRecoveryTest, ALostLinkTellsWhenItIsTriedAgain)
{
    options.retryDelay = std::chrono::hours(1);
    StartArray();
    BringUp();
    EXPECT_EQ(OnlyLink().nextTry, std::nullopt);
    const auto before = std::chrono::system_clock::now();
    tgt->Kill();
    EXPECT_TRUE(record.WaitFor(LinkPhase::WaitingToRetry));
    ASSERT_TRUE(OnlyLink().nextTry.has_value());
    EXPECT_GT(*OnlyLink().nextTry, before + std::chrono::minutes(59));
    EXPECT_LT(*OnlyLink().nextTry, std::chrono::system_clock::now() + std::chrono::minutes(61));
}

TEST_F(IpGatewayRecoveryTest, CountsTheTriesThatFailSinceItWasUp)
{
    StartArray();
    BringUp();
    tgt->Kill();
    EXPECT_TRUE(record.WaitFor([](const LinkState &state) {
        return state.phase == LinkPhase::WaitingToRetry && state.failures == 0;
    })) << "the loss is no failed try";
    EXPECT_TRUE(record.WaitFor([](const LinkState &state) { return state.failures == 3; }));
    EXPECT_TRUE(gateway.Links().front().failures >= 3);
    tgt->Start();
    EXPECT_TRUE(record.WaitFor(LinkPhase::Up));
    EXPECT_EQ(OnlyLink().failures, 0u);
}

TEST_F(IpGatewayRecoveryTest, ATaskThatWaitsForALostLinkDoesNotWaitForItself)
{
    // The gateway's own login waits for the task to end before it asks for the credential; the task brings its own.
    ThreadPool pool(1);
    StartArray();
    BringUp();
    for (int round = 0; round < 10; ++round) {
        tgt->Kill();
        EXPECT_TRUE(record.WaitFor(LinkPhase::WaitingToRetry));
        tgt->Start();
        auto created = pool.commit(0, "create", [this] { return Create("127.0.0.1"); });
        ASSERT_EQ(created.first, 0);
        ASSERT_EQ(created.second.wait_for(kPatience), std::future_status::ready);
        EXPECT_TRUE(record.WaitFor(LinkPhase::Up));
    }
    pool.Clear();
}

TEST_F(IpGatewayRecoveryTest, TheCallbackNeverRunsBesideATask)
{
    callback = NoteTask;
    ThreadPool pool(1);
    TgtArray &array = StartArray();
    TcpRelay relay("127.0.0.1", array.Address(), array.Port());
    options.arrayPort = relay.Port();
    options.retryDelay = std::chrono::milliseconds(1);
    BringUp();
    insideTask = false;
    for (int round = 0; round < 10; ++round) {
        const int before = asked;
        auto task = pool.commit(0, "task", [this, &relay] {
            insideTask = true;
            relay.Cut();
            EXPECT_TRUE(record.WaitFor(LinkPhase::WaitingToRetry));
            // Leaves a callback that does not wait the time to be caught; one that does is not affected.
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            insideTask = false;
        });
        ASSERT_EQ(task.second.wait_for(kPatience), std::future_status::ready);
        EXPECT_TRUE(record.WaitFor(LinkPhase::Up));
        EXPECT_GT(asked, before);
    }
    EXPECT_FALSE(askedBesideTask);
    pool.Clear();
}

TEST_F(IpGatewayRecoveryTest, FortyLostLinksAllComeBack)
{
    TgtArray &array = StartArray();
    StartGateway();
    for (int i = 1; i <= 40; ++i) {
        EXPECT_EQ(Create("127.0.1." + std::to_string(i)), 0);
    }
    const auto isUp = [](const LinkState &link) { return link.phase == LinkPhase::Up; };
    const auto countUp = [this, &isUp] {
        const std::vector<LinkState> links = gateway.Links();
        return std::count_if(links.begin(), links.end(), isUp);
    };
    array.Kill();
    EXPECT_TRUE(Eventually([&countUp] { return countUp() == 0; }));
    array.Start();
    EXPECT_TRUE(Eventually([&countUp] { return countUp() == 40; }));
}

}  // namespace zef
