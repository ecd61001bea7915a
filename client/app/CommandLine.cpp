#include "app/CommandLine.h"

#include "app/Command.h"
#include "app/Commands.h"

#include <exception>
#include <iostream>
#include <string>

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

// Output that cannot be written is no success.
ExitCode CarryOut(const Action &action)
{
    try {
        const ExitCode code = action();
        if (!std::cout.flush() && code == ExitCode::Done) {
            std::cerr << "zef_client: the output cannot be written\n";
            return ExitCode::Failed;
        }
        return code;
    } catch (const std::exception &error) {
        std::cerr << "zef_client: " << error.what() << '\n';
        return ExitCode::Failed;
    }
}

}  // namespace

int RunCommandLine(int argc, char **argv)
{
    Action action;
    const auto addCommands = [&action](Command &root) {
        AddRunCommand(root, action);
        AddCheckCommands(root, action);
        AddStatusCommands(root, action);
        AddChangeCommands(root, action);
        AddKeyCommands(root, action);
        AddBaseConfigCommand(root, action);
    };
    switch (ParseCommandLine(argc, argv, addCommands, ExitCodesText())) {
    case ParseResult::Command:
        return ToStatus(CarryOut(action));
    case ParseResult::Help:
        return ToStatus(ExitCode::Done);
    default:
        return ToStatus(ExitCode::Usage);
    }
}

}  // namespace zef
