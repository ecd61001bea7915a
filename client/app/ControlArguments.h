// How a command reaches the running client, and what it does with the answer.
#ifndef ZEF_CLIENT_APP_CONTROL_ARGUMENTS_H
#define ZEF_CLIENT_APP_CONTROL_ARGUMENTS_H

#include "common/ExitCode.h"
#include "report/Report.h"

#include <nlohmann/json_fwd.hpp>

#include <functional>
#include <string>

namespace zef {

class Command;

class ControlArguments {
public:
    // Adds --socket, --timeout and --output to a command; the object must live until the command is done.
    // `formats`: the outputs that the command knows, the default first.
    void AddTo(const Command &command, const std::vector<std::string> &formats);

    // Sends a request and returns the result. Throws ControlError.
    nlohmann::json Ask(nlohmann::json request) const;

    // Does the work. A ControlError of it is printed, on standard error or as JSON on standard output, and gives its
    // exit code.
    ExitCode Carry(const std::function<ExitCode()> &work) const;

    bool IsJson() const { return output == "json"; }

    // "text" counts as a table.
    ReportFormat Format() const;

private:
    std::string socket;
    unsigned int timeoutSeconds = 30;
    std::string output;
};

}  // namespace zef

#endif
