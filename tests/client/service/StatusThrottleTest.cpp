#include "service/StatusThrottle.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;
using zef::StatusThrottle;

constexpr milliseconds kSpacing{1000};
const StatusThrottle::TimePoint kStart = StatusThrottle::TimePoint() + std::chrono::hours(1);

TEST(StatusThrottleTest, HasNothingToSendAtFirst)
{
    StatusThrottle throttle(kSpacing);
    EXPECT_EQ(throttle.DueTime(), std::nullopt);
    EXPECT_EQ(throttle.TakeDue(kStart), std::nullopt);
}

TEST(StatusThrottleTest, LetsTheFirstTextThroughAtOnce)
{
    StatusThrottle throttle(kSpacing);
    throttle.Offer("2 of 4 links up");
    ASSERT_TRUE(throttle.DueTime().has_value());
    EXPECT_LE(*throttle.DueTime(), kStart);
    EXPECT_EQ(throttle.TakeDue(kStart), "2 of 4 links up");
    EXPECT_EQ(throttle.DueTime(), std::nullopt);
}

TEST(StatusThrottleTest, KeepsTheNextTextBackUntilItsTime)
{
    StatusThrottle throttle(kSpacing);
    throttle.Sent("one", kStart);
    throttle.Offer("two");
    EXPECT_EQ(throttle.DueTime(), kStart + kSpacing);
    EXPECT_EQ(throttle.TakeDue(kStart + milliseconds(999)), std::nullopt);
    EXPECT_EQ(throttle.TakeDue(kStart + milliseconds(1000)), "two");
}

TEST(StatusThrottleTest, MeasuresTheSpacingFromTheLastTextThatWasTaken)
{
    StatusThrottle throttle(kSpacing);
    throttle.Offer("one");
    throttle.TakeDue(kStart + milliseconds(400));
    throttle.Offer("two");
    EXPECT_EQ(throttle.DueTime(), kStart + milliseconds(1400));
}

TEST(StatusThrottleTest, OfSeveralTextsTheLastOneWins)
{
    StatusThrottle throttle(kSpacing);
    throttle.Sent("one", kStart);
    throttle.Offer("two");
    throttle.Offer("three");
    EXPECT_EQ(throttle.TakeDue(kStart + milliseconds(1000)), "three");
    EXPECT_EQ(throttle.TakeDue(kStart + milliseconds(9000)), std::nullopt);
}

TEST(StatusThrottleTest, DropsATextThatWasSentLast)
{
    StatusThrottle throttle(kSpacing);
    throttle.Sent("one", kStart);
    throttle.Offer("one");
    EXPECT_EQ(throttle.DueTime(), std::nullopt);
}

TEST(StatusThrottleTest, ATextThatGoesBackToWhatWasSentDropsTheOneThatWaits)
{
    StatusThrottle throttle(kSpacing);
    throttle.Sent("one", kStart);
    throttle.Offer("two");
    throttle.Offer("one");
    EXPECT_EQ(throttle.TakeDue(kStart + milliseconds(1000)), std::nullopt);
}

TEST(StatusThrottleTest, WhatWasSentInAnotherWayTakesThePlaceOfTheTextThatWaits)
{
    StatusThrottle throttle(kSpacing);
    throttle.Offer("one");
    throttle.Sent("two", kStart);
    EXPECT_EQ(throttle.TakeDue(kStart + milliseconds(1000)), std::nullopt);
}

TEST(StatusThrottleTest, AnEmptyTextIsATextToo)
{
    StatusThrottle throttle(kSpacing);
    throttle.Offer("");
    EXPECT_EQ(throttle.TakeDue(kStart), "");
}

}  // namespace
