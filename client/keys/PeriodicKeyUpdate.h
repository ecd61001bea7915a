// The thread that looks again and again whether a key has become too old.
#ifndef ZEF_CLIENT_KEYS_PERIODIC_KEY_UPDATE_H
#define ZEF_CLIENT_KEYS_PERIODIC_KEY_UPDATE_H

#include "keys/KeyClock.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
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
    void CheckOnce(std::unique_lock<std::mutex> &lock);
    KeyAgeLimits Limits() const;
    std::chrono::hours Interval() const;

    KeyClock &clock;
    const std::function<void(const KeyAgeLimits &)> check;

    std::thread worker;  // used by the calling thread alone

    std::mutex mutex;
    std::condition_variable wakeUp;
    // guarded by mutex
    std::optional<Setting> root;
    std::optional<Setting> master;
    bool checkNow = false;
    bool stopping = false;
};

}  // namespace zef

#endif
