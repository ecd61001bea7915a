#include "app/Commands.h"

#include "app/LogArguments.h"
#include "app/RunCommand.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace zef {

namespace {

struct RunArguments {
    unsigned int connectSeconds = 3;
    unsigned int loginSeconds = 5;
    unsigned int probeSeconds = 1;
    RunOptions run;
    LogArguments log;
};

void AddSeconds(CLI::App &command, const char *name, unsigned int &seconds, const char *description)
{
    command.add_option(name, seconds, description)->check(CLI::Range(1, 3600))->capture_default_str();
}

void AddOptions(CLI::App &command, RunArguments &arguments)
{
    GatewayOptions &gateway = arguments.run.gateway;
    command.add_option("--port", gateway.arrayPort, "TCP port of the array's portals")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    command.add_option("--target", gateway.targetName, "iSCSI name of the target [default: the only one offered]");
    command.add_option("--initiator", gateway.initiatorName,
                       "iSCSI name of this client [default: made from its UUID]");
    AddSeconds(command, "--connect-timeout", arguments.connectSeconds, "Seconds for each TCP connection to the array");
    AddSeconds(command, "--login-timeout", arguments.loginSeconds, "Seconds for connection and login together");
    AddSeconds(command, "--probe-timeout", arguments.probeSeconds,
               "Seconds for finding addresses that reach the array");
    command.add_option("--sysfs", gateway.sysfsRoot, "Where Fibre Channel ports are looked for")
        ->capture_default_str();
    command.add_option("--socket", arguments.run.controlPath,
                       "Control socket for status and changes; none: no such socket")
        ->capture_default_str();
    arguments.log.AddTo(command);
}

ExitCode Run(RunArguments &arguments)
{
    arguments.log.Apply();
    arguments.run.gateway.connectDeadline = std::chrono::seconds(arguments.connectSeconds);
    arguments.run.gateway.loginDeadline = std::chrono::seconds(arguments.loginSeconds);
    arguments.run.probeDeadline = std::chrono::seconds(arguments.probeSeconds);
    return RunClient(arguments.run);
}

}  // namespace

void AddRunCommand(CLI::App &app, Action &action)
{
    const auto arguments = std::make_shared<RunArguments>();
    CLI::App *const run = app.add_subcommand("run", "Connect to the storage and serve until SIGINT or SIGTERM");
    AddOptions(*run, *arguments);
    run->callback([arguments, &action] { action = [arguments] { return Run(*arguments); }; });
}

}  // namespace zef
