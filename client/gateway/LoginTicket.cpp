#include "gateway/LoginTicket.h"

namespace zef {

void LoginTicket::Settle(const std::string &cause)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (settled) {
        return;
    }
    settled = true;
    outcome = cause;
    settledNow.notify_all();
}

std::string LoginTicket::Wait(std::chrono::steady_clock::time_point deadline, const std::string &lateCause)
{
    std::unique_lock<std::mutex> lock(mutex);
    const bool inTime = settledNow.wait_until(lock, deadline, [this] { return settled; });
    return inTime ? outcome : lateCause;
}

}  // namespace zef
