// What the control socket's two sides throw, and what a request ends with that cannot be carried out.
#ifndef ZEF_CLIENT_CONTROL_CONTROL_ERROR_H
#define ZEF_CLIENT_CONTROL_CONTROL_ERROR_H

#include "common/ExitCode.h"

#include <stdexcept>
#include <string>

namespace zef {

// The text is made for the operator and travels over the socket: it holds nothing of a request but its operation.
class ControlError : public std::runtime_error {
public:
    ControlError(ExitCode exitCode, const std::string &message) : std::runtime_error(message), code(exitCode) {}

    // Never ExitCode::Done.
    ExitCode GetCode() const { return code; }

private:
    ExitCode code;
};

}  // namespace zef

#endif
