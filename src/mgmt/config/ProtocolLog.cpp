#include "ProtocolLog.h"

namespace zef_config {

namespace {

constexpr uint64_t kReportIntervalJiffies = 150000;

}  // namespace

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
