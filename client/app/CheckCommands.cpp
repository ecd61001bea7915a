#include "app/Commands.h"

#include "app/Command.h"
#include "check/CheckCommand.h"
#include "check/KeysAtHand.h"
#include "check/ShowConfig.h"

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

void AddFileAndOutput(const Command &command, FileArguments &arguments)
{
    command.OptionalArgument("FILE", arguments.path, "Configuration file");
    command.Choice("--output", arguments.output, {"text", "json"}, "How to print the result");
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

void AddCheck(Command &root, Action &action)
{
    const auto arguments = std::make_shared<FileArguments>();
    const Command command =
        root.Add("check", "Say what is wrong with a configuration file; changes and connects nothing");
    AddFileAndOutput(command, *arguments);
    command.Flag("--strict", arguments->strict, "Let warnings fail, with exit status 4");
    command.OnParsed([arguments, &action] { action = [arguments] { return Check(*arguments); }; });
}

void AddShowConfig(Command &root, Action &action)
{
    const Command show = root.Add("show", "Show what a file means to the client");
    show.RequireOneBelow();
    const auto arguments = std::make_shared<FileArguments>();
    const Command config = show.Add("config", "Show the configuration that a start would take, secrets as ???");
    AddFileAndOutput(config, *arguments);
    config.OnParsed([arguments, &action] {
        action = [arguments] {
            return ShowConfig(arguments->path, arguments->Format(), std::cout, std::cerr, KeysAtHand());
        };
    });
}

}  // namespace

void AddCheckCommands(Command &root, Action &action)
{
    AddCheck(root, action);
    AddShowConfig(root, action);
}

}  // namespace zef
