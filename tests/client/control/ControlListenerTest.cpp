#include "control/ControlListener.h"

#include "control/ControlError.h"
#include "control/UnixAddress.h"

#include "support/Files.h"
#include "support/WithoutFileCapabilities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <thread>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zef {

namespace {

class ControlListenerTest : public testing::Test {
protected:
    // "1: the text" of what keeps a listener from being, or "" when nothing does.
    static std::string Obstacle(const std::string &path)
    {
        try {
            const ControlListener listener(path);
            return "";
        } catch (const ControlError &error) {
            return std::to_string(ToStatus(error.GetCode())) + ": " + error.what();
        }
    }

    // A socket file that nobody listens on any more.
    void LeaveSocketBehind() const
    {
        const FileDescriptor dead(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(bind(dead.Get(), UnixAddress(path).Get(), UnixAddress::Size()), 0);
        ASSERT_EQ(listen(dead.Get(), 1), 0);
    }

    static bool CanConnect(const std::string &path)
    {
        const FileDescriptor client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        return connect(client.Get(), UnixAddress(path).Get(), UnixAddress::Size()) == 0;
    }

    ScratchFolder folder;
    std::string path = folder.File("socket");
};

// The process's umask, for as long as it lives.
class Umask {
public:
    explicit Umask(mode_t mask) : before(umask(mask)) {}
    ~Umask() { umask(before); }
    Umask(const Umask &) = delete;
    Umask &operator=(const Umask &) = delete;

private:
    mode_t before;
};

}  // namespace

TEST_F(ControlListenerTest, ListensWithAFileForOwnerAndGroup)
{
    for (const mode_t mask : {0000U, 0022U, 0077U, 0777U}) {
        const Umask masked(mask);
        const ControlListener listener(path);
        EXPECT_EQ(FileMode(path), 0660U);
        EXPECT_TRUE(CanConnect(path));
        EXPECT_TRUE(static_cast<bool>(listener.Accept()));
    }
}

TEST_F(ControlListenerTest, GivesNoClientWhenNoneIsThere)
{
    const ControlListener listener(path);
    EXPECT_FALSE(static_cast<bool>(listener.Accept()));
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(ControlListenerTest, RemovesItsFileInTheEnd)
{
    std::make_unique<ControlListener>(path).reset();
    EXPECT_TRUE(folder.Names().empty());
}

TEST_F(ControlListenerTest, LeavesWhatHasTakenItsFilesPlace)
{
    {
        const ControlListener listener(path);
        ASSERT_EQ(unlink(path.c_str()), 0);
        WriteFile(path, "something else");
    }
    EXPECT_EQ(ReadFile(path), "something else");
    ASSERT_EQ(unlink(path.c_str()), 0);
    {
        auto first = std::make_unique<ControlListener>(path);
        ASSERT_EQ(unlink(path.c_str()), 0);
        const ControlListener second(path);
        first.reset();
        EXPECT_TRUE(CanConnect(path));
    }
    EXPECT_TRUE(folder.Names().empty());
}

TEST_F(ControlListenerTest, CreatesItsDirectoryButNoFurtherOne)
{
    const Umask masked(0077);
    const ControlListener listener(folder.File("run/socket"));
    EXPECT_EQ(FileMode(folder.File("run")), 0755U);
    EXPECT_EQ(Obstacle(folder.File("not/there/socket")),
              "1: the directory " + folder.File("not/there") +
                  " of the control socket cannot be created: No such file or directory");
}

TEST_F(ControlListenerTest, LeavesADirectoryAsItIs)
{
    ASSERT_EQ(chmod(folder.Path().c_str(), 0700), 0);
    const ControlListener listener(path);
    EXPECT_EQ(FileMode(folder.Path()), 0700U);
}

TEST_F(ControlListenerTest, ReplacesTheSocketOfADeadClient)
{
    LeaveSocketBehind();
    const ControlListener listener(path);
    EXPECT_TRUE(CanConnect(path));
}

TEST_F(ControlListenerTest, LeavesALiveClientAlone)
{
    const ControlListener listener(path);
    EXPECT_EQ(Obstacle(path), "1: another zef_client answers on " + path + "; stop it first");
    EXPECT_TRUE(CanConnect(path));
}

TEST_F(ControlListenerTest, LeavesALiveClientAloneThatHasNoRoomForConnections)
{
    const FileDescriptor busy(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(busy.Get(), UnixAddress(path).Get(), UnixAddress::Size()), 0);
    ASSERT_EQ(listen(busy.Get(), 0), 0);
    const FileDescriptor client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(client.Get(), UnixAddress(path).Get(), UnixAddress::Size()), 0);
    EXPECT_EQ(Obstacle(path), "1: another zef_client answers on " + path + "; stop it first");
}

TEST_F(ControlListenerTest, LeavesASocketOfAnotherKindAlone)
{
    const FileDescriptor datagrams(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(datagrams.Get(), UnixAddress(path).Get(), UnixAddress::Size()), 0);
    EXPECT_EQ(Obstacle(path), "1: the socket " + path +
                                  " is in the way and cannot be replaced: Protocol wrong type for socket");
    EXPECT_EQ(folder.Names().size(), 1U);
}

TEST_F(ControlListenerTest, LeavesWhatIsNoSocketAlone)
{
    const std::string obstacle = "1: " + path + " is in the control socket's place and is no socket; move it away";
    WriteFile(path, "precious");
    EXPECT_EQ(Obstacle(path), obstacle);
    EXPECT_EQ(ReadFile(path), "precious");
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_EQ(Obstacle(path), obstacle);
    std::filesystem::remove(path);
    std::filesystem::create_symlink(folder.File("elsewhere"), path);
    EXPECT_EQ(Obstacle(path), obstacle);
    EXPECT_EQ(folder.Names().size(), 1U);
}

TEST_F(ControlListenerTest, RefusesAPathThatIsTooLong)
{
    const std::string longest = path + std::string(107 - path.size(), 'x');
    EXPECT_EQ(Obstacle(longest), "");
    const std::string text = "2: the path of the control socket must have 1 to 107 bytes and no zero byte; it has ";
    EXPECT_EQ(Obstacle(longest + "x"), text + "108 bytes");
    EXPECT_EQ(Obstacle(""), text + "0 bytes");
    EXPECT_EQ(Obstacle(path + std::string("\0x", 2)), text + std::to_string(path.size() + 2) + " bytes");
}

TEST_F(ControlListenerTest, SaysWhenItIsNotPermitted)
{
    ASSERT_EQ(chmod(folder.Path().c_str(), 0500), 0);
    {
        const WithoutFileCapabilities bound;
        EXPECT_EQ(Obstacle(path), "6: the control socket " + path + " cannot be created: Permission denied");
    }
    ASSERT_EQ(chmod(folder.Path().c_str(), 0700), 0);
}

TEST_F(ControlListenerTest, TellsTheGroupThatTheFileHasNow)
{
    const ControlListener listener(path);
    EXPECT_EQ(listener.GetGroup(), getegid());
    if (geteuid() == 0) {
        ASSERT_EQ(chown(path.c_str(), 0, 4321), 0);
        EXPECT_EQ(listener.GetGroup(), 4321U);
    }
}

// One of them gets the place, whatever was there before.
TEST_F(ControlListenerTest, ManyThatStartAtOnceTakeTurns)
{
    LeaveSocketBehind();
    constexpr size_t kStarters = 8;
    std::vector<std::unique_ptr<ControlListener>> listeners(kStarters);
    std::vector<std::string> obstacles(kStarters);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < kStarters; ++i) {
        threads.emplace_back([&, i] {
            try {
                listeners[i] = std::make_unique<ControlListener>(path);
            } catch (const ControlError &error) {
                obstacles[i] = error.what();
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(std::count(obstacles.begin(), obstacles.end(), ""), 1);
    const std::string obstacle = "another zef_client answers on " + path + "; stop it first";
    EXPECT_EQ(std::count(obstacles.begin(), obstacles.end(), obstacle), kStarters - 1);
    EXPECT_TRUE(CanConnect(path));
}

}  // namespace zef
