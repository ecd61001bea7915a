// Finds out from which local addresses an array can be reached.
#ifndef ZEF_CLIENT_IPUTIL_ADDRESS_PROBE_H
#define ZEF_CLIENT_IPUTIL_ADDRESS_PROBE_H

#include "common/FileDescriptor.h"

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <cstddef>
#include <cstdint>

#include <poll.h>

namespace zef {

// Opens a TCP connection from every candidate at the same time, and closes it in the ordinary way once it is seen to
// stand: to an array this is a client that left before it logged in, which it takes more lightly than a reset. Used once,
// by one thread at a time.
class AddressProbe {
public:
    // At most this many candidates are tried; the rest is left out with a message.
    static constexpr size_t kMostSockets = 128;

    // arrayAddress: IPv4 address in dotted form. stopDescriptor: descriptor that ends the probe as soon as it can be
    // read; -1 for none.
    AddressProbe(const std::string &arrayAddress, uint16_t arrayPort, std::chrono::milliseconds timeLimit,
                 int stopDescriptor);

    // Opens the connections, from IPv4 addresses in dotted form. The deadline runs from here, whoever waits then.
    void Begin(const std::vector<std::string> &candidates);

    // Takes the answers that have come, without waiting. Returns the candidates that have connected so far.
    const std::set<std::string> &Look();

    // Waits for the answers that are missing. Returns those of the candidates that connected within the deadline, or
    // after it but before this was called; nothing when the probe was stopped.
    std::set<std::string> Finish();

    // Begin and Finish.
    std::set<std::string> Reachable(const std::vector<std::string> &candidates);

    // When answers are no longer waited for. Of meaning from Begin on, as is IsStale.
    std::chrono::steady_clock::time_point End() const { return end; }

    // True once that is so long ago that the network may have changed.
    bool IsStale() const;

    // Connections without an answer that was taken.
    size_t OpenSockets() const { return attempts.size(); }

    // True when the stop descriptor ended the probe.
    bool WasStopped() const { return wasStopped; }

    // Why no candidate connected: one after the other, in their order, such as "10.0.0.1: Connection refused,
    // 127.0.0.1: Invalid argument". Only the first few are told.
    std::string WhyNot() const;

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    struct Attempt {
        size_t place;  // among the candidates
        std::string local;
        FileDescriptor socket;
    };

    void Open(size_t place, const std::string &local);
    bool WaitForAnswers();
    std::vector<pollfd> Descriptors() const;
    void TakeAnswers(const std::vector<pollfd> &polled);
    void Note(const Attempt &attempt, int error);

    const std::string array;
    const uint16_t port;
    const std::chrono::milliseconds deadline;
    const int stop;
    TimePoint end;
    std::vector<Attempt> attempts;  // still without an answer
    std::set<std::string> reached;
    bool wasStopped = false;
    std::map<size_t, std::string> failures;  // by place
};

// The IPv4 addresses of all interfaces that are up, each once, in the system's order.
std::vector<std::string> LocalAddresses();

}  // namespace zef

#endif
