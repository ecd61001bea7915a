// Time that a test owns.
#ifndef ZEF_CLIENT_TESTS_KEYS_FAKE_KEY_CLOCK_H
#define ZEF_CLIENT_TESTS_KEYS_FAKE_KEY_CLOCK_H

#include "keys/KeyClock.h"

#include <atomic>

namespace zef {

// Stands still until it is told to advance. For one waiting thread.
class FakeKeyClock final : public KeyClock {
public:
    explicit FakeKeyClock(int64_t startSeconds) : now(startSeconds) {}

    int64_t NowSeconds() override { return now; }

    void WaitFor(Mutex &waiting, Condition &wakeUp, std::chrono::hours duration,
                 const std::function<bool()> &ready) override ZEF_REQUIRES(waiting);

    // Ends the wait of a thread whose duration has then passed.
    void Advance(std::chrono::hours duration);

    // Sets the wall clock; waiting goes on unimpressed.
    void SetWallClock(int64_t seconds) { now = seconds; }

    // Returns when a thread has begun to wait for the n-th time (1 for the first); false when that has not happened
    // within half a minute.
    bool AwaitWait(int n);

    // How long the latest wait was meant to last at most.
    std::chrono::hours LatestDuration();

private:
    std::atomic<int64_t> now;
    std::atomic<int64_t> elapsedHours{0};

    Mutex mutex;
    Condition waitBegan;
    int waits ZEF_GUARDED_BY(mutex) = 0;
    std::chrono::hours latestDuration ZEF_GUARDED_BY(mutex){0};
    Mutex *waiterMutex ZEF_GUARDED_BY(mutex) = nullptr;
    Condition *waiter ZEF_GUARDED_BY(mutex) = nullptr;
};

}  // namespace zef

#endif
