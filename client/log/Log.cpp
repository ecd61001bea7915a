#include "log/Log.h"

#include "common/NeverDestroyed.h"
#include "log/JournalStream.h"
#include "log/LogText.h"
#include "log/PlatformLog.h"

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/dist_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/sinks/systemd_sink.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include <unistd.h>

namespace zef {

namespace {

constexpr const char *kIdentifier = "zef_client";
// The journal keeps time, level and process of each entry by itself.
constexpr const char *kConsolePattern = "%Y-%m-%d %H:%M:%S.%e %^%-7l%$ %v";
constexpr const char *kJournalPattern = "%v";

constexpr std::pair<std::string_view, LogLevel> kLevelNames[] = {
    {"error", LogLevel::Error}, {"warn", LogLevel::Warn}, {"info", LogLevel::Info}, {"debug", LogLevel::Debug}};
constexpr std::pair<std::string_view, LogDestination> kDestinationNames[] = {{"auto", LogDestination::Automatic},
                                                                            {"console", LogDestination::Console},
                                                                            {"journal", LogDestination::Journal}};

template <class Value, size_t count>
std::optional<Value> ByName(const std::pair<std::string_view, Value> (&table)[count], std::string_view name)
{
    for (const auto &[known, value] : table) {
        if (known == name) {
            return value;
        }
    }
    return std::nullopt;
}

spdlog::level::level_enum SpdlogLevel(LogLevel level)
{
    switch (level) {
        case LogLevel::Error:
            return spdlog::level::err;
        case LogLevel::Warn:
            return spdlog::level::warn;
        case LogLevel::Info:
            return spdlog::level::info;
        default:
            return spdlog::level::debug;
    }
}

spdlog::sink_ptr MakeConsoleSink()
{
    auto sink = std::make_shared<spdlog::sinks::stderr_color_sink_mt>();
    sink->set_pattern(kConsolePattern);
    return sink;
}

spdlog::sink_ptr MakeJournalSink()
{
    auto sink = std::make_shared<spdlog::sinks::systemd_sink_mt>(kIdentifier, true);
    // No end of line: the journal would keep it as part of the text.
    sink->set_formatter(
        std::make_unique<spdlog::pattern_formatter>(kJournalPattern, spdlog::pattern_time_type::local, ""));
    return sink;
}

bool GoesToJournal(LogDestination destination)
{
    return destination == LogDestination::Journal ||
           (destination == LogDestination::Automatic && IsJournalStream(std::getenv("JOURNAL_STREAM"), STDERR_FILENO));
}

// One logger for the life of the process. Its sink can be exchanged while other threads write.
class Output {
public:
    Output() : sinks(std::make_shared<spdlog::sinks::dist_sink_mt>()), logger(kIdentifier, sinks)
    {
        sinks->add_sink(MakeConsoleSink());
        SetLevel(LogLevel::Info);
    }

    void Direct(const LogOptions &options)
    {
        sinks->set_sinks({GoesToJournal(options.destination) ? MakeJournalSink() : MakeConsoleSink()});
        SetLevel(options.level);
    }

    void SetLevel(LogLevel newLevel)
    {
        level = newLevel;
        logger.set_level(SpdlogLevel(newLevel));
    }

    LogLevel Level() const { return level; }

    bool Shows(LogLevel ofLine) const { return logger.should_log(SpdlogLevel(ofLine)); }

    void Write(LogLevel ofLine, spdlog::string_view_t line) { logger.log(SpdlogLevel(ofLine), line); }

private:
    std::shared_ptr<spdlog::sinks::dist_sink_mt> sinks;
    spdlog::logger logger;
    std::atomic<LogLevel> level;
};

// The workers of the library's task pool write until the library itself is destroyed, after the program's own objects.
Output &GetOutput()
{
    static NeverDestroyed<Output> output;
    return output.Get();
}

}  // namespace

void StartLog(const LogOptions &options)
{
    FlushLog();
    GetOutput().Direct(options);
    SetPlatformLogLevel(options.level);
}

void FlushLog()
{
    FlushPlatformLog();
}

LogLevel CurrentLogLevel()
{
    return GetOutput().Level();
}

void SetLogLevel(LogLevel level)
{
    FlushLog();
    GetOutput().SetLevel(level);
    SetPlatformLogLevel(level);
}

const char *LogLevelName(LogLevel level)
{
    for (const auto &[name, known] : kLevelNames) {
        if (known == level) {
            return name.data();
        }
    }
    return "unknown";
}

std::optional<LogLevel> LogLevelByName(std::string_view name)
{
    return ByName(kLevelNames, name);
}

std::optional<LogDestination> LogDestinationByName(std::string_view name)
{
    return ByName(kDestinationNames, name);
}

bool IsLogged(LogLevel level)
{
    return GetOutput().Shows(level);
}

void WriteLog(LogLevel level, const char *component, std::string_view text)
{
    if (IsLogged(level)) {
        GetOutput().Write(level, fmt::format("[{}] {}", component, PrintableLogText(text)));
    }
}

void FormatLog(LogLevel level, const char *component, fmt::string_view text, fmt::format_args args)
{
    if (IsLogged(level)) {
        WriteLog(level, component, fmt::vformat(text, args));
    }
}

}  // namespace zef
