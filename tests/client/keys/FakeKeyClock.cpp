#include "FakeKeyClock.h"

namespace zef {

void FakeKeyClock::WaitFor(std::unique_lock<std::mutex> &lock, std::condition_variable &wakeUp,
                           std::chrono::hours duration, const std::function<bool()> &ready)
{
    const int64_t deadline = elapsedHours + duration.count();
    {
        const std::lock_guard<std::mutex> guard(mutex);  // after the waiter's own mutex
        ++waits;
        latestDuration = duration;
        waiterMutex = lock.mutex();
        waiter = &wakeUp;
    }
    waitBegan.notify_all();
    wakeUp.wait(lock, [&] { return ready() || elapsedHours >= deadline; });
    const std::lock_guard<std::mutex> guard(mutex);
    waiterMutex = nullptr;
    waiter = nullptr;
}

void FakeKeyClock::Advance(std::chrono::hours duration)
{
    now += std::chrono::seconds(duration).count();
    elapsedHours += duration.count();
    std::mutex *toPass = nullptr;
    std::condition_variable *toWake = nullptr;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        toPass = waiterMutex;
        toWake = waiter;
    }
    if (toPass != nullptr) {
        const std::lock_guard<std::mutex> guard(*toPass);  // not between the waiter's look and its sleep
        toWake->notify_all();
    }
}

bool FakeKeyClock::AwaitWait(int n)
{
    std::unique_lock<std::mutex> lock(mutex);
    return waitBegan.wait_for(lock, std::chrono::seconds(30), [this, n] { return waits >= n; });
}

std::chrono::hours FakeKeyClock::LatestDuration()
{
    const std::lock_guard<std::mutex> guard(mutex);
    return latestDuration;
}

}  // namespace zef
