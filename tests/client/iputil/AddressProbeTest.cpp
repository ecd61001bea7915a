#include "iputil/AddressProbe.h"

#include "client/gateway/FakePortal.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <future>
#include <iterator>

#include <sys/eventfd.h>

namespace zef {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Addresses = std::vector<std::string>;

constexpr std::chrono::seconds kPatience{30};  // only reached by a hang
constexpr int kNoStop = -1;

std::set<std::string> Probe(uint16_t port, const Addresses &candidates)
{
    return AddressProbe("127.0.0.1", port, kPatience, kNoStop).Reachable(candidates);
}

size_t OpenDescriptors()
{
    const auto entries = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

TEST(AddressProbeTest, FindsTheAddressesThatConnect)
{
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    EXPECT_THAT(Probe(portal.Port(), {"127.0.0.3", "127.0.0.2"}), ElementsAre("127.0.0.2", "127.0.0.3"));
}

TEST(AddressProbeTest, ConnectsFromTheCandidateAndCloses)
{
    std::promise<bool> sawEnd;
    FakePortal portal("127.0.0.1", [&sawEnd](int connection) {
        FakePortal::StaySilent()(connection);  // returns when the other side closes
        sawEnd.set_value(true);
    });
    EXPECT_THAT(Probe(portal.Port(), {"127.0.0.5"}), ElementsAre("127.0.0.5"));
    EXPECT_THAT(portal.PeersOnceConnected(), ElementsAre("127.0.0.5"));
    EXPECT_EQ(sawEnd.get_future().wait_for(kPatience), std::future_status::ready);
}

TEST(AddressProbeTest, FindsNothingWhereNobodyListens)
{
    EXPECT_THAT(Probe(RefusedPort("127.0.0.1"), {"127.0.0.1", "127.0.0.2"}), IsEmpty());
}

TEST(AddressProbeTest, FindsNothingAmongNoCandidates)
{
    EXPECT_THAT(Probe(RefusedPort("127.0.0.1"), {}), IsEmpty());
}

TEST(AddressProbeTest, LeavesOutAddressesThatAreNotOurs)
{
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    EXPECT_THAT(Probe(portal.Port(), {"192.0.2.1", "127.0.0.2", "nonsense"}), ElementsAre("127.0.0.2"));
}

TEST(AddressProbeTest, GivesUpAtTheDeadline)
{
    const FullPortal portal("127.0.0.1");
    AddressProbe probe("127.0.0.1", portal.Port(), std::chrono::milliseconds(50), kNoStop);
    EXPECT_THAT(probe.Reachable({"127.0.0.2", "127.0.0.3"}), IsEmpty());
}

TEST(AddressProbeTest, EndsWhenItIsStopped)
{
    const FullPortal portal("127.0.0.1");
    const FileDescriptor stop(eventfd(0, EFD_CLOEXEC));
    auto found = std::async(std::launch::async, [&portal, &stop] {
        return AddressProbe("127.0.0.1", portal.Port(), std::chrono::hours(1), stop.Get()).Reachable({"127.0.0.2"});
    });
    eventfd_write(stop.Get(), 1);
    ASSERT_EQ(found.wait_for(kPatience), std::future_status::ready);
    EXPECT_THAT(found.get(), IsEmpty());
}

TEST(AddressProbeTest, TellsThatItWasStopped)
{
    const FullPortal portal("127.0.0.1");
    const FileDescriptor stop(eventfd(1, EFD_CLOEXEC));
    AddressProbe stopped("127.0.0.1", portal.Port(), std::chrono::hours(1), stop.Get());
    EXPECT_THAT(stopped.Reachable({"127.0.0.2"}), IsEmpty());
    EXPECT_TRUE(stopped.WasStopped());
    AddressProbe late("127.0.0.1", portal.Port(), std::chrono::milliseconds(20), kNoStop);
    EXPECT_THAT(late.Reachable({"127.0.0.2"}), IsEmpty());
    EXPECT_FALSE(late.WasStopped());
}

TEST(AddressProbeTest, TellsWhyInTheOrderOfTheCandidates)
{
    const FullPortal portal("127.0.0.1");
    AddressProbe probe("127.0.0.1", portal.Port(), std::chrono::milliseconds(20), kNoStop);
    // The first answers last.
    probe.Reachable({"127.0.0.2", "192.0.2.1"});
    EXPECT_EQ(probe.WhyNot(), "127.0.0.2: Connection timed out, 192.0.2.1: Cannot assign requested address");
}

TEST(AddressProbeTest, TellsWhyForTheFirstFewCandidates)
{
    AddressProbe probe("127.0.0.1", RefusedPort("127.0.0.1"), kPatience, kNoStop);
    probe.Reachable({"127.0.0.2", "127.0.0.3", "127.0.0.4", "127.0.0.5", "127.0.0.6"});
    EXPECT_EQ(probe.WhyNot(), "127.0.0.2: Connection refused, 127.0.0.3: Connection refused, 127.0.0.4: Connection "
                              "refused, 127.0.0.5: Connection refused, and so on");
}

TEST(AddressProbeTest, TellsWhenThereAreNoCandidates)
{
    AddressProbe probe("127.0.0.1", RefusedPort("127.0.0.1"), kPatience, kNoStop);
    probe.Reachable({});
    EXPECT_EQ(probe.WhyNot(), "there are none on interfaces that are up");
}

TEST(AddressProbeTest, TriesNoMoreAddressesThanItsLimit)
{
    FakePortal portal("127.0.0.1", FakePortal::CloseAtOnce());
    Addresses candidates;
    for (size_t i = 1; i <= AddressProbe::kMostSockets + 5; ++i) {
        candidates.push_back("127.0.2." + std::to_string(i));
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(Probe(portal.Port(), candidates).size(), AddressProbe::kMostSockets);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("133 local addresses, of which only the first 128 are tried"));
}

TEST(AddressProbeTest, LeavesNoDescriptorBehind)
{
    const FullPortal full("127.0.0.1");
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    const size_t before = OpenDescriptors();
    AddressProbe late("127.0.0.1", full.Port(), std::chrono::milliseconds(20), kNoStop);
    late.Reachable({"127.0.0.2", "192.0.2.1"});
    AddressProbe refused("127.0.0.1", RefusedPort("127.0.0.1"), kPatience, kNoStop);
    refused.Reachable({"127.0.0.2"});
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST(AddressProbeTest, ListsEachLocalAddressOnce)
{
    const Addresses all = LocalAddresses();
    EXPECT_EQ(std::count(all.begin(), all.end(), "127.0.0.1"), 1);
    EXPECT_EQ(std::set<std::string>(all.begin(), all.end()).size(), all.size());
}

}  // namespace zef
