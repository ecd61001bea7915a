#include "log/FailureLog.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include <ctime>

namespace zef {

namespace {

std::string LocalTime(std::chrono::system_clock::time_point time, const char *format)
{
    const time_t seconds = std::chrono::system_clock::to_time_t(time);
    tm parts = {};
    char text[32] = "";
    localtime_r(&seconds, &parts);
    return std::string(text, std::strftime(text, sizeof text, format, &parts));
}

std::string LeftOut(uint32_t outages)
{
    return outages == 0 ? "" : fmt::format(" ({} outages before this one were not reported)", outages);
}

}  // namespace

FailureLog::FailureLog(LogClock logClock) : clock(std::move(logClock))
{
}

std::optional<FailureNews> FailureLog::Failed(const std::string &key, const std::string &cause)
{
    return Note(key, cause, 1);
}

std::optional<FailureNews> FailureLog::Lost(const std::string &key, const std::string &cause)
{
    return Note(key, cause, 0);
}

std::optional<FailureNews> FailureLog::Note(const std::string &key, const std::string &cause, uint32_t failures)
{
    const MutexLock lock(mutex);
    const TimePoint now = clock.steady();
    Record &record = Touch(key, now);
    if (!record.isOut) {
        BeginOutage(record, now);
    }
    record.failures += failures;
    record.unreported += failures;
    const std::optional<FailureNews::Kind> kind = KindOf(record, cause, now);
    return kind ? std::optional<FailureNews>(Tell(record, *kind, cause, now)) : std::nullopt;
}

std::optional<RecoveryNews> FailureLog::Recovered(const std::string &key)
{
    const MutexLock lock(mutex);
    const auto found = records.find(key);
    if (found == records.end() || !std::exchange(found->second.isOut, false)) {
        return std::nullopt;
    }
    Record &record = found->second;
    record.last = clock.steady();
    record.outagesLeftOut += record.isTold ? 0 : 1;
    return record.isTold ? std::optional<RecoveryNews>({record.failures}) : std::nullopt;
}

bool FailureLog::IsHushed(const std::string &key) const
{
    const MutexLock lock(mutex);
    const auto found = records.find(key);
    return found != records.end() && found->second.isOut && !found->second.isTold;
}

void FailureLog::Forget(const std::string &key)
{
    const MutexLock lock(mutex);
    records.erase(key);
}

FailureLog::Record &FailureLog::Touch(const std::string &key, TimePoint now)
{
    if (records.size() >= kMostKeys && records.count(key) == 0) {
        const auto isQuieter = [](const auto &one, const auto &other) { return one.second.last < other.second.last; };
        records.erase(std::min_element(records.begin(), records.end(), isQuieter));
    }
    Record &record = records[key];
    record.last = now;
    return record;
}

void FailureLog::BeginOutage(Record &record, TimePoint now)
{
    if (record.outagesTold == 0 || now - record.outagesBegin >= kInterval) {
        record.outagesBegin = now;
        record.outagesTold = 0;
    }
    record.isOut = true;
    record.isTold = false;
    record.failures = 0;
    record.unreported = 0;
    record.outageSince = clock.wall();
    record.messageSince = record.outageSince;
}

std::optional<FailureNews::Kind> FailureLog::KindOf(const Record &record, const std::string &cause, TimePoint now) const
{
    if (!record.isTold) {
        const bool isDue = record.outagesTold < kMostOutages || now - record.outagesBegin >= kInterval;
        return isDue ? std::optional(FailureNews::Kind::First) : std::nullopt;
    }
    if (now - record.summaryBegin >= kInterval) {
        return FailureNews::Kind::Summary;
    }
    const bool isNew = record.causes.count(cause) == 0 && record.causes.size() < kMostCauses;
    return isNew ? std::optional(FailureNews::Kind::NewCause) : std::nullopt;
}

FailureNews FailureLog::Tell(Record &record, FailureNews::Kind kind, const std::string &cause, TimePoint now)
{
    FailureNews news;
    news.kind = kind;
    news.failures = std::exchange(record.unreported, 0);
    news.since = std::exchange(record.messageSince, clock.wall());
    news.failuresInAll = record.failures;
    news.outageSince = record.outageSince;
    if (kind == FailureNews::Kind::First) {
        news.outagesLeftOut = std::exchange(record.outagesLeftOut, 0);
        ++record.outagesTold;
        record.isTold = true;
    }
    if (kind != FailureNews::Kind::NewCause) {
        record.causes.clear();
        record.summaryBegin = now;
    }
    record.causes.insert(cause);
    return news;
}

std::string FailureTail(const FailureNews &news, const char *recovered)
{
    if (news.kind == FailureNews::Kind::First) {
        return fmt::format("; tried again every 2 s, reported again when the cause changes, in {} minutes, or when it "
                           "is {}{}",
                           FailureLog::kInterval.count(), recovered, LeftOut(news.outagesLeftOut));
    }
    std::string tail = fmt::format("; {} {} failed since {}", news.failures, news.failures == 1 ? "try" : "tries",
                                   LocalTime(news.since, "%H:%M:%S"));
    if (news.failuresInAll != news.failures) {
        tail += fmt::format(", {} since {}", news.failuresInAll, LocalTime(news.outageSince, "%Y-%m-%d %H:%M:%S"));
    }
    return tail;
}

std::string FailedTries(uint32_t count)
{
    return fmt::format("{} failed {}", count, count == 1 ? "try" : "tries");
}

}  // namespace zef
