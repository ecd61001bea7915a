#include "service/ServiceManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <cstdlib>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using testing::MatchesRegex;
using zef::ServiceManager;

constexpr int kHangMs = 30000;
constexpr std::chrono::hours kNeverInATest{1};

// The manager's end of the notification socket: a datagram socket in the abstract namespace.
class FakeManager {
public:
    FakeManager() : descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        // Without a name of ours the kernel picks a free one.
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof(sa_family_t)), 0);
        socklen_t size = sizeof(address);
        EXPECT_EQ(getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &size), 0);
        const size_t nameSize = size - sizeof(sa_family_t) - 1;
        setenv("NOTIFY_SOCKET", ("@" + std::string(address.sun_path + 1, nameSize)).c_str(), 1);
    }

    ~FakeManager()
    {
        unsetenv("NOTIFY_SOCKET");
        close(descriptor);
    }

    FakeManager(const FakeManager &) = delete;
    FakeManager &operator=(const FakeManager &) = delete;

    std::string Next() const
    {
        pollfd readable = {descriptor, POLLIN, 0};
        if (poll(&readable, 1, kHangMs) != 1) {
            return "nothing came";
        }
        std::array<char, 4096> message;
        const ssize_t length = recv(descriptor, message.data(), message.size(), 0);
        return std::string(message.data(), length < 0 ? 0 : static_cast<size_t>(length));
    }

    // To be asked when all that could send has ended.
    bool HasMore() const
    {
        pollfd readable = {descriptor, POLLIN, 0};
        return poll(&readable, 1, 0) == 1;
    }

private:
    const int descriptor;
};

// What a watching manager puts into a service's environment.
class WatchdogEnvironment {
public:
    WatchdogEnvironment(const std::string &microseconds, pid_t process)
    {
        setenv("WATCHDOG_USEC", microseconds.c_str(), 1);
        setenv("WATCHDOG_PID", std::to_string(process).c_str(), 1);
    }

    ~WatchdogEnvironment()
    {
        unsetenv("WATCHDOG_USEC");
        unsetenv("WATCHDOG_PID");
    }

    WatchdogEnvironment(const WatchdogEnvironment &) = delete;
    WatchdogEnvironment &operator=(const WatchdogEnvironment &) = delete;
};

TEST(ServiceManagerTest, SaysReadyTogetherWithAStatus)
{
    const FakeManager manager;
    ServiceManager service;
    service.Ready("4 of 4 links up");
    EXPECT_EQ(manager.Next(), "READY=1\nSTATUS=4 of 4 links up");
}

TEST(ServiceManagerTest, SendsAStatus)
{
    const FakeManager manager;
    ServiceManager service;
    service.Status("logging in");
    EXPECT_EQ(manager.Next(), "STATUS=logging in");
}

TEST(ServiceManagerTest, SendsTheLastOfManyTextsInTheEnd)
{
    const FakeManager manager;
    ServiceManager service(std::chrono::milliseconds(1));
    service.Ready("0");
    for (int number = 1; number <= 50; ++number) {
        service.Status(std::to_string(number));
    }
    EXPECT_EQ(manager.Next(), "READY=1\nSTATUS=0");
    std::string message = manager.Next();
    for (int more = 0; more < 50 && message != "STATUS=50" && message != "nothing came"; ++more) {
        message = manager.Next();
    }
    EXPECT_EQ(message, "STATUS=50");
}

TEST(ServiceManagerTest, SendsATextThatIsDueBeforeItEnds)
{
    const FakeManager manager;
    ServiceManager(kNeverInATest).Status("a link is down");
    EXPECT_EQ(manager.Next(), "STATUS=a link is down");
}

TEST(ServiceManagerTest, DoesNotRepeatAText)
{
    const FakeManager manager;
    {
        ServiceManager service(std::chrono::milliseconds(0));
        service.Ready("serving");
        service.Status("serving");
    }
    EXPECT_EQ(manager.Next(), "READY=1\nSTATUS=serving");
    EXPECT_FALSE(manager.HasMore());
}

TEST(ServiceManagerTest, AForgedLineStaysInTheText)
{
    const FakeManager manager;
    ServiceManager service;
    service.Ready("up\nMAINPID=1\r\t\x1b[31m\x7f \xc3\xa9");
    EXPECT_EQ(manager.Next(), "READY=1\nSTATUS=up?MAINPID=1???[31m? ??");
}

TEST(ServiceManagerTest, CutsALongText)
{
    const FakeManager manager;
    ServiceManager service;
    service.Ready(std::string(100000, 'x'));
    EXPECT_EQ(manager.Next(), "READY=1\nSTATUS=" + std::string(512, 'x'));
}

TEST(ServiceManagerTest, SaysThatItReloadsAndWhen)
{
    const FakeManager manager;
    ServiceManager service;
    service.Reloading();
    EXPECT_THAT(manager.Next(), MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[0-9]+"));
    service.Ready("serving");
    EXPECT_EQ(manager.Next(), "READY=1\nSTATUS=serving");
}

TEST(ServiceManagerTest, SaysThatItStopsAtOnce)
{
    const FakeManager manager;
    {
        ServiceManager service(kNeverInATest);
        service.Ready("serving");
        service.Status("a link is down");
        service.Stopping();
    }
    EXPECT_EQ(manager.Next(), "READY=1\nSTATUS=serving");
    EXPECT_EQ(manager.Next(), "STOPPING=1");
    EXPECT_FALSE(manager.HasMore());
}

TEST(ServiceManagerTest, EndsWithoutATextWhoseTimeHasNotCome)
{
    const FakeManager manager;
    auto service = std::make_unique<ServiceManager>(kNeverInATest);
    service->Ready("serving");
    service->Status("a link is down");
    service.reset();
    EXPECT_EQ(manager.Next(), "READY=1\nSTATUS=serving");
    EXPECT_FALSE(manager.HasMore());
}

TEST(ServiceManagerTest, KicksTheWatchdog)
{
    const FakeManager manager;
    ServiceManager service;
    service.KickWatchdog();
    EXPECT_EQ(manager.Next(), "WATCHDOG=1");
}

TEST(ServiceManagerTest, KicksTwiceInTheTimeThatTheManagerWaits)
{
    const FakeManager manager;
    const WatchdogEnvironment watched("30000000", getpid());
    EXPECT_EQ(ServiceManager().WatchdogInterval(), std::chrono::seconds(15));
}

TEST(ServiceManagerTest, IsNotWatchedUnlessTheManagerSaysSo)
{
    const FakeManager manager;
    EXPECT_EQ(ServiceManager().WatchdogInterval(), std::chrono::microseconds(0));
}

TEST(ServiceManagerTest, IsNotWatchedWhenAnotherProcessIs)
{
    const FakeManager manager;
    const WatchdogEnvironment watched("30000000", getppid());
    EXPECT_EQ(ServiceManager().WatchdogInterval(), std::chrono::microseconds(0));
}

TEST(ServiceManagerTest, IsNotWatchedByAnUnreadableSetting)
{
    const FakeManager manager;
    const WatchdogEnvironment watched("soon", getpid());
    EXPECT_EQ(ServiceManager().WatchdogInterval(), std::chrono::microseconds(0));
}

TEST(ServiceManagerTest, IsNotWatchedWithoutAManager)
{
    const WatchdogEnvironment watched("30000000", getpid());
    EXPECT_EQ(ServiceManager().WatchdogInterval(), std::chrono::microseconds(0));
}

TEST(ServiceManagerTest, NothingHappensWithoutAManager)
{
    const FakeManager manager;
    unsetenv("NOTIFY_SOCKET");
    {
        ServiceManager service;
        service.Ready("ready");
        service.Status("status");
        service.Reloading();
        service.KickWatchdog();
        service.Stopping();
    }
    EXPECT_FALSE(manager.HasMore());
}

TEST(ServiceManagerTest, AManagerThatHasGoneIsNoFailure)
{
    auto manager = std::make_unique<FakeManager>();
    const std::string address = getenv("NOTIFY_SOCKET");
    manager.reset();
    setenv("NOTIFY_SOCKET", address.c_str(), 1);
    {
        ServiceManager service;
        EXPECT_NO_THROW(service.Ready("ready"));
        EXPECT_NO_THROW(service.Stopping());
    }
    unsetenv("NOTIFY_SOCKET");
}

TEST(ServiceManagerTest, ManyThreadsMaySpeakAtOnce)
{
    constexpr int kThreads = 4;
    constexpr int kKicks = 25;
    const FakeManager manager;
    int kicks = 0;
    {
        ServiceManager service;
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&service, thread] {
                for (int i = 0; i < kKicks; ++i) {
                    service.Status("thread " + std::to_string(thread));
                    service.KickWatchdog();
                }
            });
        }
        // The socket's queue is short: who speaks waits until it is read.
        for (std::string message = manager.Next(); message != "nothing came"; message = manager.Next()) {
            kicks += message == "WATCHDOG=1" ? 1 : 0;
            if (kicks == kThreads * kKicks) {
                break;
            }
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
    }
    EXPECT_EQ(kicks, kThreads * kKicks);
}

}  // namespace
