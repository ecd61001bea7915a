// What became of the last try to reach each array address.
#ifndef ZEF_CLIENT_IPUTIL_PROBE_RECORD_H
#define ZEF_CLIENT_IPUTIL_PROBE_RECORD_H

#include "common/Mutex.h"
#include "log/FailureLog.h"
#include "log/LogClock.h"

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include <cstddef>
#include <cstdint>

namespace zef {

struct ProbeState {
    std::string array;     // IPv4 address
    std::string cause;     // why no local address reaches it; empty when one does
    uint32_t failures = 0;  // tries in a row that reached nothing
    std::chrono::system_clock::time_point lastTry;
    std::chrono::system_clock::time_point nextTry;  // the library's, 2 s later; of no meaning when reached
    bool reached = false;
};

// Keeps the states, and writes to the log when an address is not reached, why, and when it is again, as often as
// FailureLog says. Any thread.
class ProbeRecord {
public:
    static constexpr size_t kMostArrays = 1024;  // the one whose last try is longest ago is forgotten for a new one

    // The process's own, which IpUtil fills.
    static ProbeRecord &Instance();

    explicit ProbeRecord(const LogClock &logClock = {});

    ProbeRecord(const ProbeRecord &) = delete;
    ProbeRecord &operator=(const ProbeRecord &) = delete;

    void Reached(const std::string &array, uint16_t port);
    void NotReached(const std::string &array, uint16_t port, const std::string &cause);

    // Ordered by address, as texts.
    std::vector<ProbeState> States() const;

    // For an address that is configured no longer.
    void Forget(const std::string &array);

private:
    ProbeState &Touch(const std::string &array) ZEF_REQUIRES(mutex);

    const LogClock clock;
    FailureLog failures;

    mutable Mutex mutex;
    std::map<std::string, ProbeState> states ZEF_GUARDED_BY(mutex);
};

// Of the process's own record. Any thread.
std::vector<ProbeState> ProbeStates();
void ForgetProbe(const std::string &array);

}  // namespace zef

#endif
