#include "GatewayTest.h"

#include "FakePortal.h"
#include "ScriptedTarget.h"
#include "TcpRelay.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <future>
#include <mutex>
#include <random>
#include <thread>

#include <fcntl.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>

namespace zef {

namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

// A password that stands in memory only where somebody has put it: here all its bits are turned over.
constexpr std::array<unsigned char, 16> kTurnedPassword{0xD1, 0x8E, 0x9B, 0xC6, 0xB7, 0x8F, 0xCE, 0x95,
                                                        0x86, 0xA9, 0xCD, 0x94, 0x98, 0xCB, 0x8B, 0xBE};

int GiveTurnedPassword(const char *, const char *, OrnCredential *credential)
{
    std::string(kUser).copy(credential->user, sizeof credential->user);
    for (size_t i = 0; i < kTurnedPassword.size(); ++i) {
        credential->password[i] = static_cast<char>(~kTurnedPassword[i]);
    }
    return 0;
}

// Looks for what follows that password's first character, which an empty text would have overwritten, in the process's own
// writable memory, in all mappings of ordinary size.
class PasswordSearch {
public:
    // How often it is there. What the search itself copies is not counted.
    size_t Count()
    {
        constexpr uintptr_t kLargest = 256 << 20;
        size_t count = 0;
        std::ifstream maps("/proc/self/maps");
        for (std::string line; std::getline(maps, line);) {
            uintptr_t begin = 0;
            uintptr_t end = 0;
            char access[5] = "";
            const int fields = std::sscanf(line.c_str(), "%" SCNxPTR "-%" SCNxPTR " %4s", &begin, &end, access);
            if (fields == 3 && access[1] == 'w' && end - begin <= kLargest) {
                count += CountBetween(begin, end);
            }
        }
        return count;
    }

private:
    size_t CountBetween(uintptr_t begin, uintptr_t end)
    {
        size_t count = 0;
        for (uintptr_t at = begin; at < end; at += buffer.size() - kTurnedPassword.size()) {
            const size_t wanted = std::min<size_t>(buffer.size(), end - at);
            const ssize_t size = pread(memory.Get(), buffer.data(), wanted, static_cast<off_t>(at));
            count += size > 0 ? CountInBuffer(at, static_cast<size_t>(size)) : 0;
        }
        return count;
    }

    static size_t CountInBuffer(uintptr_t at, size_t size)
    {
        const auto isTurned = [](unsigned char one, unsigned char other) { return (one ^ other) == 0xFF; };
        const auto first = reinterpret_cast<uintptr_t>(buffer.data());
        const auto last = buffer.begin() + static_cast<std::ptrdiff_t>(size);
        size_t count = 0;
        for (auto found = buffer.begin();; ++found) {
            found = std::search(found, last, kTurnedPassword.begin() + 1, kTurnedPassword.end(), isTurned);
            if (found == last) {
                return count;
            }
            const uintptr_t place = at + static_cast<uintptr_t>(found - buffer.begin());
            count += place < first || place >= first + buffer.size() ? 1 : 0;
        }
    }

    static std::array<unsigned char, 1 << 20> buffer;
    const FileDescriptor memory{open("/proc/self/mem", O_RDONLY | O_CLOEXEC)};
};

std::array<unsigned char, 1 << 20> PasswordSearch::buffer;

}  // namespace

using IpGatewayLoginTest = GatewayTest;

TEST_F(IpGatewayLoginTest, LogsInWithChapAndReadsTheWwn)
{
    StartArray();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    const OrnLinkInfo info = Info("127.0.0.1", "127.0.0.1");
    EXPECT_EQ(info.wwn, 0x6001405123456789u);
    EXPECT_EQ(info.status, 0);
    EXPECT_STREQ(info.initiatorWwn, "");
    EXPECT_EQ(callbackCalls, 1);
}

TEST_F(IpGatewayLoginTest, ShowsEachPhaseAsItComes)
{
    StartArray();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    std::vector<LinkPhase> phases;
    for (const LinkState &state : record.All()) {
        phases.push_back(state.phase);
    }
    EXPECT_THAT(phases, ElementsAre(LinkPhase::Connecting, LinkPhase::LoggingIn, LinkPhase::ReadingWwn, LinkPhase::Up));
    const LinkState link = OnlyLink();
    EXPECT_EQ(Describe(link), "127.0.0.1 -> 127.0.0.1 up, WWN 0x6001405123456789");
    EXPECT_EQ(link.tries, 1u);
}

TEST_F(IpGatewayLoginTest, NamesItselfByTheUuidInLowerCase)
{
    TgtArray &array = StartArray();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    EXPECT_THAT(array.Admin({"--op", "show", "--mode", "target"}),
                HasSubstr("Initiator: iqn.2026-11.example.zef:0123abcd-abcd-0a1b-9f9f-00112233aabb"));
}

TEST_F(IpGatewayLoginTest, NamesItselfByTheOptionWhenThereIsOne)
{
    TgtArray &array = StartArray();
    options.initiatorName = "iqn.2026-11.example.host:seven";
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    EXPECT_THAT(array.Admin({"--op", "show", "--mode", "target"}),
                HasSubstr("Initiator: iqn.2026-11.example.host:seven"));
}

TEST_F(IpGatewayLoginTest, TheArraySeesTheSourceAddressOfThePair)
{
    TgtArray &array = StartArray();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.2"), 0);
    EXPECT_EQ(Create("127.0.0.3"), 0);
    std::vector<std::string> seen = array.InitiatorAddresses();
    std::sort(seen.begin(), seen.end());
    EXPECT_THAT(seen, ElementsAre("127.0.0.2", "127.0.0.3"));
}

TEST_F(IpGatewayLoginTest, ConnectsToAPortalThatIsNoArrayFromTheSourceAddressToo)
{
    FakePortal portal("127.0.0.1", FakePortal::CloseAtOnce());
    options.arrayPort = portal.Port();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.7", "127.0.0.1"), -1);
    EXPECT_EQ(portal.PeersOnceConnected(), std::vector<std::string>{"127.0.0.7"});
}

TEST_F(IpGatewayLoginTest, AWrongPasswordIsRefusedWithTheArraysReason)
{
    StartArray();
    StartGateway();
    SetPassword("wrong-horse-12");
    EXPECT_EQ(Create("127.0.0.1"), -1);
    const LinkState link = OnlyLink();
    EXPECT_EQ(link.phase, LinkPhase::Failed);
    EXPECT_EQ(link.cause, "Failed to log in to target. Status: Authentication failure(513)");
    const OrnLinkInfo info = Info("127.0.0.1", "127.0.0.1");
    EXPECT_EQ(info.wwn, UINT64_MAX);
    EXPECT_EQ(info.status, 2);
}

TEST_F(IpGatewayLoginTest, AWrongUserIsRefusedWithTheArraysReason)
{
    StartArray();
    StartGateway();
    user = "nobody-here";
    EXPECT_EQ(Create("127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().cause, "Failed to log in to target. Status: Authentication failure(513)");
}

TEST_F(IpGatewayLoginTest, TheLogTellsAFailureThatRepeatsOnce)
{
    options.arrayPort = RefusedPort("127.0.0.1");
    testing::internal::CaptureStderr();
    StartGateway();
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    }
    gateway.Close();
    const std::string log = testing::internal::GetCapturedStderr();
    const size_t first = log.find("is not up: cannot connect");
    EXPECT_NE(first, std::string::npos) << log;
    EXPECT_EQ(log.find("is not up", first + 1), std::string::npos) << log;
}

TEST_F(IpGatewayLoginTest, AFailedLinkTellsHowOftenAndWhenTheLibraryTriesAgain)
{
    options.arrayPort = RefusedPort("127.0.0.1");
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    const LinkState link = OnlyLink();
    EXPECT_EQ(link.failures, 2u);
    ASSERT_TRUE(link.nextTry.has_value());
    EXPECT_GT(*link.nextTry, link.since + std::chrono::seconds(1));
    EXPECT_LE(*link.nextTry, link.since + std::chrono::seconds(3));
}

TEST_F(IpGatewayLoginTest, WithoutACredentialATryFailsButNoLoginBegins)
{
    callbackResult = -1;
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().tries, 0u);
    EXPECT_EQ(OnlyLink().failures, 1u);
}

TEST_F(IpGatewayLoginTest, APairThatIsNotWantedGetsNoLink)
{
    std::vector<std::string> asked;
    options.isWanted = [&asked](const std::string &local, const std::string &array) {
        asked.push_back(local + " " + array);
        return local != "127.0.0.2";
    };
    StartArray();
    testing::internal::CaptureStderr();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.2"), -1);
    EXPECT_TRUE(gateway.Links().empty());
    EXPECT_EQ(callbackCalls, 0);
    EXPECT_EQ(Create("127.0.0.3"), 0);
    EXPECT_THAT(asked, ElementsAre("127.0.0.2 127.0.0.1", "127.0.0.3 127.0.0.1"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("info    [gateway] link 127.0.0.2 -> 127.0.0.1 refused: it is no longer configured\n"));
}

TEST_F(IpGatewayLoginTest, AGatewayThatDoesNotRunAsksNotWhatIsWanted)
{
    options.isWanted = [](const std::string &, const std::string &) {
        ADD_FAILURE() << "asked";
        return true;
    };
    StartGateway();
    gateway.Close();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
}

TEST_F(IpGatewayLoginTest, IsAliveAsLongAsItsThreadGoesRound)
{
    EXPECT_TRUE(gateway.IsAlive(std::chrono::milliseconds(0))) << "not started";
    StartGateway();
    EXPECT_TRUE(gateway.IsAlive(kPatience));
    EXPECT_TRUE(gateway.IsAlive(kPatience)) << "even when there is nothing to do";
    gateway.Close();
    EXPECT_TRUE(gateway.IsAlive(std::chrono::milliseconds(0)));
}

TEST_F(IpGatewayLoginTest, IsNotAliveWhileItsThreadHangs)
{
    std::promise<void> hangs;
    std::promise<void> goOn;
    std::once_flag once;
    options.arrayPort = RefusedPort("127.0.0.1");
    gateway.SetClientUuid(kUuid);
    gateway.Start(options, [&](const LinkState &state) {
        if (state.array == "127.0.0.2") {
            std::call_once(once, [&] {
                hangs.set_value();
                goOn.get_future().wait();
            });
        }
    });
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);  // the next request is for a round after this one's
    std::thread caller([this] { EXPECT_EQ(Create("127.0.0.1", "127.0.0.2"), -1); });
    hangs.get_future().wait();
    EXPECT_TRUE(gateway.IsAlive(std::chrono::milliseconds(0))) << "it went round before";
    EXPECT_FALSE(gateway.IsAlive(std::chrono::milliseconds(50)));
    EXPECT_FALSE(gateway.IsAlive(std::chrono::milliseconds(0)));
    goOn.set_value();
    EXPECT_TRUE(gateway.IsAlive(kPatience));
    caller.join();
    gateway.Close();  // before what the listener refers to
}

TEST_F(IpGatewayLoginTest, AFailedLinkIsTriedAgainWhenTheLibraryAsks)
{
    StartArray();
    StartGateway();
    SetPassword("wrong-horse-12");
    EXPECT_EQ(Create("127.0.0.1"), -1);
    SetPassword(kPassword);
    EXPECT_EQ(Create("127.0.0.1"), 0);
    const LinkState link = OnlyLink();
    EXPECT_EQ(link.phase, LinkPhase::Up);
    EXPECT_EQ(link.tries, 2u);
    EXPECT_EQ(link.cause, "");
}

TEST_F(IpGatewayLoginTest, TheLogSaysWhyAndNeverThePassword)
{
    StartArray();
    SetPassword("wrong-horse-12");
    testing::internal::CaptureStderr();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), -1);
    SetPassword(kPassword);
    EXPECT_EQ(Create("127.0.0.1"), 0);
    gateway.Close();
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_THAT(log, HasSubstr("link 127.0.0.1 -> 127.0.0.1 is not up: Failed to log in to target. "
                               "Status: Authentication failure(513); tried again every 2 s, reported again when the "
                               "cause changes, in 10 minutes, or when it is up\n"));
    EXPECT_THAT(log, HasSubstr("link 127.0.0.1 -> 127.0.0.1 is up after 1 failed try\n"));
    EXPECT_THAT(log, Not(HasSubstr("horse")));
}

TEST_F(IpGatewayLoginTest, ThePasswordLeavesMemoryWithTheLogin)
{
    ScriptedTarget target("127.0.0.1", [](int, const uint8_t *) { return ScriptedTarget::Busy(); });
    TcpRelay relay("127.0.0.1", "127.0.0.1", target.Port());
    relay.HoldAt(TcpRelay::kLoginRequest);
    options.arrayPort = relay.Port();
    callback = GiveTurnedPassword;
    options.loginDeadline = std::chrono::hours(1);  // the search goes through much memory under a sanitizer
    StartGateway();
    std::thread caller([this] { EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), 0); });
    EXPECT_TRUE(relay.WaitUntilHolding());
    PasswordSearch search;
    EXPECT_GT(search.Count(), 0u) << "the search does not find what libiscsi holds";
    relay.Release();
    caller.join();
    EXPECT_EQ(search.Count(), 0u);
}

TEST_F(IpGatewayLoginTest, ThePasswordLeavesMemoryWithAFailedLogin)
{
    FakePortal portal("127.0.0.1", FakePortal::CloseAfterRequest());
    options.arrayPort = portal.Port();
    callback = GiveTurnedPassword;
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    EXPECT_EQ(PasswordSearch().Count(), 0u);
}

TEST_F(IpGatewayLoginTest, ARefusedPortIsSaidToBeRefused)
{
    options.arrayPort = RefusedPort("127.0.0.1");
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    EXPECT_THAT(OnlyLink().cause, AllOf(StartsWith("cannot connect: "), HasSubstr("Connection refused")));
}

TEST_F(IpGatewayLoginTest, ASourceAddressThatIsNotOursFailsTheLink)
{
    StartArray();
    StartGateway();
    EXPECT_EQ(Create("192.0.2.1", "127.0.0.1"), -1);
    EXPECT_THAT(OnlyLink().cause, AllOf(StartsWith("cannot connect: "), HasSubstr("Cannot assign requested address")));
    EXPECT_TRUE(tgt->InitiatorAddresses().empty());
}

TEST_F(IpGatewayLoginTest, APortalThatAnswersNoSynFailsAtTheConnectDeadline)
{
    const FullPortal portal("127.0.0.1");
    options.arrayPort = portal.Port();
    options.connectDeadline = std::chrono::milliseconds(50);
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().cause, "no TCP connection within 50 ms");
}

TEST_F(IpGatewayLoginTest, ASilentPortalFailsAtTheLoginDeadline)
{
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    options.arrayPort = portal.Port();
    options.loginDeadline = std::chrono::milliseconds(200);
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().cause, "no answer to the login within 200 ms");
}

TEST_F(IpGatewayLoginTest, APortalThatClosesAtOnceFailsTheLink)
{
    FakePortal portal("127.0.0.1", FakePortal::CloseAtOnce());
    options.arrayPort = portal.Port();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().phase, LinkPhase::Failed);
    EXPECT_THAT(OnlyLink().cause, AnyOf("the array closed the connection", "the session broke off",
                                        StartsWith("connection lost: "), StartsWith("cannot connect: ")));
}

TEST_F(IpGatewayLoginTest, APortalThatClosesAfterTheRequestFailsTheLink)
{
    FakePortal portal("127.0.0.1", FakePortal::CloseAfterRequest());
    options.arrayPort = portal.Port();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().phase, LinkPhase::Failed);
    EXPECT_THAT(OnlyLink().cause,
                AnyOf("the array closed the connection", "the session broke off", StartsWith("connection lost: ")));
}

TEST_F(IpGatewayLoginTest, GarbageInPlaceOfAnAnswerFailsTheLink)
{
    std::mt19937 random(20261102);
    for (int round = 0; round < 40; ++round) {
        std::vector<uint8_t> bytes(1 + random() % 300);
        for (uint8_t &byte : bytes) {
            byte = static_cast<uint8_t>(random());
        }
        if (bytes.size() >= 48 && round % 2 == 0) {
            bytes[0] = 0x23;              // a login response
            bytes[4] = bytes[5] = 0;      // whose data are mostly there
            bytes[6] = 0;
        }
        FakePortal portal("127.0.0.1", FakePortal::Answer(bytes));
        IpGateway one;
        options.arrayPort = portal.Port();
        options.loginDeadline = std::chrono::milliseconds(100);
        one.SetClientUuid(kUuid);
        one.Start(options, nullptr);
        const OrnLinkRequest request{"127.0.0.1", "127.0.0.1", callback, 0, 4};
        EXPECT_EQ(one.CreateLink(request), -1) << round;
        ASSERT_EQ(one.Links().size(), 1u);
        EXPECT_EQ(one.Links()[0].phase, LinkPhase::Failed);
        EXPECT_NE(one.Links()[0].cause, "");
    }
}

TEST_F(IpGatewayLoginTest, ControlCharactersOfTheArrayDoNotReachTheCause)
{
    ScriptedTarget target("127.0.0.1", [](int, const uint8_t *) { return ScriptedTarget::Busy(); });
    target.RedirectTo("192.0.2.7\x1B[2J\n:3260");
    options.arrayPort = target.Port();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().cause, "the array sends us to 192.0.2.7 [2J :3260, which is not followed");
    gateway.Close();
}

TEST_F(IpGatewayLoginTest, AFailingCredentialCallbackFailsTheLinkBeforeAnyConnection)
{
    StartArray();
    StartGateway();
    callbackResult = -1;
    EXPECT_EQ(Create("127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().phase, LinkPhase::Failed);
    EXPECT_EQ(OnlyLink().cause, "no user and password to log in with (see the messages before this one)");
    EXPECT_EQ(OnlyLink().tries, 0u);
    EXPECT_TRUE(tgt->InitiatorAddresses().empty());
}

TEST_F(IpGatewayLoginTest, APasswordThatLibiscsiWouldCutIsRefused)
{
    StartArray();
    StartGateway();
    SetPassword(std::string(256, 'x'));
    EXPECT_EQ(Create("127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().cause, "the password has more than 255 characters");
}

TEST_F(IpGatewayLoginTest, AnUnknownTargetFailsWithTheArraysReason)
{
    StartArray();
    options.targetName = "iqn.2026-11.example.array:nowhere";
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), -1);
    EXPECT_THAT(OnlyLink().cause, StartsWith("Failed to log in to target. Status: "));
}

TEST_F(IpGatewayLoginTest, WithoutATargetNameTheOnlyTargetIsTaken)
{
    TgtArray &array = StartArray();
    options.targetName = "";
    StartGateway();
    EXPECT_EQ(Create("127.0.0.2"), 0);
    EXPECT_EQ(Info("127.0.0.2", "127.0.0.1").wwn, array.Wwn());
    EXPECT_EQ(OnlyLink().tries, 1u);
    EXPECT_THAT(array.InitiatorAddresses(), ElementsAre("127.0.0.2"));
    std::vector<LinkPhase> phases;
    for (const LinkState &state : record.All()) {
        phases.push_back(state.phase);
    }
    EXPECT_THAT(phases, ElementsAre(LinkPhase::Discovering, LinkPhase::Connecting, LinkPhase::LoggingIn,
                                    LinkPhase::ReadingWwn, LinkPhase::Up));
}

TEST_F(IpGatewayLoginTest, ADiscoveryThatIsNotAnsweredFailsAtTheLoginDeadline)
{
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    options.arrayPort = portal.Port();
    options.targetName = "";
    options.loginDeadline = std::chrono::milliseconds(300);
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().cause, "no answer to the login within 300 ms");
}

TEST_F(IpGatewayLoginTest, WithoutATargetNameTwoTargetsAreOneTooMany)
{
    TgtArray &array = StartArray();
    array.AddTarget("iqn.2026-11.example.array:two");
    options.targetName = "";
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().cause, "the array offers 2 targets: say which with the target option");
}

TEST_F(IpGatewayLoginTest, WithoutATargetNameAnArrayThatHidesItsTargetsFails)
{
    TgtArray &array = StartArray();
    array.Admin({"--op", "unbind", "--mode", "target", "--tid", "1", "--initiator-address", "ALL"});
    options.targetName = "";
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().cause, "the array offers no target to this client");
}

TEST_F(IpGatewayLoginTest, LunZeroNamesTheArrayWhenItHasAName)
{
    TgtArray &array = StartArray();
    array.SetLunScsiId(0, "60014059999999999999999999999999");
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    EXPECT_EQ(Info("127.0.0.1", "127.0.0.1").wwn, 0x6001405999999999u);
}

TEST_F(IpGatewayLoginTest, ALocallyAssignedNameServesWhenThereIsNoOther)
{
    TgtArray &array = StartArray();
    array.Admin({"--op", "delete", "--mode", "logicalunit", "--tid", "1", "--lun", "1"});
    testing::internal::CaptureStderr();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    gateway.Links();
    EXPECT_EQ(Info("127.0.0.1", "127.0.0.1").wwn, 0x3000000100000000u);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("WWN 0x3000000100000000 is only locally assigned"));
}

TEST_F(IpGatewayLoginTest, ALinkWhoseWwnIsLateIsUpAndLearnsItLater)
{
    TgtArray &array = StartArray();
    TcpRelay relay("127.0.0.1", array.Address(), array.Port());
    relay.HoldAt(TcpRelay::kScsiCommand);
    options.arrayPort = relay.Port();
    options.wwnDeadline = std::chrono::milliseconds(50);
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    EXPECT_EQ(Info("127.0.0.1", "127.0.0.1").wwn, UINT64_MAX);
    EXPECT_EQ(Info("127.0.0.1", "127.0.0.1").status, 0);
    relay.Release();
    EXPECT_TRUE(record.WaitFor([&array](const LinkState &state) { return state.wwn == array.Wwn(); }));
    EXPECT_EQ(Info("127.0.0.1", "127.0.0.1").wwn, array.Wwn());
}

TEST_F(IpGatewayLoginTest, ALinkThatIsUpIsNotLoggedInAgain)
{
    TgtArray &array = StartArray();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    EXPECT_EQ(Create("127.0.0.1"), 0);
    EXPECT_EQ(callbackCalls, 1);
    EXPECT_EQ(OnlyLink().tries, 1u);
    EXPECT_EQ(array.InitiatorAddresses().size(), 1u);
}

TEST_F(IpGatewayLoginTest, CallsForTheSamePairShareOneLogin)
{
    TgtArray &array = StartArray();
    TcpRelay relay("127.0.0.1", array.Address(), array.Port());
    relay.HoldAt(TcpRelay::kLoginRequest);
    options.arrayPort = relay.Port();
    StartGateway();
    std::vector<std::thread> callers;
    std::atomic<int> failures{0};
    for (int i = 0; i < 4; ++i) {
        callers.emplace_back([this, &failures] { failures += Create("127.0.0.1") == 0 ? 0 : 1; });
    }
    EXPECT_TRUE(relay.WaitUntilHolding());
    relay.Release();
    for (std::thread &caller : callers) {
        caller.join();
    }
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(OnlyLink().tries, 1u);
}

TEST_F(IpGatewayLoginTest, TwoArraysHaveTheirOwnWwns)
{
    TgtArray &one = StartArray();
    TgtArray::Settings settings;
    settings.address = "127.0.0.9";
    settings.port = one.Port();
    settings.user = kUser;
    settings.password = kPassword;
    settings.scsiId = "6001405aaaaaaaaabbbbbbbbbbbbbbbb";
    const TgtArray other(settings);
    StartGateway();
    EXPECT_EQ(Create("127.0.0.2", "127.0.0.1"), 0);
    EXPECT_EQ(Create("127.0.0.3", "127.0.0.9"), 0);
    EXPECT_EQ(Info("127.0.0.2", "127.0.0.1").wwn, one.Wwn());
    EXPECT_EQ(Info("127.0.0.3", "127.0.0.9").wwn, other.Wwn());
    EXPECT_NE(one.Wwn(), other.Wwn());
}

TEST_F(IpGatewayLoginTest, FortyPairsAreUpSideBySide)
{
    TgtArray &array = StartArray();
    StartGateway();
    for (int i = 1; i <= 40; ++i) {
        EXPECT_EQ(Create("127.0.1." + std::to_string(i)), 0);
    }
    const std::vector<LinkState> links = gateway.Links();
    EXPECT_EQ(links.size(), 40u);
    for (const LinkState &link : links) {
        EXPECT_EQ(link.phase, LinkPhase::Up) << Describe(link);
        EXPECT_EQ(link.wwn, array.Wwn());
    }
    EXPECT_EQ(array.InitiatorAddresses().size(), 40u);
}

TEST_F(IpGatewayLoginTest, ADeletedLinkVanishesAndIsLoggedOut)
{
    TgtArray &array = StartArray();
    TcpRelay relay("127.0.0.1", array.Address(), array.Port());
    options.arrayPort = relay.Port();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    EXPECT_EQ(gateway.DeleteLink("127.0.0.1", "127.0.0.1"), 0);
    EXPECT_TRUE(gateway.Links().empty());
    OrnLinkInfo info{7, 8, 0, ""};
    EXPECT_EQ(gateway.LinkInfo("127.0.0.1", "127.0.0.1", info), -1);
    EXPECT_EQ(info.wwn, 7u);
    EXPECT_EQ(info.status, 8);
    EXPECT_TRUE(record.WaitForCause(LinkPhase::Closed, "deleted"));
    EXPECT_TRUE(Eventually([&array] { return array.InitiatorAddresses().empty(); }));
    EXPECT_THAT(relay.Opcodes(), testing::Contains(int{TcpRelay::kLogoutRequest}));
    EXPECT_EQ(gateway.DeleteLink("127.0.0.1", "127.0.0.1"), -1);
}

TEST_F(IpGatewayLoginTest, ADeletedPairCanBeCreatedAgainAtOnce)
{
    StartArray();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1"), 0);
    EXPECT_EQ(gateway.DeleteLink("127.0.0.1", "127.0.0.1"), 0);
    EXPECT_EQ(Create("127.0.0.1"), 0);
    EXPECT_EQ(OnlyLink().phase, LinkPhase::Up);
    EXPECT_TRUE(Eventually([this] { return tgt->InitiatorAddresses().size() == 1; }));
}

TEST_F(IpGatewayLoginTest, DeletingALinkEndsTheWaitForIt)
{
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    options.arrayPort = portal.Port();
    StartGateway();
    std::thread caller([this] { EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1); });
    EXPECT_TRUE(record.WaitFor(LinkPhase::LoggingIn));
    EXPECT_EQ(Info("127.0.0.1", "127.0.0.1").status, 1);
    EXPECT_EQ(gateway.DeleteLink("127.0.0.1", "127.0.0.1"), 0);
    caller.join();
}

TEST_F(IpGatewayLoginTest, AddressesThatAreNoneAreRefused)
{
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "array.example"), -1);
    EXPECT_EQ(Create("", "127.0.0.1"), -1);
    EXPECT_EQ(gateway.CreateLink({nullptr, "127.0.0.1", callback, 0, 4}), -1);
    EXPECT_EQ(gateway.CreateLink({"127.0.0.1", nullptr, callback, 0, 4}), -1);
    EXPECT_TRUE(gateway.Links().empty());
    EXPECT_EQ(callbackCalls, 0);
}

TEST_F(IpGatewayLoginTest, WithoutAUuidOrANameThereIsNoLogin)
{
    gateway.Start(options, nullptr);
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    EXPECT_TRUE(gateway.Links().empty());
}

TEST_F(IpGatewayLoginTest, SettingsOfLibiscsiAreTakenOutOfTheEnvironment)
{
    setenv("LIBISCSI_CHAP_USERNAME", "stranger", 1);
    setenv("LIBISCSI_DEBUG", "10", 1);
    setenv("ZEF_LIBISCSI_LIKE", "stays", 1);
    StartGateway();
    EXPECT_EQ(getenv("LIBISCSI_CHAP_USERNAME"), nullptr);
    EXPECT_EQ(getenv("LIBISCSI_DEBUG"), nullptr);
    EXPECT_STREQ(getenv("ZEF_LIBISCSI_LIKE"), "stays");
}

}  // namespace zef
