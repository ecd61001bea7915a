// The library's fixed paths, which tests use only when /opt is their own.
#ifndef ZEF_TESTS_SUPPORT_OPT_FOLDER_H
#define ZEF_TESTS_SUPPORT_OPT_FOLDER_H

#include "support/Files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include <cstdlib>
#include <cstring>

class OptFolder {
public:
    static constexpr const char *kConfFolder = "/opt/quenlar/vextramo/conf";
    static constexpr const char *kConfigFile = "/opt/quenlar/vextramo/conf/zef_config.xml";

    static bool IsPrivate()
    {
        const char *const mark = std::getenv("ZEF_PRIVATE_OPT");
        return mark != nullptr && std::strcmp(mark, "1") == 0;
    }

    // Fails the test unless it runs with an /opt of its own.
    static void RequirePrivate()
    {
        ASSERT_TRUE(IsPrivate()) << "this test writes to /opt: run it with ctest, or as tests/private-opt PROGRAM";
    }

    // Empties the library's folder.
    static void Clear()
    {
        Guard();
        std::filesystem::remove_all("/opt/quenlar");
    }

    static void WriteConfig(const std::string &content)
    {
        Clear();
        std::filesystem::create_directories(kConfFolder);
        WriteFile(kConfigFile, content);
    }

private:
    static void Guard()
    {
        if (!IsPrivate()) {
            throw std::logic_error("/opt is not this test's own");
        }
    }
};

#endif
