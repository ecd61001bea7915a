// Reads what the log writes to standard error.
#ifndef ZEF_TESTS_CLIENT_LOG_CAPTURED_LOG_H
#define ZEF_TESTS_CLIENT_LOG_CAPTURED_LOG_H

#include "log/Log.h"

#include <gtest/gtest.h>

#include <string>

// Captures standard error for each case, and puts the log back to its defaults afterwards.
class CapturedLog : public ::testing::Test {
protected:
    CapturedLog() { ::testing::internal::CaptureStderr(); }

    ~CapturedLog() override
    {
        Lines();
        zef::StartLog({});
    }

    // What was written, as it was written.
    std::string Lines()
    {
        if (!captured) {
            captured = true;
            lines = ::testing::internal::GetCapturedStderr();
        }
        return lines;
    }

    // What was written, without the time stamps.
    std::string Text()
    {
        constexpr size_t kTimeStamp = sizeof("2025-01-02 03:04:05.678 ") - 1;
        std::string text;
        size_t begin = 0;
        for (size_t end = Lines().find('\n'); end != std::string::npos; end = lines.find('\n', begin)) {
            text += lines.substr(begin, end + 1 - begin).erase(0, kTimeStamp);
            begin = end + 1;
        }
        return text + lines.substr(begin);
    }

private:
    bool captured = false;
    std::string lines;
};

#endif
