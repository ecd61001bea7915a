#include "gateway/LoginTicket.h"

namespace zef {

void LoginTicket::Settle(const std::string &cause)
{
    const MutexLock lock(mutex);
    if (settled) {
        return;
    }
    settled = true;
    outcome = cause;
    settledNow.NotifyAll();
}

std::string LoginTicket::Wait(std::chrono::steady_clock::time_point deadline, const std::string &lateCause)
{
    const MutexLock lock(mutex);
    while (!settled && settledNow.WaitUntil(mutex, deadline)) {
    }
    return settled ? outcome : lateCause;
}

}  // namespace zef
