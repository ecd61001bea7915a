// Work in a process in which nothing has happened yet.
#ifndef ZEF_TESTS_SUPPORT_FRESH_PROCESS_H
#define ZEF_TESTS_SUPPORT_FRESH_PROCESS_H

#include <gtest/gtest.h>

#include <cstdlib>

// Expects a condition to hold where the test program was started anew for this test alone, so that singletons are as
// after their creation.
#define EXPECT_IN_FRESH_PROCESS(condition)                                                     \
    do {                                                                                       \
        GTEST_FLAG_SET(death_test_style, "threadsafe");                                        \
        EXPECT_EXIT(std::exit((condition) ? 0 : 1), ::testing::ExitedWithCode(0), "");         \
    } while (false)

#endif
