// Decides which failures of something that is tried again and again are worth a message.
#ifndef ZEF_CLIENT_LOG_FAILURE_LOG_H
#define ZEF_CLIENT_LOG_FAILURE_LOG_H

#include "common/Mutex.h"
#include "log/LogClock.h"

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>

#include <cstddef>
#include <cstdint>

namespace zef {

// What a message about a failure has to tell.
struct FailureNews {
    enum class Kind {
        First,     // the outage begins
        NewCause,  // this outage has not been reported with this cause yet
        Summary,   // the last message is ten minutes old
    };
    Kind kind = Kind::First;
    uint32_t failures = 0;  // since `since`; those that an earlier message told are not counted again
    std::chrono::system_clock::time_point since;  // the last message, or the beginning of the outage
    uint32_t failuresInAll = 0;
    std::chrono::system_clock::time_point outageSince;
    uint32_t outagesLeftOut = 0;  // earlier ones, too many for a message each; First only
};

// What a message about a recovery has to tell.
struct RecoveryNews {
    uint32_t failures = 0;  // in a row
};

// An outage of a key, any text that names what fails, goes from the first failure to the recovery. Its beginning and
// each cause that is new to it are news, then one summary per interval while it lasts, and its end. What varies from
// try to try cannot fill the log: at most kMostCauses causes are news between two summaries, and at most kMostOutages
// outages of a key per interval; the end of an outage is news exactly when the outage was. Any thread.
class FailureLog {
public:
    static constexpr std::chrono::minutes kInterval{10};
    static constexpr size_t kMostCauses = 4;
    static constexpr uint32_t kMostOutages = 5;
    static constexpr size_t kMostKeys = 1024;  // the one that was quiet for longest is forgotten for a new one

    explicit FailureLog(LogClock logClock = {});

    // A try has failed.
    std::optional<FailureNews> Failed(const std::string &key, const std::string &cause);

    // What was there is gone: the outage begins without a failed try.
    std::optional<FailureNews> Lost(const std::string &key, const std::string &cause);

    // Nothing when nothing had failed, or nobody was told that it had.
    std::optional<RecoveryNews> Recovered(const std::string &key);

    // True while failures of the key go on that nobody was told of.
    bool IsHushed(const std::string &key) const;

    // The key is new again.
    void Forget(const std::string &key);

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    struct Record {
        bool isOut = false;       // an outage goes on
        bool isTold = false;      // and was reported
        uint32_t failures = 0;    // of this outage
        uint32_t unreported = 0;  // of those, since the last message
        std::chrono::system_clock::time_point outageSince;
        std::chrono::system_clock::time_point messageSince;
        TimePoint summaryBegin;        // of the interval that the next summary ends
        std::set<std::string> causes;  // told in that interval
        TimePoint outagesBegin;        // of the interval that the outages are counted in
        uint32_t outagesTold = 0;      // in that interval
        uint32_t outagesLeftOut = 0;   // over again, and not told
        TimePoint last;  // of all calls
    };

    std::optional<FailureNews> Note(const std::string &key, const std::string &cause, uint32_t failures);
    Record &Touch(const std::string &key, TimePoint now) ZEF_REQUIRES(mutex);
    void BeginOutage(Record &record, TimePoint now);
    std::optional<FailureNews::Kind> KindOf(const Record &record, const std::string &cause, TimePoint now) const;
    FailureNews Tell(Record &record, FailureNews::Kind kind, const std::string &cause, TimePoint now);

    const LogClock clock;

    mutable Mutex mutex;
    std::map<std::string, Record> records ZEF_GUARDED_BY(mutex);
};

// How a message about a failure ends. First: "; tried again every 2 s, reported again when the cause changes, in 10
// minutes, or when it is RECOVERED", and how many outages were left out, if any. Else: "; 297 tries failed since
// 14:03:22, 594 since 2026-11-20 13:53:22", without the last part when it tells nothing new. Times are local ones.
std::string FailureTail(const FailureNews &news, const char *recovered);

// "1 failed try", "301 failed tries".
std::string FailedTries(uint32_t count);

}  // namespace zef

#endif
