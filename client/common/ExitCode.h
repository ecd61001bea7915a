// The exit statuses of zef_client, the same for all of its commands.
#ifndef ZEF_CLIENT_COMMON_EXIT_CODE_H
#define ZEF_CLIENT_COMMON_EXIT_CODE_H

#include <array>

namespace zef {

enum class ExitCode : int {
    Done = 0,
    Failed = 1,         // anything that has no code of its own
    Usage = 2,          // wrong options or arguments
    ConfigInvalid = 3,  // the configuration file is refused
    Warnings = 4,       // check --strict: no error, but warnings
    NotRunning = 5,     // no client answers on the control socket
    NotPermitted = 6,   // the file system or the client refuses this user
    LinkDown = 7,       // status --check: at least one link is not up
    TimedOut = 8,       // no answer in time
    Credential = 9,     // keys or password cannot be used
};

struct ExitCodeEntry {
    ExitCode code;
    const char *name;     // stable, for scripts: "not-running"
    const char *meaning;  // for people
};

// All codes, ascending from 0 without a gap.
const std::array<ExitCodeEntry, 10> &ExitCodes();

// The entry of a code.
const ExitCodeEntry &Explain(ExitCode code);

constexpr int ToStatus(ExitCode code)
{
    return static_cast<int>(code);
}

}  // namespace zef

#endif
