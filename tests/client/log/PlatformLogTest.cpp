#include "CapturedLog.h"

#include <zef_config/platform/Log.h>

#include <gmock/gmock.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

namespace {

using zef::LogDestination;
using zef::LogLevel;

constexpr int kLibrary = 873;
constexpr int kProtocol = 666;

class PlatformLogTest : public CapturedLog {};

TEST_F(PlatformLogTest, WritesTheLibrarysMessagesWithTheirArguments)
{
    yrlog(kLibrary, 5, "ZefConfig", 12, "ZefConfigInit", 0, "%s: zef config %d begin.", "ZEF", 7);
    EXPECT_EQ(Text(), "info    [config] ZEF: zef config 7 begin.\n");
}

TEST_F(PlatformLogTest, MapsThePlatformsLevels)
{
    zef::StartLog({LogLevel::Debug, LogDestination::Console});
    for (const int level : {0, 3, 4, 5, 6, 7}) {
        yrlog(kLibrary, level, "f", 1, "g", 0, "level %d", level);
    }
    EXPECT_EQ(Text(), "error   [config] f:1 g: level 0\nerror   [config] f:1 g: level 3\n"
                      "warning [config] f:1 g: level 4\ninfo    [config] f:1 g: level 5\n"
                      "debug   [config] f:1 g: level 6\ndebug   [config] f:1 g: level 7\n");
}

TEST_F(PlatformLogTest, MarksProtocolMessages)
{
    yrlog(kProtocol, nas_log_map_get(3), "src/file.cpp", 1, "f", 0, "PROTOCOL: refused %s.\n", "name");
    EXPECT_EQ(Text(), "error   [protocol] PROTOCOL: refused name.\n");
}

TEST_F(PlatformLogTest, NamesAModuleThatItDoesNotKnowByNumber)
{
    yrlog(7, 3, "f", 1, "g", 0, "text");
    EXPECT_EQ(Text(), "error   [module 7] text\n");
}

TEST_F(PlatformLogTest, ShowsThePlaceAtLevelDebugOnly)
{
    yrlog(kLibrary, 3, "ZefConfig", 12, "ZefConfigInit", 0, "first\n");
    zef::StartLog({LogLevel::Debug, LogDestination::Console});
    yrlog(kLibrary, 3, "ZefConfig", 12, "ZefConfigInit", 0, "second\n");
    EXPECT_EQ(Text(), "error   [config] first\nerror   [config] ZefConfig:12 ZefConfigInit: second\n");
}

TEST_F(PlatformLogTest, KeepsAForgedLineInsideItsMessage)
{
    yrlog(kLibrary, 3, "f", 1, "g", 0, "%s: bad name %s.\n", "ZEF", "x\nerror   [config] forged");
    EXPECT_EQ(Text(), "error   [config] ZEF: bad name x\\nerror   [config] forged.\n");
}

TEST_F(PlatformLogTest, LosesNothingOfALongMessage)
{
    std::string expected;
    for (const size_t length : {510U, 511U, 512U, 513U, 100000U}) {
        const std::string text(length, 'x');
        yrlog(kLibrary, 3, "f", 1, "g", 0, "%s", text.c_str());
        expected += "error   [config] " + text + "\n";
    }
    EXPECT_EQ(Text(), expected);
}

TEST_F(PlatformLogTest, ShowsTheFormatOfAMessageThatCannotBeRendered)
{
    const wchar_t meaningless[] = {static_cast<wchar_t>(0x7fffffff), 0};
    yrlog(kLibrary, 3, "f", 1, "g", 0, "text %ls", meaningless);
    EXPECT_EQ(Text(), "error   [config] text %ls\n");
}

TEST_F(PlatformLogTest, DropsMessagesBelowTheLevelChosen)
{
    zef::StartLog({LogLevel::Warn, LogDestination::Console});
    yrlog(kLibrary, 5, "f", 1, "g", 0, "information");
    yrlog(kLibrary, 4, "f", 1, "g", 0, "notice");
    EXPECT_EQ(Text(), "warning [config] notice\n");
}

TEST_F(PlatformLogTest, TheThresholdFollowsTheLevelChosen)
{
    EXPECT_EQ(g_infra_log_lvl, 5);
    zef::StartLog({LogLevel::Error, LogDestination::Console});
    EXPECT_EQ(g_infra_log_lvl, 3);
    zef::StartLog({LogLevel::Warn, LogDestination::Console});
    EXPECT_EQ(g_infra_log_lvl, 4);
    zef::StartLog({LogLevel::Debug, LogDestination::Console});
    EXPECT_EQ(g_infra_log_lvl, 6);
    zef::StartLog({LogLevel::Info, LogDestination::Console});
    EXPECT_EQ(g_infra_log_lvl, 5);
    zef::SetLogLevel(LogLevel::Error);
    EXPECT_EQ(g_infra_log_lvl, 3);
}

TEST_F(PlatformLogTest, LeavesOutWhatTheLibraryRepeatsAndTellsHowOften)
{
    for (int i = 0; i < 3; ++i) {
        yrlog(kLibrary, 4, "LinkTasks", 7, "RetryConnectTask", 0, "%s: retry of %s.\n", "ZEF", "10.0.0.9");
    }
    zef::FlushLog();
    zef::FlushLog();
    EXPECT_THAT(Text(), testing::MatchesRegex("warning .config. ZEF: retry of 10.0.0.9.\n"
                                              "warning .config. ZEF: retry of 10.0.0.9. .left out 2 times in the last "
                                              "[0-9 ]*seconds?.\n"));
}

TEST_F(PlatformLogTest, LeavesNothingOutAtLevelDebug)
{
    yrlog(kLibrary, 4, "f", 1, "g", 0, "text");
    yrlog(kLibrary, 4, "f", 1, "g", 0, "text");
    zef::SetLogLevel(LogLevel::Debug);  // tells what was left out until now
    yrlog(kLibrary, 4, "f", 1, "g", 0, "text");
    yrlog(kLibrary, 4, "f", 1, "g", 0, "text");
    EXPECT_THAT(Text(), testing::MatchesRegex("warning .config. text\n"
                                              "warning .config. text .left out 1 time in the last [0-9 ]*seconds?.\n"
                                              "warning .config. f:1 g: text\nwarning .config. f:1 g: text\n"));
}

TEST_F(PlatformLogTest, LeavesTheProtocolsMessagesToTheLibrarysOwnThrottle)
{
    yrlog(kProtocol, 3, "f", 1, "g", 0, "refused");
    yrlog(kProtocol, 3, "f", 1, "g", 0, "refused");
    EXPECT_EQ(Text(), "error   [protocol] refused\nerror   [protocol] refused\n");
}

TEST_F(PlatformLogTest, TheLevelCheckAgreesWithTheThreshold)
{
    for (const LogLevel level : {LogLevel::Error, LogLevel::Warn, LogLevel::Info, LogLevel::Debug}) {
        zef::StartLog({level, LogDestination::Console});
        for (int platformLevel = 0; platformLevel < 10; ++platformLevel) {
            const bool passes = nas_log_map_get(platformLevel) <= g_infra_log_lvl;
            EXPECT_EQ(yrlog_level_check(kProtocol, platformLevel) == 0, passes) << platformLevel;
        }
    }
}

TEST_F(PlatformLogTest, MapsLevelsToTheirNearestNeighbourOnTheScale)
{
    EXPECT_EQ(nas_log_map_get(3), 3);
    EXPECT_EQ(nas_log_map_get(4), 4);
    EXPECT_EQ(nas_log_map_get(5), 5);
    EXPECT_EQ(nas_log_map_get(6), 6);
    EXPECT_EQ(nas_log_map_get(INT_MIN), 3);
    EXPECT_EQ(nas_log_map_get(INT_MAX), 6);
}

TEST(PlatformLogDeathTest, TellsWhatWasLeftOutWhenTheProcessExits)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            yrlog(kLibrary, 4, "f", 1, "g", 0, "retry");
            yrlog(kLibrary, 4, "f", 1, "g", 0, "retry");
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "retry .left out 1 time in the last");
}

TEST(JiffiesTest, AreMillisecondsOfTheMonotonicClock)
{
    const auto read = [] {
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
    };
    const uint64_t before = read();
    const uint64_t jiffies = yrax_get_jiffies();
    EXPECT_LE(before, jiffies);
    EXPECT_LE(jiffies, read());
}

}  // namespace
