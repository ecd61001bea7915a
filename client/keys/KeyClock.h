// The time that key renewal goes by.
#ifndef ZEF_CLIENT_KEYS_KEY_CLOCK_H
#define ZEF_CLIENT_KEYS_KEY_CLOCK_H

#include "common/Mutex.h"

#include <chrono>
#include <functional>

#include <cstdint>

namespace zef {

// Outlives whatever uses it. Called from any thread.
class KeyClock {
public:
    // Seconds since 1970 by the wall clock, which is what the creation times of keys are compared with.
    virtual int64_t NowSeconds() = 0;

    // Gives the held mutex up and waits until `ready` holds or the duration has passed, by a clock that nobody sets.
    // Looks at `ready`, under the mutex, at first and whenever `wakeUp` is notified. Returns with it held.
    virtual void WaitFor(Mutex &mutex, Condition &wakeUp, std::chrono::hours duration,
                         const std::function<bool()> &ready) ZEF_REQUIRES(mutex) = 0;

protected:
    KeyClock() = default;
    ~KeyClock() = default;
    KeyClock(const KeyClock &) = default;
    KeyClock &operator=(const KeyClock &) = default;
};

}  // namespace zef

#endif
