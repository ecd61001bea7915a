// The clocks of whatever in the log depends on time.
#ifndef ZEF_CLIENT_LOG_LOG_CLOCK_H
#define ZEF_CLIENT_LOG_LOG_CLOCK_H

#include <chrono>
#include <functional>

namespace zef {

// The system's clocks, unless a test puts its own in their place. Both functions may be called from any thread.
struct LogClock {
    std::function<std::chrono::steady_clock::time_point()> steady = std::chrono::steady_clock::now;  // for intervals
    std::function<std::chrono::system_clock::time_point()> wall = std::chrono::system_clock::now;    // shown to people
};

}  // namespace zef

#endif
