// Settings of the gateway. They are given before the library is initialised and stay as they are until the gateway
// closes.
#ifndef ZEF_CLIENT_GATEWAY_GATEWAY_OPTIONS_H
#define ZEF_CLIENT_GATEWAY_GATEWAY_OPTIONS_H

#include <chrono>
#include <functional>
#include <string>

#include <cstdint>

namespace zef {

struct GatewayOptions {
    uint16_t arrayPort = 3260;
    std::string targetName;     // empty: each portal is asked, and must offer exactly one target
    std::string initiatorName;  // empty: made from the client's UUID
    std::string sysfsRoot = "/sys";  // where the Fibre Channel classes are looked for

    std::chrono::milliseconds connectDeadline{3000};  // for each TCP connection
    std::chrono::milliseconds loginDeadline{5000};    // for connecting, discovery and login together
    std::chrono::milliseconds wwnDeadline{2000};      // for the array to tell its WWN, after the login
    std::chrono::milliseconds retryDelay{2000};       // between a lost link (or a failed new login) and the next try
    std::chrono::milliseconds keepAliveInterval{5000};
    int keepAliveLimit = 3;                          // that many unanswered in a row, and the link counts as lost
    std::chrono::milliseconds logoutDeadline{500};   // for the array to confirm; the connection is cut after it

    // Whether a pair is still to have a link: asked in front of each one that the library wants created, on the thread
    // that wants it, inside a task. A task may still be queued when the pair's addresses are removed. Empty: all are.
    std::function<bool(const std::string &local, const std::string &array)> isWanted = nullptr;
};

}  // namespace zef

#endif
