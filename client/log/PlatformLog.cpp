#include "log/PlatformLog.h"

#include "common/NeverDestroyed.h"
#include "log/LibraryLogThinner.h"

#include <zef_config/platform/Log.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

// The platform's scale. Anything more important than an error counts as one, anything deeper than information is debug.
constexpr int kPlatformError = 3;
constexpr int kPlatformNotice = 4;
constexpr int kPlatformInformation = 5;
constexpr int kPlatformDebug = 6;

constexpr int kLibraryModule = 873;
constexpr int kProtocolModule = 666;

constexpr size_t kUsualMessageBytes = 512;

zef::LogLevel ClientLevel(int mappedLevel)
{
    switch (mappedLevel) {
        case kPlatformError:
            return zef::LogLevel::Error;
        case kPlatformNotice:
            return zef::LogLevel::Warn;
        case kPlatformInformation:
            return zef::LogLevel::Info;
        default:
            return zef::LogLevel::Debug;
    }
}

int PlatformLevel(zef::LogLevel level)
{
    switch (level) {
        case zef::LogLevel::Error:
            return kPlatformError;
        case zef::LogLevel::Warn:
            return kPlatformNotice;
        case zef::LogLevel::Info:
            return kPlatformInformation;
        default:
            return kPlatformDebug;
    }
}

std::string ComponentOf(int module)
{
    switch (module) {
        case kLibraryModule:
            return "config";
        case kProtocolModule:
            return "protocol";
        default:
            return fmt::format("module {}", module);
    }
}

// The whole message, however long; its format alone when it cannot be rendered (a wide character without a meaning).
__attribute__((format(printf, 1, 0))) std::string Render(const char *format, va_list args)
{
    va_list again;
    va_copy(again, args);
    std::array<char, kUsualMessageBytes> usual;
    const int length = std::vsnprintf(usual.data(), usual.size(), format, args);
    std::string message = format;
    if (length >= 0) {
        message.assign(usual.data(), std::min(static_cast<size_t>(length), usual.size() - 1));
    }
    if (length >= static_cast<int>(usual.size())) {
        message.resize(static_cast<size_t>(length));
        (void)std::vsnprintf(message.data(), message.size() + 1, format, again);
    }
    va_end(again);
    return message;
}

// The library writes while the process ends, too. However that comes about, what was left out is told.
zef::LibraryLogThinner &Thinner()
{
    static zef::NeverDestroyed<zef::LibraryLogThinner> thinner;
    static const int isRegistered = std::atexit(zef::FlushLog);
    static_cast<void>(isRegistered);
    return thinner.Get();
}

void WriteLibraryLines(const std::vector<zef::LibraryLogThinner::Line> &lines)
{
    for (const zef::LibraryLogThinner::Line &line : lines) {
        zef::WriteLog(line.level, ComponentOf(kLibraryModule).c_str(), line.text);
    }
}

}  // namespace

int g_infra_log_lvl = kPlatformInformation;

int nas_log_map_get(int level)
{
    return std::clamp(level, kPlatformError, kPlatformDebug);
}

int yrlog_level_check(int, int level)
{
    return zef::IsLogged(ClientLevel(nas_log_map_get(level))) ? 0 : 1;
}

void yrlog(int module, int level, const char *file, int line, const char *function, int, const char *format, ...)
{
    if (yrlog_level_check(module, level) != 0) {
        return;
    }
    va_list args;
    va_start(args, format);
    std::string message = Render(format, args);
    va_end(args);
    const zef::LogLevel clientLevel = ClientLevel(nas_log_map_get(level));
    const bool isDebugged = zef::IsLogged(zef::LogLevel::Debug);
    if (module == kLibraryModule && !isDebugged) {
        // The protocol's messages are throttled by the library itself.
        WriteLibraryLines(Thinner().Pass(clientLevel, file, line, std::move(message)));
        return;
    }
    if (isDebugged) {
        // In front, since it must not come between a message and its trailing newline.
        message = fmt::format("{}:{} {}: {}", file, line, function, message);
    }
    zef::WriteLog(clientLevel, ComponentOf(module).c_str(), message);
}

// In milliseconds: 15000 jiffies are 15 s.
uint64_t yrax_get_jiffies(void)
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

namespace zef {

void SetPlatformLogLevel(LogLevel level)
{
    g_infra_log_lvl = PlatformLevel(level);
}

void FlushPlatformLog()
{
    WriteLibraryLines(Thinner().Flush());
}

}  // namespace zef
