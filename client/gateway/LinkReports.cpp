#include "gateway/LinkReports.h"

#include "log/Log.h"

#include <fmt/format.h>

namespace zef {

namespace {

constexpr const char *kComponent = "gateway";
constexpr const char *kRecovered = "up";

std::string NameOf(const std::string &local, const std::string &array)
{
    return fmt::format("link {} -> {}", local, array);
}

}  // namespace

LinkReports::LinkReports(const LogClock &clock) : failures(clock)
{
}

void LinkReports::Tell(const LinkState &state)
{
    const std::string link = NameOf(state.local, state.array);
    switch (state.phase) {
    case LinkPhase::Up:
        Up(link);
        break;
    case LinkPhase::WaitingToRetry:
    case LinkPhase::Failed:
        state.failures == 0 ? Lost(link, state.cause) : NotUp(link, state.cause);
        break;
    case LinkPhase::Closed:
        failures.Forget(link);
        break;
    default:
        break;
    }
}

void LinkReports::Refused(const std::string &local, const std::string &array, const std::string &cause)
{
    NotUp(NameOf(local, array), cause);
}

void LinkReports::NotUp(const std::string &link, const std::string &cause)
{
    if (const std::optional<FailureNews> news = failures.Failed(link, cause)) {
        const bool isSummary = news->kind == FailureNews::Kind::Summary;
        LogWarn(kComponent, "{} is {} up: {}{}", link, isSummary ? "still not" : "not", cause,
                FailureTail(*news, kRecovered));
    }
}

void LinkReports::Lost(const std::string &link, const std::string &cause)
{
    if (const std::optional<FailureNews> news = failures.Lost(link, cause)) {
        LogWarn(kComponent, "{} lost: {}{}", link, cause, FailureTail(*news, kRecovered));
    }
}

void LinkReports::Up(const std::string &link)
{
    if (const std::optional<RecoveryNews> news = failures.Recovered(link)) {
        LogInfo(kComponent, "{} is up after {}", link, FailedTries(news->failures));
    }
}

}  // namespace zef
