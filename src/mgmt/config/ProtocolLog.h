// The protocol log: refusals of management requests, thinned so that a client that repeats itself cannot flood the log.
#ifndef ZEF_CONFIG_PROTOCOL_LOG_H
#define ZEF_CONFIG_PROTOCOL_LOG_H

#include "OrdinaryLog.h"
#include "platform/Log.h"

#include <cstdint>

namespace zef_config {

constexpr int kProtocolLogModule = 666;

// Throttle of one call site. A site prints at most three messages per burst; a burst ends 15000 jiffies after its last
// printed message; how many were left out is reported in front of a new burst, at most once in 150000 jiffies.
// Without a lock: callers of what refuses requests take turns, and a race costs no more than a miscounted message.
class ProtocolThrottle {
public:
    // Whether to print the message at hand. Prints the report of suppressed messages first when one is due. Inline, so
    // that a message that is held back costs hardly more than the platform's answers.
    bool Admits(int level, const char *file, int line, const char *function)
    {
        if (level > g_infra_log_lvl || yrlog_level_check(kProtocolLogModule, level) != 0) {
            return false;
        }
        const uint64_t now = yrax_get_jiffies();
        const bool burstGoesOn = static_cast<int64_t>(lastPrinted + kBurstEndJiffies - now) > 0;
        if (burstGoesOn && printedInBurst >= kMaxPerBurst) {
            ++suppressed;
            return false;
        }
        if (!burstGoesOn) {
            BeginBurst(now, level, file, line, function);
        }
        lastPrinted = now;
        ++printedInBurst;
        return true;
    }

private:
    static constexpr uint64_t kBurstEndJiffies = 15000;
    static constexpr uint32_t kMaxPerBurst = 3;

    void BeginBurst(uint64_t now, int level, const char *file, int line, const char *function);

    uint64_t lastPrinted = 0;
    uint32_t printedInBurst = 0;
    uint32_t suppressed = 0;
    uint64_t lastReport = 0;
};

}  // namespace zef_config

// Writes one message at the error level: format, arguments. Every place where it stands has a throttle of its own.
#define ZEF_PROTOCOL_LOG(...)                                                                                      \
    do {                                                                                                           \
        static zef_config::ProtocolThrottle protocolThrottle;                                                      \
        const int protocolLevel = nas_log_map_get(zef_config::kLogError);                                          \
        if (protocolThrottle.Admits(protocolLevel, __FILE__, __LINE__, static_cast<const char *>(__func__))) {     \
            yrlog(zef_config::kProtocolLogModule, protocolLevel, __FILE__, __LINE__,                               \
                  static_cast<const char *>(__func__), 0, __VA_ARGS__);                                            \
        }                                                                                                          \
    } while (false)

#endif
