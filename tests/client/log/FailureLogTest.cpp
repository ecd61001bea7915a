#include "log/FailureLog.h"

#include "FakeLogClock.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace zef {

namespace {

using std::chrono::minutes;
using std::chrono::seconds;
using Kind = FailureNews::Kind;

class FailureLogTest : public ::testing::Test {
protected:
    // Fails every 2 s, and returns how many of the failures were news.
    int FailFor(std::chrono::seconds time, const std::string &cause)
    {
        int news = 0;
        for (seconds passed{0}; passed < time; passed += seconds(2)) {
            clock.Advance(seconds(2));
            news += log.Failed("pair", cause) ? 1 : 0;
        }
        return news;
    }

    // An outage with one failure; whether it was news.
    bool FailAndRecover()
    {
        const bool isNews = log.Failed("pair", "refused").has_value();
        EXPECT_EQ(log.Recovered("pair").has_value(), isNews);
        return isNews;
    }

    FakeLogClock clock;
    FailureLog log{clock.Clock()};
};

}  // namespace

TEST_F(FailureLogTest, TheFirstFailureIsNews)
{
    const std::optional<FailureNews> news = log.Failed("pair", "refused");
    ASSERT_TRUE(news.has_value());
    EXPECT_EQ(news->kind, Kind::First);
    EXPECT_EQ(news->failures, 1u);
    EXPECT_EQ(news->failuresInAll, 1u);
    EXPECT_EQ(news->since, clock.Wall());
    EXPECT_EQ(FailureTail(*news, "up"),
              "; tried again every 2 s, reported again when the cause changes, in 10 minutes, or when it is up");
}

TEST_F(FailureLogTest, TheSameCauseIsNoNewsForTenMinutes)
{
    log.Failed("pair", "refused");
    EXPECT_EQ(FailFor(seconds(598), "refused"), 0);
    EXPECT_EQ(FailFor(seconds(2), "refused"), 1);
}

TEST_F(FailureLogTest, ASummaryCountsWhatFailedSinceTheLastMessage)
{
    log.Failed("pair", "refused");
    FailFor(seconds(598), "refused");
    clock.Advance(seconds(2));
    std::optional<FailureNews> news = log.Failed("pair", "refused");
    ASSERT_TRUE(news.has_value());
    EXPECT_EQ(news->kind, Kind::Summary);
    EXPECT_EQ(FailureTail(*news, "up"), "; 300 tries failed since 14:03:22, 301 since 2026-03-01 14:03:22");

    FailFor(seconds(598), "refused");
    clock.Advance(seconds(2));
    news = log.Failed("pair", "refused");
    ASSERT_TRUE(news.has_value());
    EXPECT_EQ(FailureTail(*news, "up"), "; 300 tries failed since 14:13:22, 601 since 2026-03-01 14:03:22");
}

TEST_F(FailureLogTest, ANewCauseIsNewsAtOnce)
{
    log.Failed("pair", "refused");
    clock.Advance(seconds(2));
    log.Failed("pair", "refused");
    clock.Advance(seconds(2));
    const std::optional<FailureNews> news = log.Failed("pair", "no answer");
    ASSERT_TRUE(news.has_value());
    EXPECT_EQ(news->kind, Kind::NewCause);
    EXPECT_EQ(FailureTail(*news, "up"), "; 2 tries failed since 14:03:22, 3 since 2026-03-01 14:03:22");
}

TEST_F(FailureLogTest, ACauseThatWasToldIsNoNewsWhenItComesBack)
{
    log.Failed("pair", "refused");
    EXPECT_TRUE(log.Failed("pair", "no answer").has_value());
    EXPECT_FALSE(log.Failed("pair", "refused").has_value());
    EXPECT_FALSE(log.Failed("pair", "no answer").has_value());
}

TEST_F(FailureLogTest, CausesThatAlwaysDifferAreNotAllNews)
{
    int news = 0;
    for (int i = 0; i < 300; ++i) {
        news += log.Failed("pair", "cause " + std::to_string(i)) ? 1 : 0;
        clock.Advance(seconds(2));
    }
    EXPECT_EQ(news, 4);
    EXPECT_EQ(log.Failed("pair", "another")->kind, Kind::Summary);
}

TEST_F(FailureLogTest, ARecoveryTellsHowManyTriesFailed)
{
    log.Failed("pair", "refused");
    FailFor(seconds(600), "refused");
    const std::optional<RecoveryNews> news = log.Recovered("pair");
    ASSERT_TRUE(news.has_value());
    EXPECT_EQ(news->failures, 301u);
    EXPECT_FALSE(log.Recovered("pair").has_value());
}

TEST_F(FailureLogTest, AnOutageDoesNotCountWhatFailedInTheOneBefore)
{
    log.Failed("pair", "refused");
    log.Failed("pair", "refused");
    log.Recovered("pair");
    const std::optional<FailureNews> news = log.Failed("pair", "refused");
    ASSERT_TRUE(news.has_value());
    EXPECT_EQ(news->failures, 1u);
    EXPECT_EQ(news->failuresInAll, 1u);
}

TEST_F(FailureLogTest, ACauseIsNewsAgainAfterASummaryWithAnother)
{
    log.Failed("pair", "refused");
    FailFor(seconds(598), "refused");
    clock.Advance(seconds(2));
    EXPECT_EQ(log.Failed("pair", "no answer")->kind, Kind::Summary);
    EXPECT_EQ(log.Failed("pair", "refused")->kind, Kind::NewCause);
}

TEST_F(FailureLogTest, WhatNeverFailedDoesNotRecover)
{
    EXPECT_FALSE(log.Recovered("pair").has_value());
}

TEST_F(FailureLogTest, ALossIsNoFailedTry)
{
    const std::optional<FailureNews> news = log.Lost("pair", "closed");
    ASSERT_TRUE(news.has_value());
    EXPECT_EQ(news->kind, Kind::First);
    EXPECT_EQ(news->failures, 0u);
    EXPECT_FALSE(log.Failed("pair", "closed").has_value());
    EXPECT_EQ(log.Recovered("pair")->failures, 1u);
}

TEST_F(FailureLogTest, WhatComesAndGoesIsToldAFewTimesInTenMinutes)
{
    int news = 0;
    for (int i = 0; i < 300; ++i) {
        news += FailAndRecover() ? 1 : 0;
        clock.Advance(seconds(2));
    }
    EXPECT_EQ(news, 5);
    const std::optional<FailureNews> next = log.Failed("pair", "refused");
    ASSERT_TRUE(next.has_value());
    EXPECT_EQ(next->outagesLeftOut, 295u);
    EXPECT_EQ(FailureTail(*next, "up"), "; tried again every 2 s, reported again when the cause changes, in 10 "
                                        "minutes, or when it is up (295 outages before this one were not reported)");
}

TEST_F(FailureLogTest, AnOutageThatWasLeftOutIsToldWhenItLasts)
{
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(FailAndRecover());
    }
    EXPECT_FALSE(log.Failed("pair", "refused").has_value());
    EXPECT_TRUE(log.IsHushed("pair"));
    EXPECT_EQ(FailFor(seconds(598), "refused"), 0);
    clock.Advance(seconds(2));
    const std::optional<FailureNews> news = log.Failed("pair", "refused");
    ASSERT_TRUE(news.has_value());
    EXPECT_EQ(news->kind, Kind::First);
    EXPECT_EQ(news->outagesLeftOut, 0u);
    EXPECT_FALSE(log.IsHushed("pair"));
    EXPECT_EQ(log.Recovered("pair")->failures, 301u);
}

TEST_F(FailureLogTest, KeysDoNotKnowOfEachOther)
{
    EXPECT_TRUE(log.Failed("one", "refused").has_value());
    EXPECT_TRUE(log.Failed("two", "refused").has_value());
    EXPECT_FALSE(log.Failed("one", "refused").has_value());
    EXPECT_TRUE(log.Recovered("one").has_value());
    EXPECT_FALSE(log.Failed("two", "refused").has_value());
}

TEST_F(FailureLogTest, AKeyThatIsForgottenIsNew)
{
    log.Failed("pair", "refused");
    log.Forget("pair");
    EXPECT_FALSE(log.Recovered("pair").has_value());
    EXPECT_EQ(log.Failed("pair", "refused")->kind, Kind::First);
}

TEST_F(FailureLogTest, TheQuietestKeyGoesWhenThereAreTooMany)
{
    for (size_t i = 0; i < FailureLog::kMostKeys; ++i) {
        log.Failed(std::to_string(i), "refused");
        clock.Advance(std::chrono::milliseconds(1));
    }
    EXPECT_FALSE(log.Failed("0", "refused").has_value());
    clock.Advance(std::chrono::milliseconds(1));
    EXPECT_TRUE(log.Failed("one too many", "refused").has_value());
    EXPECT_FALSE(log.Failed("0", "refused").has_value());
    EXPECT_FALSE(log.Failed("2", "refused").has_value());
    EXPECT_TRUE(log.Failed("1", "refused").has_value());
}

TEST_F(FailureLogTest, MayBeUsedFromSeveralThreads)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this] {
            for (int i = 0; i < 1000; ++i) {
                log.Failed("pair", "refused");
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(log.Recovered("pair")->failures, 4000u);
}

TEST(FailureTailTest, SpeaksOfASingleTry)
{
    const FakeLogClock clock;
    FailureNews news;
    news.kind = Kind::NewCause;
    news.failures = 1;
    news.failuresInAll = 1;
    news.since = clock.Wall();
    EXPECT_EQ(FailureTail(news, "up"), "; 1 try failed since 14:03:22");
    EXPECT_EQ(FailedTries(0), "0 failed tries");
    EXPECT_EQ(FailedTries(1), "1 failed try");
    EXPECT_EQ(FailedTries(301), "301 failed tries");
}

}  // namespace zef
