// Clocks for the log that stand still until the test moves them.
#ifndef ZEF_TESTS_CLIENT_LOG_FAKE_LOG_CLOCK_H
#define ZEF_TESTS_CLIENT_LOG_FAKE_LOG_CLOCK_H

#include "log/LogClock.h"

#include <chrono>

#include <cstdlib>
#include <ctime>

namespace zef {

// Begins at 2026-03-01 14:03:22, and makes that the local time too. Must outlive what uses it.
class FakeLogClock {
public:
    FakeLogClock()
    {
        setenv("TZ", "UTC", 1);
        tzset();
    }

    LogClock Clock()
    {
        return {[this] { return std::chrono::steady_clock::time_point(std::chrono::hours(1) + passed); },
                [this] { return Wall(); }};
    }

    std::chrono::system_clock::time_point Wall() const
    {
        return std::chrono::system_clock::from_time_t(1772373802) + passed;
    }

    void Advance(std::chrono::milliseconds time) { passed += time; }

private:
    std::chrono::milliseconds passed{0};
};

}  // namespace zef

#endif
