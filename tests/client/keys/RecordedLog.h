// The client's log, kept in memory for a test to read.
#ifndef ZEF_CLIENT_TESTS_KEYS_RECORDED_LOG_H
#define ZEF_CLIENT_TESTS_KEYS_RECORDED_LOG_H

#include <string>
#include <vector>

namespace zef {

// Takes the place of the real log in this test program. Lines look like "warn keys: the text".
class RecordedLog {
public:
    static void Clear();

    // The lines of a level: "error", "warn", "info" or "debug".
    static std::vector<std::string> Lines(const std::string &level);

    // True when that text is anywhere in any line.
    static bool Holds(const std::string &text);
};

}  // namespace zef

#endif
