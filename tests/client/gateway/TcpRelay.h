// Stands between the client and an array, and goes deaf when a certain request comes by.
#ifndef ZEF_TESTS_CLIENT_GATEWAY_TCP_RELAY_H
#define ZEF_TESTS_CLIENT_GATEWAY_TCP_RELAY_H

#include "common/FileDescriptor.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <cstdint>

namespace zef {

// Forwards every connection to the array on a thread of its own. iSCSI requests are told apart by their opcode.
class TcpRelay {
public:
    static constexpr int kNopOut = 0x00;
    static constexpr int kScsiCommand = 0x01;
    static constexpr int kLoginRequest = 0x03;
    static constexpr int kLogoutRequest = 0x06;

    TcpRelay(const std::string &address, const std::string &arrayAddress, uint16_t arrayPort);
    ~TcpRelay();

    TcpRelay(const TcpRelay &) = delete;
    TcpRelay &operator=(const TcpRelay &) = delete;

    uint16_t Port() const { return port; }

    // From the first request with this opcode on, nothing is forwarded any more in either direction; connections stay.
    void HoldAt(int opcode);

    // Forwards again, beginning with what was held.
    void Release();

    // Returns once a request was held, or false after 30 s.
    bool WaitUntilHolding();

    // Opcodes of the requests that were seen, in order.
    std::vector<int> Opcodes() const;

    // Breaks all connections.
    void Cut();

private:
    // One client and its connection to the array.
    struct Line {
        FileDescriptor client;
        FileDescriptor array;
        std::vector<uint8_t> request;  // not forwarded yet
        size_t examined = 0;           // bytes of `request` whose opcodes have been noted
    };

    void Run();
    void Accept();
    bool FromClient(Line &line);
    bool FromArray(Line &line);
    bool Forward(Line &line);
    size_t Examine(Line &line);

    const std::string arrayAddress;
    const uint16_t arrayPort;
    uint16_t port = 0;
    FileDescriptor listener;
    FileDescriptor wakeUp;
    std::vector<Line> lines;  // of the thread alone

    mutable std::mutex mutex;  // guards what follows
    std::condition_variable holdingNow;
    std::optional<int> heldOpcode;
    bool holding = false;
    bool cutting = false;
    bool stopping = false;
    std::vector<int> opcodes;

    std::thread thread;
};

}  // namespace zef

#endif
