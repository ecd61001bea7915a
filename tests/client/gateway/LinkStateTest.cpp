#include "gateway/LinkState.h"

#include <gtest/gtest.h>

namespace {

zef::LinkState State(zef::LinkPhase phase)
{
    zef::LinkState state;
    state.local = "10.0.0.1";
    state.array = "10.0.0.9";
    state.phase = phase;
    return state;
}

}  // namespace

TEST(LinkStateTest, DescribesALinkThatIsUpWithItsWwn)
{
    zef::LinkState state = State(zef::LinkPhase::Up);
    state.wwn = 0x600140512345678a;
    EXPECT_EQ(Describe(state), "10.0.0.1 -> 10.0.0.9 up, WWN 0x600140512345678a");
}

TEST(LinkStateTest, DescribesASmallWwnWithAllItsDigits)
{
    zef::LinkState state = State(zef::LinkPhase::Up);
    state.wwn = 1;
    EXPECT_EQ(Describe(state), "10.0.0.1 -> 10.0.0.9 up, WWN 0x0000000000000001");
}

TEST(LinkStateTest, DescribesALinkThatIsUpWithoutAWwn)
{
    EXPECT_EQ(Describe(State(zef::LinkPhase::Up)), "10.0.0.1 -> 10.0.0.9 up, WWN not known yet");
}

TEST(LinkStateTest, DescribesAFailureWithItsCause)
{
    zef::LinkState state = State(zef::LinkPhase::Failed);
    state.cause = "connection refused";
    EXPECT_EQ(Describe(state), "10.0.0.1 -> 10.0.0.9 failed: connection refused");
    state.phase = zef::LinkPhase::WaitingToRetry;
    EXPECT_EQ(Describe(state), "10.0.0.1 -> 10.0.0.9 waiting to log in again: connection refused");
}

TEST(LinkStateTest, LeavesThePreviousCauseOutWhileALoginIsUnderWay)
{
    zef::LinkState state = State(zef::LinkPhase::LoggingIn);
    state.cause = "connection refused";
    EXPECT_EQ(Describe(state), "10.0.0.1 -> 10.0.0.9 logging in");
}

TEST(LinkStateTest, KnowsTheLinksWhoseLoginIsUnderWay)
{
    using zef::LinkPhase;
    for (const LinkPhase phase :
         {LinkPhase::Discovering, LinkPhase::Connecting, LinkPhase::LoggingIn, LinkPhase::ReadingWwn}) {
        EXPECT_TRUE(IsTrying(phase)) << LinkPhaseName(phase);
    }
    for (const LinkPhase phase : {LinkPhase::Created, LinkPhase::Up, LinkPhase::WaitingToRetry, LinkPhase::Failed,
                                  LinkPhase::Closed}) {
        EXPECT_FALSE(IsTrying(phase)) << LinkPhaseName(phase);
    }
}

TEST(LinkStateTest, NamesEveryPhase)
{
    using zef::LinkPhase;
    EXPECT_STREQ(LinkPhaseName(LinkPhase::Created), "created");
    EXPECT_STREQ(LinkPhaseName(LinkPhase::Discovering), "asking for targets");
    EXPECT_STREQ(LinkPhaseName(LinkPhase::Connecting), "connecting");
    EXPECT_STREQ(LinkPhaseName(LinkPhase::ReadingWwn), "reading WWN");
    EXPECT_STREQ(LinkPhaseName(LinkPhase::Closed), "closed");
}
