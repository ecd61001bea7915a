// Keeps messages that the library repeats with every retry from filling the log.
#ifndef ZEF_CLIENT_LOG_LIBRARY_LOG_THINNER_H
#define ZEF_CLIENT_LOG_LIBRARY_LOG_THINNER_H

#include "common/Mutex.h"
#include "log/Log.h"
#include "log/LogClock.h"

#include <chrono>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <cstddef>
#include <cstdint>

namespace zef {

// Messages of the same level, place in the source and text are of one kind. The first of a kind passes; those that
// follow are counted, and every kInterval one stands for them all, with the count. A kind that has not come for kQuiet
// is new again. What was counted is told sooner or later: in a summary, once the kind is quiet and any other message
// comes, when its place in the table is needed, or by Flush. Any thread.
class LibraryLogThinner {
public:
    static constexpr std::chrono::minutes kInterval{10};
    static constexpr std::chrono::minutes kQuiet{1};
    static constexpr size_t kMostKinds = 256;  // the one that was quiet for longest goes for a new one

    struct Line {
        LogLevel level;
        std::string text;
    };

    explicit LibraryLogThinner(LogClock logClock = {});

    // What is to be written now, in this order; often nothing. Trailing newlines are taken off the text.
    std::vector<Line> Pass(LogLevel level, const char *file, int line, std::string text);

    // The counts that are still to be told. All kinds are new afterwards.
    std::vector<Line> Flush();

private:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Kind = std::tuple<LogLevel, std::string, int, std::string>;  // level, file, line, text

    struct Record {
        TimePoint begin;  // of the interval
        TimePoint last;   // message of the kind
        uint32_t leftOut = 0;
    };
    using Records = std::map<Kind, Record>;

    std::vector<Line> DropQuiet(TimePoint now) ZEF_REQUIRES(mutex);
    void DropQuietest(TimePoint now, std::vector<Line> &lines) ZEF_REQUIRES(mutex);
    Line Summary(const Kind &kind, const Record &record, TimePoint now) const;
    Records::iterator Drop(Records::iterator place, TimePoint now, std::vector<Line> &lines) ZEF_REQUIRES(mutex);

    const LogClock clock;

    Mutex mutex;
    Records records ZEF_GUARDED_BY(mutex);
};

}  // namespace zef

#endif
