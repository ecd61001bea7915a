#include "log/LibraryLogThinner.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace zef {

namespace {

std::string LengthOf(std::chrono::steady_clock::duration time)
{
    constexpr std::chrono::minutes kShownInSeconds{2};
    const auto seconds = std::max<long>(std::chrono::duration_cast<std::chrono::seconds>(time).count(), 1);
    if (time < kShownInSeconds) {
        return seconds == 1 ? "second" : fmt::format("{} seconds", seconds);
    }
    return fmt::format("{} minutes", std::chrono::duration_cast<std::chrono::minutes>(time).count());
}

void TrimNewlines(std::string &text)
{
    const size_t last = text.find_last_not_of("\r\n");
    text.erase(last == std::string::npos ? 0 : last + 1);
}

}  // namespace

LibraryLogThinner::LibraryLogThinner(LogClock logClock) : clock(std::move(logClock))
{
}

std::vector<LibraryLogThinner::Line> LibraryLogThinner::Pass(LogLevel level, const char *file, int line,
                                                             std::string text)
{
    TrimNewlines(text);
    const MutexLock lock(mutex);
    const TimePoint now = clock.steady();
    std::vector<Line> lines = DropQuiet(now);
    const Kind kind{level, file, line, text};
    if (records.size() >= kMostKinds && records.count(kind) == 0) {
        DropQuietest(now, lines);
    }
    const auto [place, isNew] = records.try_emplace(kind, Record{now, now, 0});
    Record &record = place->second;
    record.last = now;
    if (isNew) {
        lines.push_back({level, std::move(text)});
    } else if (now - record.begin < kInterval) {
        ++record.leftOut;
    } else {
        // Stands for itself too, so it is not among those that it counts.
        lines.push_back(record.leftOut == 0 ? Line{level, std::move(text)} : Summary(place->first, record, now));
        record = {now, now, 0};
    }
    return lines;
}

std::vector<LibraryLogThinner::Line> LibraryLogThinner::Flush()
{
    const MutexLock lock(mutex);
    const TimePoint now = clock.steady();
    std::vector<Line> lines;
    for (auto place = records.begin(); place != records.end();) {
        place = Drop(place, now, lines);
    }
    return lines;
}

std::vector<LibraryLogThinner::Line> LibraryLogThinner::DropQuiet(TimePoint now)
{
    std::vector<Line> lines;
    for (auto place = records.begin(); place != records.end();) {
        place = now - place->second.last >= kQuiet ? Drop(place, now, lines) : std::next(place);
    }
    return lines;
}

void LibraryLogThinner::DropQuietest(TimePoint now, std::vector<Line> &lines)
{
    const auto isQuieter = [](const auto &one, const auto &other) { return one.second.last < other.second.last; };
    Drop(std::min_element(records.begin(), records.end(), isQuieter), now, lines);
}

LibraryLogThinner::Records::iterator LibraryLogThinner::Drop(Records::iterator place, TimePoint now,
                                                             std::vector<Line> &lines)
{
    if (place->second.leftOut > 0) {
        lines.push_back(Summary(place->first, place->second, now));
    }
    return records.erase(place);
}

LibraryLogThinner::Line LibraryLogThinner::Summary(const Kind &kind, const Record &record, TimePoint now) const
{
    const auto &[level, file, line, text] = kind;
    return {level, fmt::format("{} (left out {} {} in the last {})", text, record.leftOut,
                               record.leftOut == 1 ? "time" : "times", LengthOf(now - record.begin))};
}

}  // namespace zef
