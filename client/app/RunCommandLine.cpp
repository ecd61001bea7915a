#include "app/Commands.h"

#include "app/Command.h"
#include "app/LogArguments.h"
#include "app/RunCommand.h"

#include <memory>

#include <cstdint>

namespace zef {

namespace {

struct RunArguments {
    unsigned int port = 3260;
    unsigned int connectSeconds = 3;
    unsigned int loginSeconds = 5;
    unsigned int probeSeconds = 1;
    RunOptions run;
    LogArguments log;
};

void AddOptions(const Command &command, RunArguments &arguments)
{
    GatewayOptions &gateway = arguments.run.gateway;
    command.Number("--port", arguments.port, 1, 65535, "TCP port of the array's portals");
    command.Option("--target", gateway.targetName, "iSCSI name of the target [default: the only one offered]");
    command.Option("--initiator", gateway.initiatorName, "iSCSI name of this client [default: made from its UUID]");
    command.Number("--connect-timeout", arguments.connectSeconds, 1, 3600,
                   "Seconds for each TCP connection to the array");
    command.Number("--login-timeout", arguments.loginSeconds, 1, 3600, "Seconds for connection and login together");
    command.Number("--probe-timeout", arguments.probeSeconds, 1, 3600,
                   "Seconds for finding addresses that reach the array");
    command.Option("--sysfs", gateway.sysfsRoot, "Where Fibre Channel ports are looked for");
    command.Option("--socket", arguments.run.controlPath,
                   "Control socket for status and changes; none: no such socket");
    arguments.log.AddTo(command);
}

ExitCode Run(RunArguments &arguments)
{
    arguments.log.Apply();
    arguments.run.gateway.arrayPort = static_cast<uint16_t>(arguments.port);
    arguments.run.gateway.connectDeadline = std::chrono::seconds(arguments.connectSeconds);
    arguments.run.gateway.loginDeadline = std::chrono::seconds(arguments.loginSeconds);
    arguments.run.probeDeadline = std::chrono::seconds(arguments.probeSeconds);
    return RunClient(arguments.run);
}

}  // namespace

void AddRunCommand(Command &root, Action &action)
{
    const auto arguments = std::make_shared<RunArguments>();
    const Command run = root.Add("run", "Connect to the storage and serve until SIGINT or SIGTERM");
    AddOptions(run, *arguments);
    run.OnParsed([arguments, &action] { action = [arguments] { return Run(*arguments); }; });
}

}  // namespace zef
