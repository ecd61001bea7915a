#include "gateway/LinkState.h"

#include <fmt/format.h>

namespace zef {

namespace {

bool IsWithoutSession(LinkPhase phase)
{
    return phase == LinkPhase::WaitingToRetry || phase == LinkPhase::Failed || phase == LinkPhase::Closed;
}

}  // namespace

const char *LinkPhaseName(LinkPhase phase)
{
    switch (phase) {
    case LinkPhase::Created:
        return "created";
    case LinkPhase::Discovering:
        return "asking for targets";
    case LinkPhase::Connecting:
        return "connecting";
    case LinkPhase::LoggingIn:
        return "logging in";
    case LinkPhase::ReadingWwn:
        return "reading WWN";
    case LinkPhase::Up:
        return "up";
    case LinkPhase::WaitingToRetry:
        return "waiting to log in again";
    case LinkPhase::Failed:
        return "failed";
    case LinkPhase::Closed:
        return "closed";
    }
    return "unknown";
}

bool IsTrying(LinkPhase phase)
{
    return phase == LinkPhase::Discovering || phase == LinkPhase::Connecting || phase == LinkPhase::LoggingIn ||
           phase == LinkPhase::ReadingWwn;
}

std::string Describe(const LinkState &state)
{
    std::string line = fmt::format("{} -> {} {}", state.local, state.array, LinkPhaseName(state.phase));
    if (state.phase == LinkPhase::Up) {
        line += state.wwn == kNoWwn ? ", WWN not known yet" : fmt::format(", WWN {:#018x}", state.wwn);
    }
    if (!state.cause.empty() && IsWithoutSession(state.phase)) {
        line += ": " + state.cause;
    }
    return line;
}

}  // namespace zef
