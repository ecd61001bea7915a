#include "RecordedLog.h"

#include "log/Log.h"

#include <algorithm>
#include <iterator>
#include <mutex>

namespace zef {

namespace {

constexpr const char *kLevelNames[] = {"error", "warn", "info", "debug"};

std::mutex mutex;
std::vector<std::string> lines;

}  // namespace

void FormatLog(LogLevel level, const char *component, fmt::string_view text, fmt::format_args args)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const char *const levelName = kLevelNames[static_cast<int>(level)];
    lines.push_back(fmt::format("{} {}: {}", levelName, component, fmt::vformat(text, args)));
}

void RecordedLog::Clear()
{
    const std::lock_guard<std::mutex> lock(mutex);
    lines.clear();
}

std::vector<std::string> RecordedLog::Lines(const std::string &level)
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<std::string> found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
                 [&level](const std::string &line) { return line.compare(0, level.size() + 1, level + " ") == 0; });
    return found;
}

bool RecordedLog::Holds(const std::string &text)
{
    const std::lock_guard<std::mutex> lock(mutex);
    return std::any_of(lines.begin(), lines.end(),
                       [&text](const std::string &line) { return line.find(text) != std::string::npos; });
}

}  // namespace zef
