#include "keys/PeriodicKeyUpdate.h"

#include <algorithm>
#include <utility>

namespace zef {

namespace {

constexpr int64_t kSecondsPerDay = 24 * 60 * 60;
// Keeps the sums of the waiting below every limit of the clocks.
constexpr std::chrono::hours kLongestInterval(365 * 24);

}  // namespace

PeriodicKeyUpdate::PeriodicKeyUpdate(KeyClock &keyClock, std::function<void(const KeyAgeLimits &)> checkKeys)
    : clock(keyClock), check(std::move(checkKeys))
{
}

PeriodicKeyUpdate::~PeriodicKeyUpdate()
{
    Stop();
}

void PeriodicKeyUpdate::Schedule(Kind kind, uint32_t maxAgeDays, uint32_t checkHours)
{
    const std::optional<Setting> setting = MakeSetting(maxAgeDays, checkHours);
    {
        const MutexLock lock(mutex);
        (kind == Kind::Root ? root : master) = setting;
        checkNow = checkNow || setting.has_value();
    }
    if (setting.has_value() && !worker.joinable()) {
        worker = std::thread(&PeriodicKeyUpdate::Run, this);
    }
    wakeUp.NotifyOne();
}

void PeriodicKeyUpdate::Stop()
{
    {
        const MutexLock lock(mutex);
        stopping = true;
    }
    wakeUp.NotifyOne();
    if (worker.joinable()) {
        worker.join();
    }
    const MutexLock lock(mutex);
    root.reset();
    master.reset();
    checkNow = false;
    stopping = false;
}

std::optional<PeriodicKeyUpdate::Setting> PeriodicKeyUpdate::MakeSetting(uint32_t maxAgeDays, uint32_t checkHours)
{
    if (maxAgeDays == 0 || checkHours == 0) {
        return std::nullopt;
    }
    return Setting{maxAgeDays * kSecondsPerDay, std::chrono::hours(checkHours)};
}

// Checks without the lock, so that a schedule or a stop never waits for the disk longer than it has to.
void PeriodicKeyUpdate::Run()
{
    MutexLock lock(mutex);
    while (!stopping) {
        checkNow = false;
        const KeyAgeLimits limits = Limits();
        if (limits.root.has_value() || limits.master.has_value()) {
            lock.Unlock();
            check(limits);
            lock.Lock();
        }
        clock.WaitFor(mutex, wakeUp, Interval(), [this]() ZEF_REQUIRES(mutex) { return checkNow || stopping; });
    }
}

KeyAgeLimits PeriodicKeyUpdate::Limits() const
{
    KeyAgeLimits limits;
    if (root.has_value()) {
        limits.root = root->maxAgeSeconds;
    }
    if (master.has_value()) {
        limits.master = master->maxAgeSeconds;
    }
    return limits;
}

std::chrono::hours PeriodicKeyUpdate::Interval() const
{
    std::chrono::hours shortest = kLongestInterval;
    for (const std::optional<Setting> &setting : {root, master}) {
        if (setting.has_value()) {
            shortest = std::min(shortest, setting->interval);
        }
    }
    return shortest;
}

}  // namespace zef
