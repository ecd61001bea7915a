// A protocol message that is held back, beside the platform calls that its rule cannot do without. Other logs' messages
// that are not written stand beside it: a level that is off costs spdlog a comparison and glog a condition,
// LOG_EVERY_N a counter; none of them looks at a clock.
#include "CountingLog.h"

#include "ProtocolLog.h"
#include "platform/Log.h"

#include <benchmark/benchmark.h>
#include <glog/logging.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include <limits>
#include <memory>

#include <cstdint>

extern int result;  // for all that a compiler knows it may be anything
int result = -1;

namespace {

constexpr int kMessagesOfABurst = 3;

void Refuse()
{
    ZEF_PROTOCOL_LOG("PROTOCOL: not allowed, ret:%d.\n", result);
}

// What the rule asks the platform, each answer being needed.
uint64_t AskPlatform()
{
    const int level = nas_log_map_get(zef_config::kLogError);
    return level > g_infra_log_lvl || yrlog_level_check(zef_config::kProtocolLogModule, level) != 0
               ? 0
               : yrax_get_jiffies();
}

void Ours(benchmark::State &state)
{
    for (int i = 0; i < kMessagesOfABurst; ++i) {
        Refuse();
    }
    for (auto _ : state) {
        Refuse();
    }
    if (CountingLog::messages != kMessagesOfABurst) {
        state.SkipWithError("written, not held back");
    }
}

void BareCalls(benchmark::State &state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(AskPlatform());
    }
}

void Spdlog(benchmark::State &state)
{
    spdlog::logger logger("", std::make_shared<spdlog::sinks::null_sink_mt>());
    logger.set_level(spdlog::level::critical);
    for (auto _ : state) {
        logger.error("PROTOCOL: not allowed, ret:{}.\n", result);
    }
}

void Glog(benchmark::State &state)
{
    for (auto _ : state) {
        LOG_IF(ERROR, result == 0) << "PROTOCOL: not allowed, ret:" << result;
    }
}

void GlogEveryN(benchmark::State &state)
{
    for (auto _ : state) {
        LOG_EVERY_N(INFO, std::numeric_limits<int>::max()) << "PROTOCOL: not allowed, ret:" << result;
    }
}

BENCHMARK(Ours)->Name("held back/ours");
BENCHMARK(BareCalls)->Name("held back/bare calls");
BENCHMARK(Spdlog)->Name("held back/spdlog");
BENCHMARK(Glog)->Name("held back/glog LOG_IF");
BENCHMARK(GlogEveryN)->Name("held back/glog LOG_EVERY_N");

}  // namespace
