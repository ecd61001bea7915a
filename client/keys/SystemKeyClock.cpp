#include "keys/SystemKeyClock.h"

#include <ctime>

namespace zef {

int64_t SystemKeyClock::NowSeconds()
{
    return std::time(nullptr);
}

void SystemKeyClock::WaitFor(Mutex &mutex, Condition &wakeUp, std::chrono::hours duration,
                             const std::function<bool()> &ready)
{
    const auto until = std::chrono::steady_clock::now() + duration;
    while (!ready() && wakeUp.WaitUntil(mutex, until)) {
    }
}

}  // namespace zef
