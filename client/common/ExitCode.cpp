#include "common/ExitCode.h"

#include <cstddef>

namespace zef {

const std::array<ExitCodeEntry, 10> &ExitCodes()
{
    static constexpr std::array<ExitCodeEntry, 10> codes = {{
        {ExitCode::Done, "done", "done"},
        {ExitCode::Failed, "failed", "failed"},
        {ExitCode::Usage, "usage", "wrong usage"},
        {ExitCode::ConfigInvalid, "config-invalid", "configuration invalid"},
        {ExitCode::Warnings, "warnings", "warnings under --strict"},
        {ExitCode::NotRunning, "not-running", "client not running"},
        {ExitCode::NotPermitted, "not-permitted", "not permitted"},
        {ExitCode::LinkDown, "link-down", "a link is down (status --check)"},
        {ExitCode::TimedOut, "timed-out", "timed out"},
        {ExitCode::Credential, "credential", "key or credential cannot be used"},
    }};
    return codes;
}

const ExitCodeEntry &Explain(ExitCode code)
{
    return ExitCodes().at(static_cast<size_t>(code));
}

}  // namespace zef
