#include "app/LogArguments.h"

#include "log/Log.h"

#include <CLI/CLI.hpp>

namespace zef {

void LogArguments::AddTo(CLI::App &command)
{
    command.add_option("--log-level", level, "Least important messages to show: error, warn, info or debug")
        ->check(CLI::IsMember({"error", "warn", "info", "debug"}))
        ->capture_default_str();
    command.add_option("--log-to", destination,
                       "Where messages go: console (standard error), journal, or auto (the journal under systemd)")
        ->check(CLI::IsMember({"auto", "console", "journal"}))
        ->capture_default_str();
}

void LogArguments::Apply() const
{
    LogOptions options;
    options.level = LogLevelByName(level).value();
    options.destination = LogDestinationByName(destination).value();
    StartLog(options);
}

}  // namespace zef
