// The thread that looks again and again whether a key has become too old.
#ifndef ZEF_CLIENT_KEYS_PERIODIC_KEY_UPDATE_H
#define ZEF_CLIENT_KEYS_PERIODIC_KEY_UPDATE_H

#include "common/Mutex.h"
#include "keys/KeyClock.h"

#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include <cstdint>

namespace zef {

// Oldest ages that are put up with, in seconds; nothing: any age.
struct KeyAgeLimits {
    std::optional<int64_t> root;
    std::optional<int64_t> master;
};

// One thread for both kinds of key. It runs from the first schedule that asks for checks until Stop. The methods are
// called from one thread at a time.
class PeriodicKeyUpdate {
public:
    enum class Kind { Root, Master };

    // `check` is called on the thread, once at a time; it throws nothing.
    PeriodicKeyUpdate(KeyClock &clock, std::function<void(const KeyAgeLimits &)> check);

    ~PeriodicKeyUpdate();

    PeriodicKeyUpdate(const PeriodicKeyUpdate &) = delete;
    PeriodicKeyUpdate &operator=(const PeriodicKeyUpdate &) = delete;

    // Checks at once, and then every so many hours (the shorter of both kinds' intervals), whether the key is older
    // than so many days. 0 of either: this kind is not checked (any more). Throws std::system_error when there is no
    // thread to be had.
    void Schedule(Kind kind, uint32_t maxAgeDays, uint32_t checkHours);

    // Ends the thread, after a check that is under way, and forgets the schedules. Harmless when nothing runs.
    void Stop();

private:
    struct Setting {
        int64_t maxAgeSeconds;
        std::chrono::hours interval;
    };

    static std::optional<Setting> MakeSetting(uint32_t maxAgeDays, uint32_t checkHours);

    void Run();
    KeyAgeLimits Limits() const ZEF_REQUIRES(mutex);
    std::chrono::hours Interval() const ZEF_REQUIRES(mutex);

    KeyClock &clock;
    const std::function<void(const KeyAgeLimits &)> check;

    std::thread worker;  // used by the calling thread alone

    Mutex mutex;
    Condition wakeUp;
    std::optional<Setting> root ZEF_GUARDED_BY(mutex);
    std::optional<Setting> master ZEF_GUARDED_BY(mutex);
    bool checkNow ZEF_GUARDED_BY(mutex) = false;
    bool stopping ZEF_GUARDED_BY(mutex) = false;
};

}  // namespace zef

#endif
