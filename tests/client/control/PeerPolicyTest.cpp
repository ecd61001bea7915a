#include "control/PeerPolicy.h"

#include "AwkwardClient.h"
#include "support/Files.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <stdexcept>
#include <vector>

#include <grp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace zef {

namespace {

constexpr uid_t kClientUser = 500;
constexpr gid_t kSocketGroup = 600;
constexpr uid_t kOther = 65534;

// Another user for good, in these groups. For a child process.
void Become(gid_t group, const std::vector<gid_t> &groups)
{
    if (setgroups(groups.size(), groups.data()) != 0 || setgid(group) != 0 || setuid(kOther) != 0) {
        throw std::runtime_error("no other user");
    }
}

}  // namespace

TEST(PeerPolicyTest, PermitsRootTheClientsUserAndTheGroup)
{
    EXPECT_TRUE(IsPermitted({0, 1, 7, {}}, kClientUser, kSocketGroup));
    EXPECT_TRUE(IsPermitted({kClientUser, 1, 7, {}}, kClientUser, kSocketGroup));
    EXPECT_TRUE(IsPermitted({kOther, 1, kSocketGroup, {}}, kClientUser, kSocketGroup));
    EXPECT_TRUE(IsPermitted({kOther, 1, 7, {8, kSocketGroup}}, kClientUser, kSocketGroup));
}

TEST(PeerPolicyTest, PermitsNobodyElse)
{
    EXPECT_FALSE(IsPermitted({kOther, 1, 7, {8, 9}}, kClientUser, kSocketGroup));
    // A group's number is no user's.
    EXPECT_FALSE(IsPermitted({kSocketGroup, 1, 0, {kClientUser}}, kClientUser, kSocketGroup));
}

TEST(PeerPolicyTest, AsksTheKernelWhoConnected)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const FileDescriptor one(ends[0]);
    const FileDescriptor two(ends[1]);
    const std::optional<PeerCredentials> peer = PeerOf(one.Get());
    ASSERT_TRUE(peer.has_value());
    EXPECT_EQ(peer->user, geteuid());
    EXPECT_EQ(peer->group, getegid());
    EXPECT_EQ(peer->process, getpid());
}

TEST(PeerPolicyTest, KnowsNoPeerOfWhatIsNoSocket)
{
    EXPECT_FALSE(PeerOf(-1).has_value());
}

TEST(PeerPolicyTest, SeesAllOfManyGroups)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can take on groups";
    }
    EXPECT_TRUE(InChild([] {
        std::vector<gid_t> groups(1000);
        for (size_t i = 0; i < groups.size(); ++i) {
            groups[i] = static_cast<gid_t>(10'000 + i);
        }
        int ends[2];
        if (setgroups(groups.size(), groups.data()) != 0 || socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) {
            return false;
        }
        const std::optional<PeerCredentials> peer = PeerOf(ends[0]);
        return peer && peer->groups == groups;
    }));
}

// The file system lets everybody connect here.
TEST(PeerPolicyTest, TheServerGoesByTheCredentialsAtConnection)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become others";
    }
    const ScratchFolder folder;
    ControlOptions options;
    options.path = folder.File("socket");
    SteeredHandler handler;
    const ControlServer server(options, handler.Handler());
    ASSERT_EQ(chown(options.path.c_str(), 0, kSocketGroup), 0);
    ASSERT_EQ(chmod(options.path.c_str(), 0666), 0);
    ASSERT_EQ(chmod(folder.Path().c_str(), 0755), 0);
    const std::string request = R"({"version":1,"op":"echo"})";
    const std::string refusal =
        Failure(ExitCode::NotPermitted, "only root, the user that the client runs as, and members of the group of " +
                                            options.path + " may ask this client");
    EXPECT_TRUE(InChild([&] {
        Become(kOther, {});
        AwkwardClient client(options.path);
        return client.Line() == refusal && client.Line() == "(end)";
    }));
    EXPECT_TRUE(InChild([&] {
        Become(kSocketGroup, {});
        return AwkwardClient(options.path).Ask(request) == SuccessLine({{"value", nullptr}});
    }));
    EXPECT_TRUE(InChild([&] {
        Become(kOther, {kSocketGroup});
        return AwkwardClient(options.path).Ask(request) == SuccessLine({{"value", nullptr}});
    }));
    EXPECT_EQ(handler.Operations(), (std::vector<std::string>{"echo", "echo"}));
}

}  // namespace zef
