// What people are shown of one link: a copy, taken at one moment.
#ifndef ZEF_CLIENT_GATEWAY_LINK_STATE_H
#define ZEF_CLIENT_GATEWAY_LINK_STATE_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include <cstdint>

namespace zef {

// Stands for an array that has not told its WWN.
constexpr uint64_t kNoWwn = UINT64_MAX;

enum class LinkPhase {
    Created,         // asked for, not tried yet
    Discovering,     // a session of its own under way that asks the array for its targets
    Connecting,      // TCP connection under way
    LoggingIn,       // login under way
    ReadingWwn,      // logged in, not offered to the library yet
    Up,              // logged in; the WWN may still be unknown
    WaitingToRetry,  // was up before; the gateway logs in again by itself
    Failed,          // could not be logged in; tried again when the library asks
    Closed,          // deleted by the library or ended by the gateway's close
};

// A word or two for a table or a message, such as "logging in".
const char *LinkPhaseName(LinkPhase phase);

// True while a login is under way that has not been decided.
bool IsTrying(LinkPhase phase);

struct LinkState {
    std::string local;
    std::string array;
    LinkPhase phase = LinkPhase::Created;
    uint64_t wwn = kNoWwn;  // last one read, also while the link is down
    uint32_t tries = 0;     // logins begun so far
    uint32_t failures = 0;  // tries that failed in a row since it was last up, also for want of a credential
    std::string cause;      // why the last login failed or the link was lost; empty while it is up
    std::chrono::system_clock::time_point since;  // when `phase` began

    // WaitingToRetry: when the gateway logs in again, once it has a credential. Failed: when the library is about to
    // ask again, 2 s after it was told. Nothing in all other phases.
    std::optional<std::chrono::system_clock::time_point> nextTry;
};

// One line such as "10.0.0.1 -> 10.0.0.9 up, WWN 0x600140512345678a".
std::string Describe(const LinkState &state);

// Told every change of a link's phase, WWN, cause or failures, in order, on the gateway's thread, without a lock held.
// Must not start or close the gateway, and holds up every link while it runs.
using LinkListener = std::function<void(const LinkState &)>;

}  // namespace zef

#endif
