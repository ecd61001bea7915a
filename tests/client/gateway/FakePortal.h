// A listener on loopback that is no iSCSI portal but answers in its own way.
#ifndef ZEF_TESTS_CLIENT_GATEWAY_FAKE_PORTAL_H
#define ZEF_TESTS_CLIENT_GATEWAY_FAKE_PORTAL_H

#include "common/FileDescriptor.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <cstdint>

namespace zef {

// Serves one connection after the other on a thread of its own.
class FakePortal {
public:
    // What is done with an accepted connection, which is closed afterwards.
    using Behaviour = std::function<void(int connection)>;

    FakePortal(const std::string &address, Behaviour behaviour);
    ~FakePortal();

    FakePortal(const FakePortal &) = delete;
    FakePortal &operator=(const FakePortal &) = delete;

    uint16_t Port() const { return port; }

    // Addresses that connections came from, in order; waits until there is one.
    std::vector<std::string> PeersOnceConnected();

    // Behaviours.
    static Behaviour CloseAtOnce();
    static Behaviour StaySilent();                           // until the other side closes
    static Behaviour CloseAfterRequest();                    // reads something first
    static Behaviour Answer(const std::vector<uint8_t> &bytes);  // to the first request, then stays silent

private:
    void Run();

    const Behaviour behaviour;
    uint16_t port = 0;  // stored by the listener's initialiser
    FileDescriptor listener;
    std::atomic<bool> stopping{false};
    std::mutex mutex;  // guards peers
    std::condition_variable connected;
    std::vector<std::string> peers;
    std::atomic<int> current{-1};
    std::thread thread;
};

// A listener whose queue of connections is full: the kernel answers no SYN any more, so connecting to it hangs.
class FullPortal {
public:
    explicit FullPortal(const std::string &address);

    uint16_t Port() const { return port; }

private:
    uint16_t port = 0;  // stored by the listener's initialiser
    FileDescriptor listener;
    std::vector<FileDescriptor> queued;
};

// Listens on a free port of the address, which `port` receives. Throws when that fails.
FileDescriptor ListenOn(const std::string &address, int backlog, uint16_t &port);

// A port of the address that nobody listens on.
uint16_t RefusedPort(const std::string &address);

}  // namespace zef

#endif
