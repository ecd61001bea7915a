#include "gateway/SourceBinding.h"

#include "FakePortal.h"

#include <gtest/gtest.h>

#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

namespace zef {

namespace {

FileDescriptor Socket()
{
    return FileDescriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

int ConnectTo(const FileDescriptor &client, uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
    return connect(client.Get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
}

}  // namespace

TEST(SourceBindingTest, TheNextConnectionComesFromTheAddress)
{
    FakePortal portal("127.0.0.1", FakePortal::StaySilent());
    const FileDescriptor client = Socket();
    const SourceBinding binding("127.0.0.5");
    EXPECT_FALSE(binding.Used());
    EXPECT_EQ(ConnectTo(client, portal.Port()), 0);
    EXPECT_TRUE(binding.Used());
    EXPECT_EQ(SourceBinding::LocalAddress(client.Get()), "127.0.0.5");
    EXPECT_EQ(portal.PeersOnceConnected(), std::vector<std::string>{"127.0.0.5"});
}

TEST(SourceBindingTest, OnlyOneConnectionIsBound)
{
    FakePortal portal("127.0.0.1", FakePortal::CloseAtOnce());
    const FileDescriptor first = Socket();
    const FileDescriptor second = Socket();
    const SourceBinding binding("127.0.0.5");
    EXPECT_EQ(ConnectTo(first, portal.Port()), 0);
    EXPECT_EQ(ConnectTo(second, portal.Port()), 0);
    EXPECT_EQ(SourceBinding::LocalAddress(second.Get()), "127.0.0.1");
}

TEST(SourceBindingTest, ConnectionsAreOrdinaryOnceItIsGone)
{
    FakePortal portal("127.0.0.1", FakePortal::CloseAtOnce());
    const FileDescriptor client = Socket();
    {
        const SourceBinding binding("127.0.0.5");
    }
    EXPECT_EQ(ConnectTo(client, portal.Port()), 0);
    EXPECT_EQ(SourceBinding::LocalAddress(client.Get()), "127.0.0.1");
}

TEST(SourceBindingTest, OtherThreadsAreNotBound)
{
    FakePortal portal("127.0.0.1", FakePortal::CloseAtOnce());
    const FileDescriptor client = Socket();
    const SourceBinding binding("127.0.0.5");
    std::thread([&client, &portal] { EXPECT_EQ(ConnectTo(client, portal.Port()), 0); }).join();
    EXPECT_FALSE(binding.Used());
    EXPECT_EQ(SourceBinding::LocalAddress(client.Get()), "127.0.0.1");
}

TEST(SourceBindingTest, AnAddressThatIsNotOursFailsTheConnection)
{
    FakePortal portal("127.0.0.1", FakePortal::CloseAtOnce());
    const FileDescriptor client = Socket();
    const SourceBinding binding("192.0.2.1");
    EXPECT_EQ(ConnectTo(client, portal.Port()), -1);
    EXPECT_EQ(errno, EADDRNOTAVAIL);
    EXPECT_FALSE(binding.Used());
}

TEST(SourceBindingTest, ATextThatIsNoAddressFailsTheConnection)
{
    const FileDescriptor client = Socket();
    const SourceBinding binding("localhost");
    EXPECT_EQ(ConnectTo(client, RefusedPort("127.0.0.1")), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(SourceBindingTest, SocketsOfOtherFamiliesAreLeftAlone)
{
    const FileDescriptor client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/nowhere/at/all");
    const SourceBinding binding("127.0.0.5");
    EXPECT_EQ(connect(client.Get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(binding.Used());
}

TEST(SourceBindingTest, AnUnboundSocketHasNoAddressToTell)
{
    EXPECT_EQ(SourceBinding::LocalAddress(-1), "");
    const FileDescriptor unixSocket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(SourceBinding::LocalAddress(unixSocket.Get()), "");
}

}  // namespace zef
