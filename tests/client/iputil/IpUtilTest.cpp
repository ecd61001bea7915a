#include "iputil/AddressProbe.h"
#include "iputil/IpUtilSettings.h"
#include "iputil/ProbeRecord.h"

#include "client/gateway/FakePortal.h"

#include <zef_config/platform/IpUtil.h>

#include <gmock/gmock.h>

#include <future>
#include <string>
#include <vector>

namespace zef {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::chrono::seconds kPatience{30};  // only reached by a hang

IpUtilOptions OptionsFor(uint16_t port)
{
    IpUtilOptions options;
    options.port = port;
    options.deadline = kPatience;
    return options;
}

}  // namespace

TEST(IpUtilTest, TakesDottedIpv4Addresses)
{
    for (const char *ip : {"10.0.0.1", "0.0.0.0", "255.255.255.255", "127.0.0.1"}) {
        EXPECT_TRUE(IpUtil::IsIpV4Valid(ip)) << ip;
    }
}

TEST(IpUtilTest, RefusesEverythingElse)
{
    for (const char *ip : {"", "10.0.0", "10.0.0.256", "10.0.0.1.2", "10.0.0.1 ", " 10.0.0.1", "10.0.0.01",
                           "0x0a.0.0.1", "10.0.0.1/24", "10.1", "167772161", "::1", "::ffff:10.0.0.1", "array",
                           "10.0.0.-1", "10.0..1"}) {
        EXPECT_FALSE(IpUtil::IsIpV4Valid(ip)) << ip;
    }
    EXPECT_FALSE(IpUtil::IsIpV4Valid(std::string("10.0.0.1\0", 9)));
    EXPECT_FALSE(IpUtil::IsIpV4Valid(std::string("10.0.0.1\0junk", 13)));
    EXPECT_FALSE(IpUtil::IsIpV4Valid(std::string(1 << 20, '1')));
}

TEST(IpUtilTest, FindsTheLocalAddressesThatReachTheArray)
{
    FakePortal portal("127.0.0.1", FakePortal::CloseAtOnce());
    IpUtilSettings::Instance().Configure(OptionsFor(portal.Port()));
    const std::set<std::string> found = IpUtil::GetHostIpsCanConnect("127.0.0.1");
    EXPECT_THAT(found, Contains("127.0.0.1"));
    for (const std::string &address : found) {
        EXPECT_THAT(LocalAddresses(), Contains(address));
    }
}

TEST(IpUtilTest, FindsNothingWhereTheArrayRefuses)
{
    IpUtilSettings::Instance().Configure(OptionsFor(RefusedPort("127.0.0.1")));
    EXPECT_THAT(IpUtil::GetHostIpsCanConnect("127.0.0.1"), IsEmpty());
}

TEST(IpUtilTest, RecordsWhatItReachedAndWhatNot)
{
    FakePortal portal("127.0.0.1", FakePortal::CloseAtOnce());
    IpUtilSettings::Instance().Configure(OptionsFor(RefusedPort("127.0.0.1")));
    ForgetProbe("127.0.0.1");
    IpUtil::GetHostIpsCanConnect("127.0.0.1");
    ASSERT_EQ(ProbeStates().size(), 1u);
    EXPECT_FALSE(ProbeStates()[0].reached);
    EXPECT_EQ(ProbeStates()[0].failures, 1u);
    EXPECT_THAT(ProbeStates()[0].cause, HasSubstr("127.0.0.1: Connection refused"));

    IpUtilSettings::Instance().Configure(OptionsFor(portal.Port()));
    IpUtil::GetHostIpsCanConnect("127.0.0.1");
    ASSERT_EQ(ProbeStates().size(), 1u);
    EXPECT_TRUE(ProbeStates()[0].reached);
    ForgetProbe("127.0.0.1");
    EXPECT_THAT(ProbeStates(), IsEmpty());
}

TEST(IpUtilTest, DoesNotTryAnAddressThatIsNotWanted)
{
    FakePortal portal("127.0.0.1", FakePortal::CloseAtOnce());
    IpUtilOptions options = OptionsFor(portal.Port());
    std::vector<std::string> asked;
    options.isWanted = [&asked](const std::string &array) {
        asked.push_back(array);
        return asked.size() > 1;
    };
    IpUtilSettings::Instance().Configure(options);
    ForgetProbe("127.0.0.1");
    testing::internal::CaptureStderr();
    EXPECT_THAT(IpUtil::GetHostIpsCanConnect("127.0.0.1"), IsEmpty());
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("info    [iputil] 127.0.0.1 is not tried: it is no longer configured\n"));
    EXPECT_THAT(ProbeStates(), IsEmpty());
    EXPECT_THAT(IpUtil::GetHostIpsCanConnect("127.0.0.1"), Contains("127.0.0.1"));
    EXPECT_THAT(asked, ElementsAre("127.0.0.1", "127.0.0.1"));
    IpUtilSettings::Instance().Configure({});
}

TEST(IpUtilTest, FindsNothingForATextThatIsNoAddress)
{
    IpUtilSettings::Instance().Configure(OptionsFor(RefusedPort("127.0.0.1")));
    EXPECT_THAT(IpUtil::GetHostIpsCanConnect("localhost"), IsEmpty());
}

TEST(IpUtilTest, StoppingEndsATryThatIsUnderWay)
{
    const FullPortal portal("127.0.0.1");
    IpUtilOptions options = OptionsFor(portal.Port());
    options.deadline = std::chrono::hours(1);
    IpUtilSettings::Instance().Configure(options);
    ForgetProbe("127.0.0.1");
    auto found = std::async(std::launch::async, [] { return IpUtil::GetHostIpsCanConnect("127.0.0.1"); });
    IpUtilSettings::Instance().StopProbing();
    ASSERT_EQ(found.wait_for(kPatience), std::future_status::ready);
    EXPECT_THAT(found.get(), IsEmpty());
    EXPECT_THAT(ProbeStates(), IsEmpty()) << "the array has not failed";
}

TEST(IpUtilTest, StoppingHoldsUntilTheNextConfiguration)
{
    FakePortal portal("127.0.0.1", FakePortal::CloseAtOnce());
    const FullPortal full("127.0.0.1");
    IpUtilOptions options = OptionsFor(full.Port());
    options.deadline = std::chrono::hours(1);
    IpUtilSettings::Instance().Configure(options);
    IpUtilSettings::Instance().StopProbing();
    EXPECT_THAT(IpUtil::GetHostIpsCanConnect("127.0.0.1"), IsEmpty());
    EXPECT_THAT(IpUtil::GetHostIpsCanConnect("127.0.0.1"), IsEmpty());
    IpUtilSettings::Instance().Configure(OptionsFor(portal.Port()));
    EXPECT_THAT(IpUtil::GetHostIpsCanConnect("127.0.0.1"), Contains("127.0.0.1"));
}

}  // namespace zef
