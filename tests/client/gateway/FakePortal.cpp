#include "FakePortal.h"

#include <chrono>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace zef {

namespace {

constexpr int kPatienceMs = 30000;
constexpr int kMostQueued = 64;

sockaddr_in AddressOf(const std::string &text, uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, text.c_str(), &address.sin_addr);
    return address;
}

void ReadSomething(int connection)
{
    char buffer[4096];
    static_cast<void>(recv(connection, buffer, sizeof buffer, 0));
}

void ReadUntilClosed(int connection)
{
    char buffer[4096];
    while (recv(connection, buffer, sizeof buffer, 0) > 0) {
    }
}

}  // namespace

FileDescriptor ListenOn(const std::string &address, int backlog, uint16_t &port)
{
    FileDescriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in own = AddressOf(address, 0);
    socklen_t size = sizeof own;
    if (bind(listener.Get(), reinterpret_cast<const sockaddr *>(&own), size) != 0 ||
        listen(listener.Get(), backlog) != 0 ||
        getsockname(listener.Get(), reinterpret_cast<sockaddr *>(&own), &size) != 0) {
        throw std::runtime_error("cannot listen on " + address);
    }
    port = ntohs(own.sin_port);
    return listener;
}

uint16_t RefusedPort(const std::string &address)
{
    uint16_t port = 0;
    ListenOn(address, 1, port);
    return port;
}

FakePortal::FakePortal(const std::string &address, Behaviour wanted)
    : behaviour(std::move(wanted)), listener(ListenOn(address, 128, port))
{
    thread = std::thread([this] { Run(); });
}

FakePortal::~FakePortal()
{
    stopping = true;
    shutdown(listener.Get(), SHUT_RDWR);
    const int connection = current;
    if (connection >= 0) {
        shutdown(connection, SHUT_RDWR);
    }
    thread.join();
}

void FakePortal::Run()
{
    while (!stopping) {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        const FileDescriptor connection(
            accept4(listener.Get(), reinterpret_cast<sockaddr *>(&peer), &size, SOCK_CLOEXEC));
        if (!connection) {
            return;
        }
        {
            const std::lock_guard<std::mutex> lock(mutex);
            peers.emplace_back(inet_ntoa(peer.sin_addr));
            connected.notify_all();
        }
        current = connection.Get();
        if (!stopping) {
            behaviour(connection.Get());
        }
        current = -1;
    }
}

std::vector<std::string> FakePortal::PeersOnceConnected()
{
    std::unique_lock<std::mutex> lock(mutex);
    connected.wait_for(lock, std::chrono::milliseconds(kPatienceMs), [this] { return !peers.empty(); });
    return peers;
}

FakePortal::Behaviour FakePortal::CloseAtOnce()
{
    return [](int) {};
}

FakePortal::Behaviour FakePortal::StaySilent()
{
    return ReadUntilClosed;
}

FakePortal::Behaviour FakePortal::CloseAfterRequest()
{
    return ReadSomething;
}

FakePortal::Behaviour FakePortal::Answer(const std::vector<uint8_t> &bytes)
{
    return [bytes](int connection) {
        ReadSomething(connection);
        static_cast<void>(send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL));
        ReadUntilClosed(connection);
    };
}

FullPortal::FullPortal(const std::string &address) : listener(ListenOn(address, 0, port))
{
    const sockaddr_in own = AddressOf(address, port);
    for (int i = 0; i < kMostQueued; ++i) {
        FileDescriptor client(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        connect(client.Get(), reinterpret_cast<const sockaddr *>(&own), sizeof own);
        pollfd waiting{client.Get(), POLLOUT, 0};
        const bool isQueued = poll(&waiting, 1, 200) == 1;
        queued.push_back(std::move(client));
        if (!isQueued) {
            return;
        }
    }
    throw std::runtime_error("the queue of a listener does not fill up");
}

}  // namespace zef
