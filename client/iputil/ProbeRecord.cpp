#include "iputil/ProbeRecord.h"

#include "common/NeverDestroyed.h"
#include "log/Log.h"

#include <algorithm>

namespace zef {

namespace {

constexpr const char *kComponent = "iputil";
constexpr const char *kRecovered = "reached";
constexpr std::chrono::seconds kLibraryRetryDelay{2};

}  // namespace

ProbeRecord &ProbeRecord::Instance()
{
    static NeverDestroyed<ProbeRecord> instance;
    return instance.Get();
}

ProbeRecord::ProbeRecord(const LogClock &logClock) : clock(logClock), failures(logClock)
{
}

void ProbeRecord::Reached(const std::string &array, uint16_t port)
{
    {
        const MutexLock lock(mutex);
        ProbeState &state = Touch(array);
        state.cause.clear();
        state.failures = 0;
        state.reached = true;
    }
    if (const std::optional<RecoveryNews> news = failures.Recovered(array)) {
        LogInfo(kComponent, "{}:{} is reached after {}", array, port, FailedTries(news->failures));
    }
}

void ProbeRecord::NotReached(const std::string &array, uint16_t port, const std::string &cause)
{
    {
        const MutexLock lock(mutex);
        ProbeState &state = Touch(array);
        state.cause = cause;
        state.nextTry = state.lastTry + kLibraryRetryDelay;
        ++state.failures;
        state.reached = false;
    }
    if (const std::optional<FailureNews> news = failures.Failed(array, cause)) {
        const bool isSummary = news->kind == FailureNews::Kind::Summary;
        LogWarn(kComponent, "{}no local address reaches {}:{} ({}){}", isSummary ? "still " : "", array, port, cause,
                FailureTail(*news, kRecovered));
    }
}

std::vector<ProbeState> ProbeRecord::States() const
{
    const MutexLock lock(mutex);
    std::vector<ProbeState> all;
    for (const auto &[array, state] : states) {
        all.push_back(state);
    }
    return all;
}

void ProbeRecord::Forget(const std::string &array)
{
    const MutexLock lock(mutex);
    states.erase(array);
    failures.Forget(array);
}

ProbeState &ProbeRecord::Touch(const std::string &array)
{
    if (states.size() >= kMostArrays && states.count(array) == 0) {
        const auto isOlder = [](const auto &one, const auto &other) {
            return one.second.lastTry < other.second.lastTry;
        };
        states.erase(std::min_element(states.begin(), states.end(), isOlder));
    }
    ProbeState &state = states[array];
    state.array = array;
    state.lastTry = clock.wall();
    return state;
}

std::vector<ProbeState> ProbeStates()
{
    return ProbeRecord::Instance().States();
}

void ForgetProbe(const std::string &array)
{
    ProbeRecord::Instance().Forget(array);
}

}  // namespace zef
