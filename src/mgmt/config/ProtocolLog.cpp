#include "ProtocolLog.h"

namespace zef_config {

namespace {

constexpr uint64_t kBurstEndJiffies = 15000;
constexpr uint64_t kReportIntervalJiffies = 150000;
constexpr uint32_t kMaxPerBurst = 3;

}  // namespace

bool ProtocolThrottle::Admits(int level, const char *file, int line, const char *function)
{
    if (level > g_infra_log_lvl || yrlog_level_check(kProtocolLogModule, level) != 0) {
        return false;
    }

    const uint64_t now = yrax_get_jiffies();
    const bool burstGoesOn = static_cast<int64_t>(lastPrinted + kBurstEndJiffies - now) > 0;
    if (!burstGoesOn) {
        BeginBurst(now, level, file, line, function);
    } else if (printedInBurst >= kMaxPerBurst) {
        ++suppressed;
        return false;
    }
    lastPrinted = now;
    ++printedInBurst;
    return true;
}

void ProtocolThrottle::BeginBurst(uint64_t now, int level, const char *file, int line, const char *function)
{
    printedInBurst = 0;
    lastPrinted = now;
    if (suppressed == 0 || now < lastReport + kReportIntervalJiffies) {
        return;  // the count is carried on
    }
    lastReport = yrax_get_jiffies();
    const uint32_t count = suppressed;
    suppressed = 0;
    yrlog(kProtocolLogModule, level, file, line, function, 0, "print: %u messages suppressed.%s,line=%d.", count,
          function, line);
}

}  // namespace zef_config
