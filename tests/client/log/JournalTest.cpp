#include "log/Log.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int kHangMs = 30000;
constexpr const char *kSocketPath = "/run/systemd/journal/socket";

// The journal's socket in a mount namespace of this process.
class PrivateJournal {
public:
    PrivateJournal() : descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        // Each step only after the one before: nothing may be mounted where others can see it.
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", "/run", "tmpfs", 0, nullptr) != 0) {
            ADD_FAILURE() << "no mount namespace";
            return;
        }
        EXPECT_EQ(mkdir("/run/systemd", 0755), 0);
        EXPECT_EQ(mkdir("/run/systemd/journal", 0755), 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::string(kSocketPath).copy(address.sun_path, sizeof(address.sun_path) - 1);
        EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof(address)), 0);
    }

    ~PrivateJournal() { close(descriptor); }
    PrivateJournal(const PrivateJournal &) = delete;
    PrivateJournal &operator=(const PrivateJournal &) = delete;

    // The next entry in the journal's own form, one field per line, with a newline in front.
    std::string NextEntry() const
    {
        pollfd readable = {descriptor, POLLIN, 0};
        if (poll(&readable, 1, kHangMs) != 1) {
            return "nothing came";
        }
        std::array<char, 4096> entry;
        const ssize_t length = recv(descriptor, entry.data(), entry.size(), 0);
        return "\n" + std::string(entry.data(), length < 0 ? 0 : static_cast<size_t>(length));
    }

private:
    const int descriptor;
};

bool Contains(const std::string &entry, const std::string &field)
{
    return entry.find("\n" + field + "\n") != std::string::npos;
}

TEST(JournalTest, GetsTextLevelAndIdentifierOfEachLine)
{
    const PrivateJournal journal;
    zef::StartLog({zef::LogLevel::Info, zef::LogDestination::Journal});
    zef::LogWarn("gateway", "link {} lost\n", "10.0.0.1");
    const std::string entry = journal.NextEntry();
    EXPECT_TRUE(Contains(entry, "MESSAGE=[gateway] link 10.0.0.1 lost")) << entry;
    EXPECT_TRUE(Contains(entry, "PRIORITY=4")) << entry;
    EXPECT_TRUE(Contains(entry, "SYSLOG_IDENTIFIER=zef_client")) << entry;
}

}  // namespace
