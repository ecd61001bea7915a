#include "app/Commands.h"

#include "check/CheckCommand.h"
#include "check/KeysAtHand.h"
#include "check/ShowConfig.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <string>

namespace zef {

namespace {

struct FileArguments {
    std::string path = kConfigFile;
    std::string output = "text";
    bool strict = false;

    OutputFormat Format() const { return output == "json" ? OutputFormat::Json : OutputFormat::Text; }
};

void AddFileAndOutput(CLI::App &command, FileArguments &arguments)
{
    command.add_option("FILE", arguments.path, "Configuration file")->capture_default_str();
    command.add_option("--output", arguments.output, "How to print the result")
        ->check(CLI::IsMember({"text", "json"}))
        ->capture_default_str();
}

ExitCode Check(const FileArguments &arguments)
{
    CheckOptions options;
    options.path = arguments.path;
    options.keys = KeysAtHand();
    options.strict = arguments.strict;
    options.format = arguments.Format();
    return CheckCommand(options, std::cout, std::cerr);
}

void AddCheck(CLI::App &app, Action &action)
{
    const auto arguments = std::make_shared<FileArguments>();
    CLI::App *const command =
        app.add_subcommand("check", "Say what is wrong with a configuration file; changes and connects nothing");
    AddFileAndOutput(*command, *arguments);
    command->add_flag("--strict", arguments->strict, "Let warnings fail, with exit status 4");
    command->callback([arguments, &action] { action = [arguments] { return Check(*arguments); }; });
}

void AddShowConfig(CLI::App &app, Action &action)
{
    CLI::App *const show = app.add_subcommand("show", "Show what a file means to the client");
    show->require_subcommand(1);
    const auto arguments = std::make_shared<FileArguments>();
    CLI::App *const config =
        show->add_subcommand("config", "Show the configuration that a start would take, secrets as ???");
    AddFileAndOutput(*config, *arguments);
    config->callback([arguments, &action] {
        action = [arguments] { return ShowConfig(arguments->path, arguments->Format(), std::cout, std::cerr, KeysAtHand()); };
    });
}

}  // namespace

void AddCheckCommands(CLI::App &app, Action &action)
{
    AddCheck(app, action);
    AddShowConfig(app, action);
}

}  // namespace zef
