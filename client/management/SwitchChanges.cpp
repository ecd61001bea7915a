#include "management/SwitchChanges.h"

#include "control/ControlError.h"

#include <zef_config/DeduplicationConfig.h>

#include <fmt/format.h>

namespace zef {

namespace {

int ParseValue(const std::string &value)
{
    if (value != "on" && value != "off") {
        throw ControlError(ExitCode::Usage, fmt::format("\"{}\" is neither on nor off", value));
    }
    return value == "on" ? 1 : 0;
}

void RequireRule(int deduplication, int compression)
{
    if (compression != 0 && deduplication == 0) {
        throw ControlError(ExitCode::Failed,
                           "compression needs deduplication: the client would not start like that; nothing was "
                           "changed");
    }
}

}  // namespace

std::string SetSwitch(const std::string &name, const std::string &value)
{
    DeduplicationConfig &switches = DeduplicationConfig::GetInstance();
    const int wanted = ParseValue(value);
    int result = 0;
    if (name == "compression") {
        RequireRule(switches.GetDeduplication(), wanted);
        result = switches.SetCompression(wanted);
    } else if (name == "deduplication") {
        RequireRule(wanted, switches.GetCompression());
        result = switches.SetDeduplicationStatus(wanted);
    } else {
        throw ControlError(ExitCode::Usage, fmt::format("there is no switch \"{}\"", name));
    }
    if (result != 0) {
        throw ControlError(ExitCode::Failed,
                           fmt::format("{} cannot be published in the shared base configuration (code {}); nothing was "
                                       "changed",
                                       name, result));
    }
    return fmt::format("{} is {}", name, value);
}

}  // namespace zef
