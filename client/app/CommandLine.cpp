#include "app/CommandLine.h"

#include "app/RunCommand.h"
#include "baseconfig/SharedBaseConfig.h"
#include "keys/KeyCommands.h"
#include "log/Log.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <string>

#include <unistd.h>

#ifndef ZEF_VERSION
#error "ZEF_VERSION comes from the build"
#endif

namespace zef {

namespace {

// What was given; names of levels and destinations are checked while parsing.
struct Arguments {
    std::string logLevel = "info";
    std::string logDestination = "auto";
    unsigned int connectSeconds = 3;
    unsigned int loginSeconds = 5;
    unsigned int probeSeconds = 1;
    bool force = false;
    RunOptions run;
};

void AddLogOptions(CLI::App &app, Arguments &arguments)
{
    app.add_option("--log-level", arguments.logLevel, "Least important messages to show: error, warn, info or debug")
        ->check(CLI::IsMember({"error", "warn", "info", "debug"}))
        ->capture_default_str();
    app.add_option("--log-to", arguments.logDestination,
                   "Where messages go: console (standard error), journal, or auto (the journal under systemd)")
        ->check(CLI::IsMember({"auto", "console", "journal"}))
        ->capture_default_str();
}

CLI::App *AddRun(CLI::App &app, Arguments &arguments)
{
    GatewayOptions &gateway = arguments.run.gateway;
    CLI::App *const run = app.add_subcommand("run", "Connect to the storage and serve until SIGINT or SIGTERM");
    run->add_option("--port", gateway.arrayPort, "TCP port of the array's portals")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    run->add_option("--target", gateway.targetName, "iSCSI name of the target [default: the only one offered]");
    run->add_option("--initiator", gateway.initiatorName, "iSCSI name of this client [default: made from its UUID]");
    run->add_option("--connect-timeout", arguments.connectSeconds, "Seconds for each TCP connection to the array")
        ->check(CLI::Range(1, 3600))
        ->capture_default_str();
    run->add_option("--login-timeout", arguments.loginSeconds, "Seconds for connection and login together")
        ->check(CLI::Range(1, 3600))
        ->capture_default_str();
    run->add_option("--probe-timeout", arguments.probeSeconds, "Seconds for finding addresses that reach the array")
        ->check(CLI::Range(1, 3600))
        ->capture_default_str();
    run->add_option("--sysfs", gateway.sysfsRoot, "Where Fibre Channel ports are looked for")->capture_default_str();
    AddLogOptions(*run, arguments);
    return run;
}

CLI::App *AddKeysInit(CLI::App &app, Arguments &arguments)
{
    CLI::App *const keys = app.add_subcommand("keys", "The keys that passwords are encrypted with");
    keys->require_subcommand(1);
    CLI::App *const init = keys->add_subcommand("init", "Make the two key files");
    init->add_flag("--force", arguments.force, "Replace keys that are there: passwords encrypted with them are lost");
    AddLogOptions(*init, arguments);
    return init;
}

CLI::App *AddPasswordEncrypt(CLI::App &app, Arguments &arguments)
{
    CLI::App *const password = app.add_subcommand("password", "The array's password");
    password->require_subcommand(1);
    CLI::App *const encrypt = password->add_subcommand(
        "encrypt", "Encrypt a password, typed without echo or from standard input, for the configuration file");
    AddLogOptions(*encrypt, arguments);
    return encrypt;
}

CLI::App *AddBaseConfig(CLI::App &app, Arguments &arguments)
{
    CLI::App *const baseConfig =
        app.add_subcommand("base-config", "Print the shared base configuration that a client has published");
    AddLogOptions(*baseConfig, arguments);
    return baseConfig;
}

void ApplyLogOptions(const Arguments &arguments)
{
    LogOptions options;
    options.level = LogLevelByName(arguments.logLevel).value();
    options.destination = LogDestinationByName(arguments.logDestination).value();
    StartLog(options);
}

int Run(const Arguments &arguments)
{
    RunOptions options = arguments.run;
    options.gateway.connectDeadline = std::chrono::seconds(arguments.connectSeconds);
    options.gateway.loginDeadline = std::chrono::seconds(arguments.loginSeconds);
    options.probeDeadline = std::chrono::seconds(arguments.probeSeconds);
    return RunClient(options);
}

}  // namespace

int RunCommandLine(int argc, char **argv)
{
    Arguments arguments;
    CLI::App app("Client of a block-storage array: logs in over every address pair and keeps the links up",
                 "zef_client");
    app.set_version_flag("--version", "zef_client " ZEF_VERSION);
    app.require_subcommand(1);
    const CLI::App *const run = AddRun(app, arguments);
    const CLI::App *const keysInit = AddKeysInit(app, arguments);
    const CLI::App *const passwordEncrypt = AddPasswordEncrypt(app, arguments);
    const CLI::App *const baseConfig = AddBaseConfig(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? kExitDone : kExitUsage;
    }

    ApplyLogOptions(arguments);
    if (run->parsed()) {
        return Run(arguments);
    }
    if (keysInit->parsed()) {
        return KeysInit(kPrimaryKeyFile, kStandbyKeyFile, arguments.force, std::cout, std::cerr);
    }
    if (passwordEncrypt->parsed()) {
        return PasswordEncrypt(kPrimaryKeyFile, kStandbyKeyFile, STDIN_FILENO, std::cout, std::cerr);
    }
    return baseConfig->parsed() ? PrintSharedItems(std::cout, std::cerr) : kExitUsage;
}

}  // namespace zef
