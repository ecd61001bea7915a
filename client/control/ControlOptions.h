// What the control socket's server can be told.
#ifndef ZEF_CLIENT_CONTROL_CONTROL_OPTIONS_H
#define ZEF_CLIENT_CONTROL_CONTROL_OPTIONS_H

#include <chrono>
#include <string>

#include <cstddef>

namespace zef {

constexpr const char *kControlSocket = "/run/zef/zef_client.sock";

struct ControlOptions {
    std::string path = kControlSocket;
    size_t maxRequestBytes = 65536;  // of a line, without its newline
    size_t maxClients = 64;          // connections at once; more are refused with a message
    size_t maxQueued = 32;           // requests that wait for the one that is carried out; more are refused
    std::chrono::milliseconds requestDeadline{30'000};  // for the answer, and the most that a request may ask for
    std::chrono::milliseconds receiveDeadline{10'000};  // from a request's first byte to its newline
    std::chrono::milliseconds sendDeadline{10'000};     // for a client to take its answer
    std::chrono::milliseconds idleDeadline{60'000};     // between two requests
};

}  // namespace zef

#endif
