// The functions of IpUtil, when several array addresses are awaited.
#include "iputil/EarlyProbes.h"
#include "iputil/IpUtilSettings.h"
#include "iputil/ProbeRecord.h"

#include "client/gateway/FakePortal.h"
#include "support/Files.h"

#include <zef_config/platform/IpUtil.h>

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace zef {

namespace {

using std::chrono::steady_clock;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using Addresses = std::set<std::string>;

constexpr std::chrono::seconds kPatience{30};  // only reached by a hang
constexpr std::chrono::milliseconds kAtOnce{0};
constexpr char kFirst[] = "127.0.0.1";
constexpr char kSecond[] = "127.0.0.2";

class AwaitedAddressesTest : public testing::Test {
protected:
    ~AwaitedAddressesTest() override
    {
        IpUtilSettings::Instance().Configure({});
        ForgetProbe(kFirst);
        ForgetProbe(kSecond);
    }

    void Configure(uint16_t port, std::chrono::milliseconds deadline)
    {
        IpUtilOptions options;
        options.port = port;
        options.deadline = deadline;
        options.isWanted = [this](const std::string &array) { return wanted.count(array) != 0; };
        options.awaited = [this] { return awaited; };
        options.reached = [this](const std::string &array, const Addresses &locals) {
            told.emplace_back(array, locals);
        };
        IpUtilSettings::Instance().Configure(options);
    }

    // What is told while an address is asked for, until the other one is among it.
    void AskUntilToldOf(const std::string &other, const std::string &array)
    {
        const auto end = steady_clock::now() + kPatience;
        do {
            told.clear();
            IpUtil::GetHostIpsCanConnect(array);
        } while (told.front().first != other && steady_clock::now() < end);
    }

    static std::unique_ptr<AddressProbe> TakeEarlyProbe(const std::string &array)
    {
        return EarlyProbes::Instance().Take(array, LocalAddresses());
    }

    Addresses wanted{kFirst, kSecond};
    Addresses awaited{kFirst, kSecond};
    std::vector<std::pair<std::string, Addresses>> told;
};

}  // namespace

TEST_F(AwaitedAddressesTest, AreTriedTogetherWithTheOneThatIsAskedFor)
{
    FakePortal portal("0.0.0.0", FakePortal::CloseAtOnce());
    Configure(portal.Port(), kPatience);
    const Addresses locals = IpUtil::GetHostIpsCanConnect(kFirst);
    EXPECT_THAT(locals, Contains("127.0.0.1"));
    EXPECT_EQ(TakeEarlyProbe(kFirst), nullptr);
    const std::unique_ptr<AddressProbe> second = TakeEarlyProbe(kSecond);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->Finish(), locals);
}

TEST_F(AwaitedAddressesTest, AreToldBeforeTheOneThatIsAskedFor)
{
    FakePortal portal("0.0.0.0", FakePortal::CloseAtOnce());
    Configure(portal.Port(), kPatience);
    AskUntilToldOf(kSecond, kFirst);
    EXPECT_THAT(told, ElementsAre(Pair(kSecond, Not(IsEmpty())), Pair(kFirst, Contains("127.0.0.1"))));
}

TEST_F(AwaitedAddressesTest, AreToldAlsoWhenTheOneThatIsAskedForIsNotReached)
{
    FakePortal portal(kSecond, FakePortal::CloseAtOnce());
    Configure(portal.Port(), kPatience);
    AskUntilToldOf(kSecond, kFirst);
    EXPECT_THAT(told, ElementsAre(Pair(kSecond, Not(IsEmpty())), Pair(kFirst, IsEmpty())));
}

TEST_F(AwaitedAddressesTest, AreAskedForWithWhatIsKnownAlready)
{
    auto portal = std::make_unique<FakePortal>("0.0.0.0", FakePortal::CloseAtOnce());
    Configure(portal->Port(), kPatience);
    AskUntilToldOf(kSecond, kFirst);
    const Addresses locals = told.front().second;
    portal.reset();
    EXPECT_THAT(IpUtil::GetHostIpsCanConnect(kSecond), testing::IsSupersetOf(locals)) << "from before it went";
    EXPECT_EQ(told.back().first, kSecond);
    EXPECT_THAT(IpUtil::GetHostIpsCanConnect(kSecond), IsEmpty()) << "an answer is taken once";
    EXPECT_THAT(told.back(), Pair(kSecond, IsEmpty()));
}

TEST_F(AwaitedAddressesTest, AreWaitedForTogetherWhenTheyAreSilent)
{
    const FullPortal portal("0.0.0.0");
    Configure(portal.Port(), std::chrono::hours(1));
    auto first = std::async(std::launch::async, [] { return IpUtil::GetHostIpsCanConnect(kFirst); });
    std::unique_ptr<AddressProbe> second;
    for (const auto end = steady_clock::now() + kPatience; second == nullptr && steady_clock::now() < end;) {
        second = TakeEarlyProbe(kSecond);
        std::this_thread::yield();
    }
    EXPECT_NE(second, nullptr) << "it does not wait for the first";
    IpUtilSettings::Instance().StopProbing();
    ASSERT_EQ(first.wait_for(kPatience), std::future_status::ready);
    EXPECT_THAT(told, ElementsAre(Pair(kFirst, IsEmpty())));
}

TEST_F(AwaitedAddressesTest, AreRecordedWhenTheyAreAskedFor)
{
    const FullPortal portal("0.0.0.0");
    Configure(portal.Port(), kAtOnce);
    IpUtil::GetHostIpsCanConnect(kFirst);
    ASSERT_EQ(ProbeStates().size(), 1u);
    IpUtil::GetHostIpsCanConnect(kSecond);
    ASSERT_EQ(ProbeStates().size(), 2u);
    EXPECT_THAT(ProbeStates()[1].cause, testing::HasSubstr("127.0.0.1: Connection timed out"));
    EXPECT_EQ(ProbeStates()[1].failures, 1u);
    EXPECT_THAT(told, ElementsAre(Pair(kFirst, IsEmpty()), Pair(kSecond, IsEmpty())));
}

TEST_F(AwaitedAddressesTest, BeginAnewWhereLocalAddressesHaveChanged)
{
    const FullPortal silent("0.0.0.0");
    FakePortal portal("0.0.0.0", FakePortal::CloseAtOnce());
    Configure(portal.Port(), kPatience);
    IpUtilOptions options;
    options.port = silent.Port();
    options.deadline = std::chrono::hours(1);
    EarlyProbes::Instance().Begin({kFirst, kSecond}, {"127.0.0.99"}, options, -1);
    EXPECT_THAT(IpUtil::GetHostIpsCanConnect(kFirst), Contains("127.0.0.1"));
    const std::unique_ptr<AddressProbe> second = TakeEarlyProbe(kSecond);
    ASSERT_NE(second, nullptr);
    EXPECT_THAT(second->Finish(), Contains("127.0.0.1"));
}

TEST_F(AwaitedAddressesTest, AreForgottenWhenNobodyWantsThemAnyMore)
{
    FakePortal portal("0.0.0.0", FakePortal::CloseAtOnce());
    Configure(portal.Port(), kPatience);
    AskUntilToldOf(kSecond, kFirst);
    told.clear();
    wanted = {kFirst};
    EXPECT_THAT(IpUtil::GetHostIpsCanConnect(kSecond), IsEmpty());
    EXPECT_THAT(told, ElementsAre(Pair(kSecond, IsEmpty())));
    EXPECT_EQ(TakeEarlyProbe(kSecond), nullptr);
}

TEST_F(AwaitedAddressesTest, AreNotToldOfWhenNobodyAwaitsThemAnyMore)
{
    FakePortal portal("0.0.0.0", FakePortal::CloseAtOnce());
    Configure(portal.Port(), kPatience);
    AskUntilToldOf(kSecond, kFirst);
    told.clear();
    awaited = {kFirst};
    IpUtil::GetHostIpsCanConnect(kFirst);
    EXPECT_THAT(told, ElementsAre(Pair(kFirst, Not(IsEmpty()))));
    EXPECT_EQ(TakeEarlyProbe(kSecond), nullptr);
}

TEST_F(AwaitedAddressesTest, AreTriedThoughNobodyIsTold)
{
    FakePortal portal("0.0.0.0", FakePortal::CloseAtOnce());
    IpUtilOptions options;
    options.port = portal.Port();
    options.deadline = kPatience;
    options.awaited = [this] { return awaited; };
    IpUtilSettings::Instance().Configure(options);
    const Addresses locals = IpUtil::GetHostIpsCanConnect(kFirst);
    EXPECT_THAT(locals, Contains("127.0.0.1"));
    EXPECT_EQ(IpUtil::GetHostIpsCanConnect(kSecond), locals);
}

TEST_F(AwaitedAddressesTest, EndWhenTheClientStops)
{
    const FullPortal portal("0.0.0.0");
    Configure(portal.Port(), kAtOnce);
    const size_t before = OpenDescriptors();
    IpUtil::GetHostIpsCanConnect(kFirst);
    EXPECT_GT(OpenDescriptors(), before);
    IpUtilSettings::Instance().StopProbing();
    EXPECT_EQ(OpenDescriptors(), before);

    told.clear();
    EXPECT_THAT(IpUtil::GetHostIpsCanConnect(kFirst), IsEmpty());
    EXPECT_THAT(told, ElementsAre(Pair(kFirst, IsEmpty())));
    EXPECT_EQ(OpenDescriptors(), before) << "none begins any more";
}

TEST_F(AwaitedAddressesTest, EndWithTheNextConfiguration)
{
    const FullPortal portal("0.0.0.0");
    Configure(portal.Port(), kAtOnce);
    const size_t before = OpenDescriptors();
    IpUtil::GetHostIpsCanConnect(kFirst);
    EXPECT_GT(OpenDescriptors(), before);
    Configure(portal.Port(), kAtOnce);
    EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace zef
