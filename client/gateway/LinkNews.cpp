#include "gateway/LinkNews.h"

namespace zef {

LinkNews::LinkNews(const LogClock &clock) : failures(clock)
{
}

std::optional<std::string> LinkNews::Line(const LinkState &state)
{
    const std::string link = state.local + " -> " + state.array;
    bool isShown = true;
    switch (state.phase) {
    case LinkPhase::WaitingToRetry:
    case LinkPhase::Failed:
        return FailureLine(link, state);
    case LinkPhase::Up:
        isShown = !failures.IsHushed(link);
        failures.Recovered(link);
        break;
    case LinkPhase::Closed:
        failures.Forget(link);
        break;
    default:
        isShown = state.tries <= 1;
        break;
    }
    return isShown ? std::optional<std::string>(Describe(state)) : std::nullopt;
}

std::optional<std::string> LinkNews::FailureLine(const std::string &link, const LinkState &state)
{
    const std::optional<FailureNews> news =
        state.failures == 0 ? failures.Lost(link, state.cause) : failures.Failed(link, state.cause);
    if (!news) {
        return std::nullopt;
    }
    const bool isSummary = news->kind == FailureNews::Kind::Summary;
    return Describe(state) + (isSummary ? FailureTail(*news, "up") : "");
}

}  // namespace zef
