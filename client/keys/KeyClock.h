// The time that key renewal goes by.
#ifndef ZEF_CLIENT_KEYS_KEY_CLOCK_H
#define ZEF_CLIENT_KEYS_KEY_CLOCK_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

#include <cstdint>

namespace zef {

// Outlives whatever uses it. Called from any thread.
class KeyClock {
public:
    // Seconds since 1970 by the wall clock, which is what the creation times of keys are compared with.
    virtual int64_t NowSeconds() = 0;

    // Gives the locked `lock` up and waits until `ready` holds or the duration has passed, by a clock that nobody sets.
    // Looks at `ready`, under the lock, at first and whenever `wakeUp` is notified. Returns with the lock held.
    virtual void WaitFor(std::unique_lock<std::mutex> &lock, std::condition_variable &wakeUp,
                         std::chrono::hours duration, const std::function<bool()> &ready) = 0;

protected:
    KeyClock() = default;
    ~KeyClock() = default;
    KeyClock(const KeyClock &) = default;
    KeyClock &operator=(const KeyClock &) = default;
};

}  // namespace zef

#endif
