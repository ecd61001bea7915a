#include "keys/SystemKeyClock.h"

#include <ctime>

namespace zef {

int64_t SystemKeyClock::NowSeconds()
{
    return std::time(nullptr);
}

void SystemKeyClock::WaitFor(std::unique_lock<std::mutex> &lock, std::condition_variable &wakeUp,
                             std::chrono::hours duration, const std::function<bool()> &ready)
{
    (void)wakeUp.wait_for(lock, duration, ready);
}

}  // namespace zef
