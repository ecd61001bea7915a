#include "app/LogArguments.h"

#include "app/Command.h"
#include "log/Log.h"

namespace zef {

void LogArguments::AddTo(const Command &command)
{
    command.Choice("--log-level", level, {"error", "warn", "info", "debug"},
                   "Least important messages to show: error, warn, info or debug");
    command.Choice("--log-to", destination, {"auto", "console", "journal"},
                   "Where messages go: console (standard error), journal, or auto (the journal under systemd)");
}

void LogArguments::Apply() const
{
    LogOptions options;
    options.level = LogLevelByName(level).value();
    options.destination = LogDestinationByName(destination).value();
    StartLog(options);
}

}  // namespace zef
