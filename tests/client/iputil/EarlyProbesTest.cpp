#include "iputil/EarlyProbes.h"

#include "client/gateway/FakePortal.h"
#include "support/Files.h"

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <sys/eventfd.h>

namespace zef {

namespace {

using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Addresses = std::vector<std::string>;

constexpr std::chrono::seconds kPatience{30};  // only reached by a hang
constexpr int kNoStop = -1;
const Addresses kLocals{"127.0.0.2", "127.0.0.3"};

class EarlyProbesTest : public testing::Test {
protected:
    // With the time limit for all connections of a probe.
    void Begin(const std::set<std::string> &arrays, uint16_t port, const Addresses &candidates = kLocals,
               std::chrono::milliseconds deadline = kPatience, int stop = kNoStop)
    {
        IpUtilOptions options;
        options.port = port;
        options.deadline = deadline;
        probes.Begin(arrays, candidates, options, stop);
    }

    std::unique_ptr<AddressProbe> Take(const std::string &array, const Addresses &candidates = kLocals)
    {
        return probes.Take(array, candidates);
    }

    EarlyProbes probes;
};

// Calls `look` again until it returns something; how soon that is, is the kernel's business.
template <class Look>
auto Eventually(Look look)
{
    const auto end = steady_clock::now() + kPatience;
    auto found = look();
    while (found.empty() && steady_clock::now() < end) {
        std::this_thread::yield();
        found = look();
    }
    return found;
}

}  // namespace

TEST_F(EarlyProbesTest, HandsOverAProbeOnce)
{
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    Begin({"127.0.0.1"}, portal.Port());
    EXPECT_EQ(Take("127.0.0.9"), nullptr);
    const std::unique_ptr<AddressProbe> probe = Take("127.0.0.1");
    ASSERT_NE(probe, nullptr);
    EXPECT_THAT(probe->Finish(), ElementsAre("127.0.0.2", "127.0.0.3"));
    EXPECT_EQ(Take("127.0.0.1"), nullptr);
}

TEST_F(EarlyProbesTest, KeepsTheProbeThatIsUnderWay)
{
    const FullPortal portal("127.0.0.1");
    Begin({"127.0.0.1"}, portal.Port());
    const auto begun = steady_clock::now();
    Begin({"127.0.0.1"}, portal.Port(), kLocals, std::chrono::hours(1));
    const std::unique_ptr<AddressProbe> probe = Take("127.0.0.1");
    ASSERT_NE(probe, nullptr);
    EXPECT_LE(probe->End(), begun + kPatience);
}

TEST_F(EarlyProbesTest, WaitsForSilentAddressesTogether)
{
    const FullPortal portal("0.0.0.0");
    const auto before = steady_clock::now();
    Begin({"127.0.0.1", "127.0.0.9"}, portal.Port());
    const auto begun = steady_clock::now();
    for (const char *const array : {"127.0.0.1", "127.0.0.9"}) {
        const std::unique_ptr<AddressProbe> probe = Take(array);
        ASSERT_NE(probe, nullptr);
        EXPECT_GE(probe->End(), before + kPatience);
        EXPECT_LE(probe->End(), begun + kPatience);
        EXPECT_EQ(probe->OpenSockets(), 2u);
    }
}

TEST_F(EarlyProbesTest, TakesAnAnswerThatCameBeforeAnybodyWaited)
{
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    AddressProbe probe("127.0.0.1", portal.Port(), std::chrono::milliseconds(-1), kNoStop);
    probe.Begin({"127.0.0.2"});
    EXPECT_THAT(portal.PeersOnceConnected(), ElementsAre("127.0.0.2"));
    EXPECT_THAT(probe.Finish(), ElementsAre("127.0.0.2"));
}

TEST_F(EarlyProbesTest, LooksWithoutWaiting)
{
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    Begin({"127.0.0.1"}, portal.Port(), {"127.0.0.2", "192.0.2.1"}, std::chrono::hours(1));
    const std::unique_ptr<AddressProbe> probe = Take("127.0.0.1", {"127.0.0.2", "192.0.2.1"});
    ASSERT_NE(probe, nullptr);
    EXPECT_THAT(Eventually([&probe] { return probe->Look(); }), ElementsAre("127.0.0.2"));
    EXPECT_EQ(probe->OpenSockets(), 0u);
    EXPECT_THAT(probe->Finish(), ElementsAre("127.0.0.2"));

    const FullPortal full("127.0.0.1");
    AddressProbe silent("127.0.0.1", full.Port(), std::chrono::hours(1), kNoStop);
    silent.Begin({"127.0.0.2"});
    EXPECT_THAT(silent.Look(), IsEmpty());
    EXPECT_EQ(silent.OpenSockets(), 1u);
}

TEST_F(EarlyProbesTest, WaitsNoLongerThanTheDeadlineThatRanFromTheBeginning)
{
    const FullPortal portal("127.0.0.1");
    AddressProbe probe("127.0.0.1", portal.Port(), std::chrono::milliseconds(-1), kNoStop);
    probe.Begin(kLocals);
    EXPECT_THAT(probe.Finish(), IsEmpty());
    EXPECT_FALSE(probe.WasStopped());
    EXPECT_EQ(probe.WhyNot(), "127.0.0.2: Connection timed out, 127.0.0.3: Connection timed out");
}

TEST_F(EarlyProbesTest, IsStoppedAlsoAfterTheDeadline)
{
    const FullPortal portal("127.0.0.1");
    const FileDescriptor stop(eventfd(1, EFD_CLOEXEC));
    AddressProbe probe("127.0.0.1", portal.Port(), std::chrono::milliseconds(-1), stop.Get());
    probe.Begin(kLocals);
    EXPECT_THAT(probe.Look(), IsEmpty());
    EXPECT_THAT(probe.Finish(), IsEmpty());
    EXPECT_TRUE(probe.WasStopped());
}

TEST_F(EarlyProbesTest, ForgetsWhatSaysLittleAnyMore)
{
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    Begin({"127.0.0.1"}, portal.Port(), kLocals, -std::chrono::hours(1));
    EXPECT_EQ(Take("127.0.0.1"), nullptr);

    Begin({"127.0.0.1"}, portal.Port(), kLocals, -std::chrono::hours(1));
    Begin({"127.0.0.1"}, portal.Port());
    EXPECT_NE(Take("127.0.0.1"), nullptr);
}

TEST_F(EarlyProbesTest, ForgetsWhatWasBegunWithOtherCandidates)
{
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    Begin({"127.0.0.1"}, portal.Port(), {"127.0.0.2"});
    EXPECT_EQ(Take("127.0.0.1", {"127.0.0.3"}), nullptr);

    Begin({"127.0.0.1"}, portal.Port(), {"127.0.0.2"});
    Begin({"127.0.0.1"}, portal.Port(), {"127.0.0.3"});
    const std::unique_ptr<AddressProbe> probe = Take("127.0.0.1", {"127.0.0.3"});
    ASSERT_NE(probe, nullptr);
    EXPECT_THAT(probe->Finish(), ElementsAre("127.0.0.3"));
}

TEST_F(EarlyProbesTest, ClosesWhatNobodyAwaitsAnyMore)
{
    const FullPortal portal("0.0.0.0");
    const size_t before = OpenDescriptors();
    Begin({"127.0.0.1", "127.0.0.9"}, portal.Port());
    EXPECT_EQ(OpenDescriptors(), before + 4);
    Begin({"127.0.0.9"}, portal.Port());
    EXPECT_EQ(OpenDescriptors(), before + 2);
    EXPECT_EQ(Take("127.0.0.1"), nullptr);
    probes.Drop("127.0.0.1");
    EXPECT_EQ(OpenDescriptors(), before + 2);
    probes.Drop("127.0.0.9");
    EXPECT_EQ(OpenDescriptors(), before);
    Begin({"127.0.0.1", "127.0.0.9"}, portal.Port());
    probes.Clear();
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(Take("127.0.0.9"), nullptr);
}

TEST_F(EarlyProbesTest, BeginsNothingAndEndsAllWhenItIsStopped)
{
    const FullPortal portal("0.0.0.0");
    const FileDescriptor stop(eventfd(0, EFD_CLOEXEC));
    const size_t before = OpenDescriptors();
    Begin({"127.0.0.1", "127.0.0.9"}, portal.Port(), kLocals, kPatience, stop.Get());
    const std::unique_ptr<AddressProbe> taken = Take("127.0.0.1");
    eventfd_write(stop.Get(), 1);
    Begin({"127.0.0.1", "127.0.0.9"}, portal.Port(), kLocals, kPatience, stop.Get());
    EXPECT_EQ(Take("127.0.0.1"), nullptr);
    EXPECT_EQ(Take("127.0.0.9"), nullptr);
    ASSERT_NE(taken, nullptr);
    EXPECT_THAT(taken->Finish(), IsEmpty());
    EXPECT_TRUE(taken->WasStopped());
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(EarlyProbesTest, HasNoMoreSocketsThanOneProbe)
{
    const FullPortal portal("0.0.0.0");
    Addresses half;
    for (size_t i = 1; i <= AddressProbe::kMostSockets / 2; ++i) {
        half.push_back("127.0.1." + std::to_string(i));
    }
    const size_t before = OpenDescriptors();
    Begin({"127.0.0.1", "127.0.0.2", "127.0.0.3"}, portal.Port(), half);
    EXPECT_EQ(OpenDescriptors(), before + AddressProbe::kMostSockets);
    Begin({"127.0.0.1", "127.0.0.2", "127.0.0.3"}, portal.Port(), half);
    EXPECT_EQ(OpenDescriptors(), before + AddressProbe::kMostSockets);
    EXPECT_NE(Take("127.0.0.1", half), nullptr);
    EXPECT_EQ(Take("127.0.0.3", half), nullptr);
    Begin({"127.0.0.2", "127.0.0.3"}, portal.Port(), half);
    EXPECT_NE(Take("127.0.0.2", half), nullptr);
    EXPECT_NE(Take("127.0.0.3", half), nullptr) << "there is room again";
}

TEST_F(EarlyProbesTest, BeginsOneWithAsManyCandidatesAsAreTried)
{
    const FullPortal portal("0.0.0.0");
    Addresses many;
    for (size_t i = 1; i <= AddressProbe::kMostSockets + 1; ++i) {
        many.push_back("127.0.1." + std::to_string(i));
    }
    testing::internal::CaptureStderr();
    Begin({"127.0.0.1", "127.0.0.2"}, portal.Port(), many);
    testing::internal::GetCapturedStderr();
    EXPECT_NE(Take("127.0.0.1", many), nullptr);
    EXPECT_EQ(Take("127.0.0.2", many), nullptr);
}

TEST_F(EarlyProbesTest, TellsWhatWasReachedMeanwhile)
{
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    Begin({"127.0.0.1", "127.0.0.9"}, portal.Port(), {"127.0.0.2"});
    EXPECT_THAT(Eventually([this] { return probes.Reached(); }),
                ElementsAre(Pair("127.0.0.1", ElementsAre("127.0.0.2"))));
}

}  // namespace zef
