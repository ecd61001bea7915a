// The library's ordinary log: what it does and what fails, for operators.
#ifndef ZEF_CONFIG_ORDINARY_LOG_H
#define ZEF_CONFIG_ORDINARY_LOG_H

#include "platform/Log.h"

namespace zef_config {

constexpr int kLogModule = 873;

constexpr int kLogError = 3;
constexpr int kLogNotice = 4;
constexpr int kLogInfo = 5;

// First argument of every ordinary message: their formats begin with "%s: ".
constexpr const char *kLogTag = "ZEF";

// Name of a source file without directories and extension, made while compiling.
class SourceName {
public:
    constexpr explicit SourceName(const char *path) : text()
    {
        const char *base = path;
        for (const char *character = path; *character != '\0'; ++character) {
            if (*character == '/') {
                base = character + 1;
            }
        }
        for (int i = 0; i < kMaxLength && base[i] != '\0' && base[i] != '.'; ++i) {
            text[i] = base[i];
        }
    }

    static constexpr int kMaxLength = 63;
    char text[kMaxLength + 1];
};

namespace {
constexpr SourceName kSourceName(__BASE_FILE__);
}

}  // namespace zef_config

// Writes one message: level, format, kLogTag, further arguments.
#define ZEF_LOG(level, ...) ZEF_LOG_AS(static_cast<const char *>(__func__), level, __VA_ARGS__)

// The same on behalf of a function, where one piece of code serves several that the log tells apart.
#define ZEF_LOG_AS(function, level, ...) \
    yrlog(zef_config::kLogModule, level, zef_config::kSourceName.text, __LINE__, function, 0, __VA_ARGS__)

#endif
