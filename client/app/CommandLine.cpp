#include "app/CommandLine.h"

#include "app/Commands.h"

#include <CLI/CLI.hpp>

#include <string>

#ifndef ZEF_VERSION
#error "ZEF_VERSION comes from the build"
#endif

namespace zef {

namespace {

std::string ExitCodesText()
{
    std::string text = "Exit status:";
    for (const ExitCodeEntry &entry : ExitCodes()) {
        text += " " + std::to_string(ToStatus(entry.code)) + " " + entry.meaning + ",";
    }
    text.back() = '.';
    return text;
}

}  // namespace

int RunCommandLine(int argc, char **argv)
{
    Action action;
    CLI::App app("Client of a block-storage array: logs in over every address pair and keeps the links up",
                 "zef_client");
    app.set_version_flag("--version", "zef_client " ZEF_VERSION);
    app.set_help_all_flag("--help-all", "Print the help of all commands and exit");
    app.footer(ExitCodesText());
    app.require_subcommand(1);
    AddRunCommand(app, action);
    AddCheckCommands(app, action);
    AddStatusCommands(app, action);
    AddChangeCommands(app, action);
    AddKeyCommands(app, action);
    AddBaseConfigCommand(app, action);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return ToStatus(app.exit(error) == 0 ? ExitCode::Done : ExitCode::Usage);
    }
    return ToStatus(action());
}

}  // namespace zef
