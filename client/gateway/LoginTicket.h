// One caller's wait for the outcome of a login.
#ifndef ZEF_CLIENT_GATEWAY_LOGIN_TICKET_H
#define ZEF_CLIENT_GATEWAY_LOGIN_TICKET_H

#include "common/Mutex.h"

#include <chrono>
#include <string>

namespace zef {

// Shared by the caller, who waits, and the gateway's thread, which settles it once; later settlements are ignored.
class LoginTicket {
public:
    // cause: empty when the link is up, else why it is not.
    void Settle(const std::string &cause);

    // Returns the cause, empty for a link that is up; `lateCause` when the deadline passes first.
    std::string Wait(std::chrono::steady_clock::time_point deadline, const std::string &lateCause);

private:
    Mutex mutex;
    Condition settledNow;
    bool settled ZEF_GUARDED_BY(mutex) = false;
    std::string outcome ZEF_GUARDED_BY(mutex);
};

}  // namespace zef

#endif
