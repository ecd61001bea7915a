// The client's log: one process-wide stream of lines, on standard error or in the systemd journal.
//
// Every function may be called from any thread and at any time, also before StartLog (standard error, level info) and
// while the process ends. A line is written as a whole. Its text loses trailing newlines, and control characters in it
// are shown escaped ("\n", "\x1b"): whatever a file or a peer sends, it can neither forge a line nor steer a terminal.
// Secrets are never handed to these functions.
#ifndef ZEF_CLIENT_LOG_LOG_H
#define ZEF_CLIENT_LOG_LOG_H

#include <fmt/format.h>

#include <optional>
#include <string_view>

namespace zef {

// From the most important to the least; a log of one level shows the levels before it too.
enum class LogLevel { Error, Warn, Info, Debug };

// Automatic: the journal when standard error is connected to it (a systemd service), else standard error.
enum class LogDestination { Automatic, Console, Journal };

struct LogOptions {
    LogLevel level = LogLevel::Info;
    LogDestination destination = LogDestination::Automatic;
};

// Directs the log from now on, and sets the threshold that the library reads (g_infra_log_lvl). To be called before
// the library runs: it reads that threshold without a lock.
void StartLog(const LogOptions &options);

// Messages that the library repeats are thinned unless the level is debug: this writes how many were left out since it
// was last told. Happens by itself when the process exits; earlier where somebody should see it earlier.
void FlushLog();

// The least important level that is shown.
LogLevel CurrentLogLevel();

// Changes what StartLog set, without the destination. To be called while no code of the library runs, such as under a
// TaskPause: it reads its threshold without a lock.
void SetLogLevel(LogLevel level);

// "error", "warn", "info" or "debug".
const char *LogLevelName(LogLevel level);

// The level named "error", "warn", "info" or "debug"; nothing for any other name.
std::optional<LogLevel> LogLevelByName(std::string_view name);

// The destination named "auto", "console" or "journal"; nothing for any other name.
std::optional<LogDestination> LogDestinationByName(std::string_view name);

// True when lines of this level are shown.
bool IsLogged(LogLevel level);

// Writes a line as it is. `component` is a short tag such as "gateway".
void WriteLog(LogLevel level, const char *component, std::string_view text);

// Formats a line in the fmt syntax, if the level is shown at all.
void FormatLog(LogLevel level, const char *component, fmt::string_view text, fmt::format_args args);

template <class... Args>
void LogError(const char *component, fmt::format_string<Args...> text, Args &&...args)
{
    FormatLog(LogLevel::Error, component, text, fmt::make_format_args(args...));
}

template <class... Args>
void LogWarn(const char *component, fmt::format_string<Args...> text, Args &&...args)
{
    FormatLog(LogLevel::Warn, component, text, fmt::make_format_args(args...));
}

template <class... Args>
void LogInfo(const char *component, fmt::format_string<Args...> text, Args &&...args)
{
    FormatLog(LogLevel::Info, component, text, fmt::make_format_args(args...));
}

template <class... Args>
void LogDebug(const char *component, fmt::format_string<Args...> text, Args &&...args)
{
    FormatLog(LogLevel::Debug, component, text, fmt::make_format_args(args...));
}

}  // namespace zef

#endif
