#include "app/Command.h"

#include <CLI/CLI.hpp>

#include <iostream>

#ifndef ZEF_VERSION
#error "ZEF_VERSION comes from the build"
#endif

namespace zef {

Command Command::Add(const char *name, const char *description) const
{
    return Command(*app->add_subcommand(name, description));
}

void Command::RequireOneBelow() const
{
    app->require_subcommand(1);
}

void Command::Flag(const char *name, bool &value, const char *description) const
{
    app->add_flag(name, value, description);
}

void Command::Option(const char *name, std::string &value, const char *description) const
{
    CLI::Option *const option = app->add_option(name, value, description);
    if (!value.empty()) {
        option->capture_default_str();
    }
}

void Command::RequiredOption(const char *name, std::string &value, const char *description) const
{
    app->add_option(name, value, description)->required();
}

void Command::Options(const char *name, std::vector<std::string> &values, const char *description) const
{
    app->add_option(name, values, description)->allow_extra_args(false);  // one value each time it is given
}

void Command::Choice(const char *name, std::string &value, const std::vector<std::string> &choices,
                     const char *description) const
{
    app->add_option(name, value, description)->check(CLI::IsMember(choices))->capture_default_str();
}

void Command::Number(const char *name, unsigned int &value, unsigned int least, unsigned int most,
                     const char *description) const
{
    app->add_option(name, value, description)->check(CLI::Range(least, most))->capture_default_str();
}

void Command::Argument(const char *name, std::string &value, const char *description) const
{
    app->add_option(name, value, description)->required();
}

void Command::OptionalArgument(const char *name, std::string &value, const char *description) const
{
    app->add_option(name, value, description)->capture_default_str();
}

void Command::ArgumentChoice(const char *name, std::string &value, const std::vector<std::string> &choices,
                             const char *description) const
{
    app->add_option(name, value, description)->required()->check(CLI::IsMember(choices));
}

void Command::OptionalArgumentChoice(const char *name, std::string &value, const std::vector<std::string> &choices,
                                     const char *description) const
{
    app->add_option(name, value, description)->check(CLI::IsMember(choices));
}

void Command::Arguments(const char *name, std::vector<std::string> &values, const char *description) const
{
    app->add_option(name, values, description)->required();
}

void Command::OnParsed(const std::function<void()> &action) const
{
    app->callback(action);
}

ParseResult ParseCommandLine(int argc, char **argv, const std::function<void(Command &)> &addCommands,
                             const std::string &footer)
{
    CLI::App app("Client of a block-storage array: logs in over every address pair and keeps the links up",
                 "zef_client");
    app.set_version_flag("--version", "zef_client " ZEF_VERSION);
    app.set_help_all_flag("--help-all", "Print the help of all commands and exit");
    app.footer(footer);
    Command root(app);
    root.RequireOneBelow();
    addCommands(root);
    try {
        app.parse(argc, argv);
        return ParseResult::Command;
    } catch (const CLI::RequiredError &error) {
        if (argc > 1 && argv[1][0] != '-' && app.get_subcommands().empty()) {
            std::cerr << "zef_client: there is no command \"" << argv[1] << "\"; zef_client --help lists them\n";
            return ParseResult::Wrong;
        }
        app.exit(error);
        return ParseResult::Wrong;
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? ParseResult::Help : ParseResult::Wrong;
    }
}

}  // namespace zef
