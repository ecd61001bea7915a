#include "log/Log.h"

#include "CapturedLog.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

using zef::LogDestination;
using zef::LogLevel;

class LogTest : public CapturedLog {};

TEST_F(LogTest, WorksBeforeItIsStartedAndShowsInformation)
{
    zef::LogInfo("gateway", "link {} of {}", 1, "array");
    zef::LogDebug("gateway", "not shown");
    EXPECT_EQ(Text(), "info    [gateway] link 1 of array\n");
}

TEST_F(LogTest, BeginsEveryLineWithDateAndTime)
{
    zef::LogInfo("gateway", "text");
    EXPECT_THAT(Lines(), ::testing::MatchesRegex("[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+.[0-9]+ info    "
                                                 ".gateway. text\n"));
}

TEST_F(LogTest, NamesEachLevel)
{
    zef::StartLog({LogLevel::Debug, LogDestination::Console});
    zef::LogError("a", "one");
    zef::LogWarn("b", "two");
    zef::LogInfo("c", "three");
    zef::LogDebug("d", "four");
    EXPECT_EQ(Text(), "error   [a] one\nwarning [b] two\ninfo    [c] three\ndebug   [d] four\n");
}

TEST_F(LogTest, HidesLevelsBelowTheOneChosen)
{
    zef::StartLog({LogLevel::Warn, LogDestination::Console});
    zef::LogError("a", "one");
    zef::LogWarn("b", "two");
    zef::LogInfo("c", "three");
    EXPECT_EQ(Text(), "error   [a] one\nwarning [b] two\n");
}

TEST_F(LogTest, TellsWhatIsShown)
{
    zef::StartLog({LogLevel::Warn, LogDestination::Console});
    EXPECT_TRUE(zef::IsLogged(LogLevel::Error));
    EXPECT_TRUE(zef::IsLogged(LogLevel::Warn));
    EXPECT_FALSE(zef::IsLogged(LogLevel::Info));
    EXPECT_FALSE(zef::IsLogged(LogLevel::Debug));
}

TEST_F(LogTest, ChangesTheLevelWhileItRuns)
{
    EXPECT_EQ(zef::CurrentLogLevel(), LogLevel::Info);
    zef::StartLog({LogLevel::Warn, LogDestination::Console});
    EXPECT_EQ(zef::CurrentLogLevel(), LogLevel::Warn);
    zef::SetLogLevel(LogLevel::Debug);
    EXPECT_EQ(zef::CurrentLogLevel(), LogLevel::Debug);
    zef::LogDebug("a", "one");
    zef::SetLogLevel(LogLevel::Error);
    EXPECT_EQ(zef::CurrentLogLevel(), LogLevel::Error);
    zef::LogWarn("a", "two");
    EXPECT_EQ(Text(), "debug   [a] one\n");
}

TEST_F(LogTest, MakesOneLineOfEveryText)
{
    zef::LogError("a", "from a peer: {}", "x\n2025-01-01 00:00:00.000 info    [b] forged\n");
    EXPECT_EQ(Text(), "error   [a] from a peer: x\\n2025-01-01 00:00:00.000 info    [b] forged\n");
}

TEST_F(LogTest, TakesAReadyTextLiterally)
{
    zef::WriteLog(LogLevel::Error, "a", "{} %s {");
    EXPECT_EQ(Text(), "error   [a] {} %s {\n");
}

TEST_F(LogTest, LosesNothingOfALongText)
{
    const std::string text(100000, 'x');
    zef::LogError("a", "{}", text);
    EXPECT_EQ(Text(), "error   [a] " + text + "\n");
}

TEST_F(LogTest, WritesWholeLinesFromSeveralThreadsWhileItIsStartedAnew)
{
    constexpr int kThreads = 4;
    constexpr int kLines = 200;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([] {
            for (int line = 0; line < kLines; ++line) {
                zef::LogInfo("a", "text");
            }
        });
    }
    for (int start = 0; start < 20; ++start) {
        zef::StartLog({LogLevel::Info, LogDestination::Console});
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    std::string expected;
    for (int line = 0; line < kThreads * kLines; ++line) {
        expected += "info    [a] text\n";
    }
    EXPECT_EQ(Text(), expected);
}

// Standard error is captured, so whatever the variable of the test's own surroundings names, it is not that.
TEST_F(LogTest, StaysOnStandardErrorWhenThatIsNotTheJournal)
{
    const char *before = std::getenv("JOURNAL_STREAM");
    const std::string saved = before == nullptr ? "" : before;
    setenv("JOURNAL_STREAM", "1:1", 1);
    zef::StartLog({LogLevel::Info, LogDestination::Automatic});
    before == nullptr ? unsetenv("JOURNAL_STREAM") : setenv("JOURNAL_STREAM", saved.c_str(), 1);
    zef::LogInfo("a", "text");
    EXPECT_EQ(Text(), "info    [a] text\n");
}

TEST(LogNamesTest, FindsLevelsByName)
{
    EXPECT_EQ(zef::LogLevelByName("error"), LogLevel::Error);
    EXPECT_EQ(zef::LogLevelByName("warn"), LogLevel::Warn);
    EXPECT_EQ(zef::LogLevelByName("info"), LogLevel::Info);
    EXPECT_EQ(zef::LogLevelByName("debug"), LogLevel::Debug);
}

TEST(LogNamesTest, KnowsNoOtherLevel)
{
    for (const char *name : {"", "Error", "warning", "info ", "trace"}) {
        EXPECT_EQ(zef::LogLevelByName(name), std::nullopt) << name;
    }
}

TEST(LogNamesTest, NamesLevels)
{
    for (const char *name : {"error", "warn", "info", "debug"}) {
        EXPECT_STREQ(zef::LogLevelName(*zef::LogLevelByName(name)), name);
    }
}

TEST(LogNamesTest, FindsDestinationsByName)
{
    EXPECT_EQ(zef::LogDestinationByName("auto"), LogDestination::Automatic);
    EXPECT_EQ(zef::LogDestinationByName("console"), LogDestination::Console);
    EXPECT_EQ(zef::LogDestinationByName("journal"), LogDestination::Journal);
    EXPECT_EQ(zef::LogDestinationByName("file"), std::nullopt);
}

// The destructor of a static object that was constructed before the log was first used.
struct WritesAtExit {
    ~WritesAtExit() { zef::LogError("exit", "late line"); }
};

TEST(LogDeathTest, WritesWhileTheProcessEnds)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            static WritesAtExit late;
            zef::LogError("exit", "first line");
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "exit. late line");
}

}  // namespace
