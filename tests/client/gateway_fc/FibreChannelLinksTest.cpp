#include "gateway_fc/FibreChannelLinks.h"

#include "SysfsTest.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::string kHost5 = "class/fc_host/host5/";
const std::string kPort52 = "class/fc_remote_ports/rport-5:0-2/";

// Array, status and the host port's last byte of each link.
std::vector<std::string> Summary(const std::vector<OrnLinkInfo> &links)
{
    std::vector<std::string> summary;
    for (const OrnLinkInfo &link : links) {
        const std::string initiator = link.initiatorWwn;
        summary.push_back(fmt::format("{:x} {} {}", link.wwn, link.status, initiator.substr(initiator.rfind(':') + 1)));
    }
    return summary;
}

class FibreChannelLinksTest : public SysfsTest {
protected:
    // Reads the tree as the test has left it; what was logged is in `log` then.
    std::vector<std::string> ReadLinks()
    {
        ::testing::internal::CaptureStderr();
        const std::vector<OrnLinkInfo> links = zef::ReadFibreChannelLinks(root);
        log = ::testing::internal::GetCapturedStderr();
        return Summary(links);
    }

    // One host port, one remote port, both in the given states.
    void MakePair(const std::string &hostState, const std::string &remoteState) const
    {
        Write("class/fc_host/host1/port_name", "0x21000024ff000001\n");
        Write("class/fc_host/host1/port_state", hostState + "\n");
        Write("class/fc_remote_ports/rport-1:0-0/node_name", "0x5006016000000000\n");
        Write("class/fc_remote_ports/rport-1:0-0/port_state", remoteState + "\n");
        Write("class/fc_remote_ports/rport-1:0-0/roles", "FCP Target\n");
    }

    size_t LogLines() const { return static_cast<size_t>(std::count(log.begin(), log.end(), '\n')); }

    std::string log;
};

TEST_F(FibreChannelLinksTest, ListsTargetsOfARecordedMachineWithLinksThatAreUpFirst)
{
    EXPECT_THAT(Summary(zef::ReadFibreChannelLinks(Recorded("fabric"))),
                ElementsAre("50060160bc602c5a 0 56", "500507680b0000f1 0 56", "50060160bc602c5a 0 57",
                            "50060160bc602c5a 1 56", "50060160bc602c5a 2 57", "50060160bc602c5a 1 cd",
                            "500507680b0000f1 1 cd"));
}

TEST_F(FibreChannelLinksTest, NamesTheHostsPortInFullAndClearsTheRest)
{
    const std::vector<OrnLinkInfo> links = zef::ReadFibreChannelLinks(Recorded("fabric"));
    ASSERT_FALSE(links.empty());
    EXPECT_STREQ(links[0].initiatorWwn, "21:00:00:24:ff:12:34:56");
    EXPECT_EQ(links[0].initiatorWwn[511], '\0');
    EXPECT_EQ(links[0].reserved, 0U);
}

TEST_F(FibreChannelLinksTest, ListsNothingWithoutRemotePorts)
{
    CopyRecorded("no_targets");
    EXPECT_TRUE(ReadLinks().empty());
    EXPECT_EQ(log, "");
}

TEST_F(FibreChannelLinksTest, ListsNothingWithoutFibreChannel)
{
    EXPECT_TRUE(ReadLinks().empty());
    EXPECT_EQ(log, "");
}

TEST_F(FibreChannelLinksTest, ALinkIsUpWhenBothPortsAreOnline)
{
    MakePair("Online", "Online");
    EXPECT_THAT(ReadLinks(), ElementsAre("5006016000000000 0 01"));
}

TEST_F(FibreChannelLinksTest, ALinkIsNotUsableYetWhenTheHostsPortIsNotOnline)
{
    for (const char *state : {"Linkdown", "Offline", "Unknown", ""}) {
        MakePair(state, "Online");
        EXPECT_THAT(ReadLinks(), ElementsAre("5006016000000000 1 01")) << state;
    }
}

TEST_F(FibreChannelLinksTest, ALinkIsNotUsableYetWhenTheRemotePortIsBlocked)
{
    for (const char *state : {"Online", "Linkdown"}) {
        MakePair(state, "Blocked");
        EXPECT_THAT(ReadLinks(), ElementsAre("5006016000000000 1 01")) << state;
    }
}

TEST_F(FibreChannelLinksTest, ALinkIsInAnotherStateOtherwise)
{
    for (const char *state : {"Not Present", "Deleted", "Marginal", "Offline", ""}) {
        MakePair("Online", state);
        EXPECT_THAT(ReadLinks(), ElementsAre("5006016000000000 2 01")) << state;
    }
}

TEST_F(FibreChannelLinksTest, LeavesOutAPortWhoseArrayIsNotKnown)
{
    for (const std::string wwn : {"0xffffffffffffffff", "0x0", "garbage"}) {
        MakePair("Online", "Online");
        Write("class/fc_remote_ports/rport-1:0-0/node_name", wwn + "\n");
        EXPECT_TRUE(ReadLinks().empty()) << wwn;
        EXPECT_THAT(log, HasSubstr("warning [gateway] Fibre Channel port left out: " + root +
                                   "/class/fc_remote_ports/rport-1:0-0/node_name is no WWN: \"" + wwn + "\"\n"));
        EXPECT_EQ(LogLines(), 1U);
    }
}

TEST_F(FibreChannelLinksTest, LeavesOutAPortThatVanishesWhileItIsRead)
{
    for (const std::string file : {"node_name", "port_state", "roles"}) {
        std::filesystem::remove_all(root + "/class");
        CopyRecorded("fabric");
        Remove(kPort52 + file);
        EXPECT_THAT(ReadLinks(), ElementsAre("500507680b0000f1 0 56", "50060160bc602c5a 0 57", "50060160bc602c5a 1 56",
                                             "50060160bc602c5a 2 57", "50060160bc602c5a 1 cd", "500507680b0000f1 1 cd"))
            << file;
        const std::string path = root + "/" + kPort52 + file;
        EXPECT_THAT(log, HasSubstr("Fibre Channel port left out: " + path + " cannot be read\n"));
        EXPECT_EQ(LogLines(), 1U);
    }
}

TEST_F(FibreChannelLinksTest, LeavesOutAllPortsOfAHostThatVanishesAndReportsItOnce)
{
    CopyRecorded("fabric");
    Remove(kHost5);
    EXPECT_THAT(ReadLinks(), ElementsAre("50060160bc602c5a 0 57", "50060160bc602c5a 2 57", "50060160bc602c5a 1 cd",
                                         "500507680b0000f1 1 cd"));
    EXPECT_THAT(log, HasSubstr(kHost5 + "port_name cannot be read\n"));
    EXPECT_EQ(LogLines(), 1U);
}

TEST_F(FibreChannelLinksTest, LeavesOutAHostWithoutState)
{
    MakePair("Online", "Online");
    Remove("class/fc_host/host1/port_state");
    EXPECT_TRUE(ReadLinks().empty());
    EXPECT_THAT(log, HasSubstr("class/fc_host/host1/port_state cannot be read\n"));
}

TEST_F(FibreChannelLinksTest, LeavesOutAHostWhoseWwnIsMalformed)
{
    MakePair("Online", "Online");
    Write("class/fc_host/host1/port_name", "0xno\x1b[2J\n");
    EXPECT_TRUE(ReadLinks().empty());
    EXPECT_THAT(log, HasSubstr("port_name is no WWN: \"0xno\\x1b[2J\"\n"));
}

TEST_F(FibreChannelLinksTest, LeavesOutWhatIsNamedLikeNoRemotePort)
{
    MakePair("Online", "Online");
    Write("class/fc_remote_ports/other/roles", "FCP Target\n");
    EXPECT_THAT(ReadLinks(), ElementsAre("5006016000000000 0 01"));
    EXPECT_THAT(log, HasSubstr("class/fc_remote_ports/other has no place in its name\n"));
}

TEST_F(FibreChannelLinksTest, FollowsTheSymbolicLinksOfSysfs)
{
    MakePair("Online", "Online");
    std::filesystem::create_directories(root + "/devices");
    std::filesystem::rename(root + "/class/fc_remote_ports/rport-1:0-0", root + "/devices/rport-1:0-0");
    std::filesystem::create_directory_symlink("../../devices/rport-1:0-0", root + "/class/fc_remote_ports/rport-1:0-0");
    EXPECT_THAT(ReadLinks(), ElementsAre("5006016000000000 0 01"));
}

}  // namespace
