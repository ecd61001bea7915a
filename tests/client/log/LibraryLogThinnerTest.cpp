#include "log/LibraryLogThinner.h"

#include "FakeLogClock.h"

#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

namespace zef {

namespace {

using std::chrono::minutes;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

Texts TextsOf(const std::vector<LibraryLogThinner::Line> &lines)
{
    Texts texts;
    for (const LibraryLogThinner::Line &line : lines) {
        texts.push_back(std::string(LogLevelName(line.level)) + " " + line.text);
    }
    return texts;
}

class LibraryLogThinnerTest : public ::testing::Test {
protected:
    Texts Pass(const std::string &text, LogLevel level = LogLevel::Warn, int line = 1)
    {
        return TextsOf(thinner.Pass(level, "LinkTasks", line, text));
    }

    // A message every 2 s, none of which passes.
    void Repeat(const std::string &text, int times)
    {
        for (int i = 0; i < times; ++i) {
            clock.Advance(seconds(2));
            EXPECT_THAT(Pass(text), IsEmpty());
        }
    }

    FakeLogClock clock;
    LibraryLogThinner thinner{clock.Clock()};
};

}  // namespace

TEST_F(LibraryLogThinnerTest, TheFirstOfItsKindPassesWithoutItsNewline)
{
    EXPECT_THAT(Pass("retry.\n"), ElementsAre("warn retry."));
    EXPECT_THAT(Pass("retry."), IsEmpty());
}

TEST_F(LibraryLogThinnerTest, LevelPlaceAndTextMakeAKind)
{
    EXPECT_THAT(Pass("retry"), ElementsAre("warn retry"));
    EXPECT_THAT(Pass("retry", LogLevel::Error), ElementsAre("error retry"));
    EXPECT_THAT(Pass("retry", LogLevel::Warn, 2), ElementsAre("warn retry"));
    EXPECT_THAT(Pass("retries"), ElementsAre("warn retries"));
    EXPECT_THAT(TextsOf(thinner.Pass(LogLevel::Warn, "FibreChannel", 1, "retry")), ElementsAre("warn retry"));
}

TEST_F(LibraryLogThinnerTest, RepeatsAreSummedUpEveryTenMinutes)
{
    Pass("retry");
    Repeat("retry", 299);
    clock.Advance(seconds(2));
    EXPECT_THAT(Pass("retry"), ElementsAre("warn retry (left out 299 times in the last 10 minutes)"));
    Repeat("retry", 299);
    clock.Advance(seconds(2));
    EXPECT_THAT(Pass("retry"), ElementsAre("warn retry (left out 299 times in the last 10 minutes)"));
}

TEST_F(LibraryLogThinnerTest, WhatWasQuietForAMinuteIsNewWithTheCountInFront)
{
    Pass("retry");
    Repeat("retry", 3);
    clock.Advance(seconds(60));
    EXPECT_THAT(Pass("retry"), ElementsAre("warn retry (left out 3 times in the last 66 seconds)", "warn retry"));
}

TEST_F(LibraryLogThinnerTest, WhatWasQuietForLessIsNotNew)
{
    Pass("retry");
    clock.Advance(seconds(59));
    EXPECT_THAT(Pass("retry"), IsEmpty());
}

TEST_F(LibraryLogThinnerTest, AnyOtherMessageBringsTheCountOfAQuietOne)
{
    Pass("retry", LogLevel::Error);
    Pass("retry", LogLevel::Error);
    clock.Advance(minutes(3));
    EXPECT_THAT(Pass("success", LogLevel::Info),
                ElementsAre("error retry (left out 1 time in the last 3 minutes)", "info success"));
    clock.Advance(minutes(3));
    EXPECT_THAT(Pass("finish", LogLevel::Info), ElementsAre("info finish"));
}

TEST_F(LibraryLogThinnerTest, FlushTellsEveryCountOnce)
{
    Pass("one");
    Pass("one");
    Pass("two");
    Pass("three");
    Pass("three");
    Pass("three");
    EXPECT_THAT(TextsOf(thinner.Flush()), ElementsAre("warn one (left out 1 time in the last second)",
                                                      "warn three (left out 2 times in the last second)"));
    EXPECT_THAT(TextsOf(thinner.Flush()), IsEmpty());
    EXPECT_THAT(Pass("one"), ElementsAre("warn one"));
}

TEST_F(LibraryLogThinnerTest, TheQuietestKindGoesWithItsCountWhenThereAreTooMany)
{
    Pass("first");
    Pass("first");
    for (size_t i = 1; i < LibraryLogThinner::kMostKinds; ++i) {
        clock.Advance(std::chrono::milliseconds(1));
        EXPECT_EQ(Pass(std::to_string(i)).size(), 1u);
    }
    EXPECT_THAT(Pass("1"), IsEmpty()) << "a kind that is there needs no room";
    EXPECT_THAT(Pass("one too many"),
                ElementsAre("warn first (left out 1 time in the last second)", "warn one too many"));
    EXPECT_THAT(Pass("1"), IsEmpty());
}

TEST_F(LibraryLogThinnerTest, NoMessageOfSeveralThreadsIsLost)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this] {
            for (int i = 0; i < 1000; ++i) {
                Pass("retry");
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_THAT(TextsOf(thinner.Flush()), ElementsAre("warn retry (left out 3999 times in the last second)"));
}

}  // namespace zef
