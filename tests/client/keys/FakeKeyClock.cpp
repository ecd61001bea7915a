#include "FakeKeyClock.h"

namespace zef {

void FakeKeyClock::WaitFor(Mutex &waiting, Condition &wakeUp, std::chrono::hours duration,
                           const std::function<bool()> &ready)
{
    const int64_t deadline = elapsedHours + duration.count();
    {
        const MutexLock guard(mutex);  // after the waiter's own mutex
        ++waits;
        latestDuration = duration;
        waiterMutex = &waiting;
        waiter = &wakeUp;
    }
    waitBegan.NotifyAll();
    while (!ready() && elapsedHours < deadline) {
        wakeUp.Wait(waiting);
    }
    const MutexLock guard(mutex);
    waiterMutex = nullptr;
    waiter = nullptr;
}

void FakeKeyClock::Advance(std::chrono::hours duration)
{
    now += std::chrono::seconds(duration).count();
    elapsedHours += duration.count();
    Mutex *toPass = nullptr;
    Condition *toWake = nullptr;
    {
        const MutexLock guard(mutex);
        toPass = waiterMutex;
        toWake = waiter;
    }
    if (toPass != nullptr) {
        const MutexLock guard(*toPass);  // not between the waiter's look and its sleep
        toWake->NotifyAll();
    }
}

bool FakeKeyClock::AwaitWait(int n)
{
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    const MutexLock lock(mutex);
    while (waits < n && waitBegan.WaitUntil(mutex, until)) {
    }
    return waits >= n;
}

std::chrono::hours FakeKeyClock::LatestDuration()
{
    const MutexLock guard(mutex);
    return latestDuration;
}

}  // namespace zef
