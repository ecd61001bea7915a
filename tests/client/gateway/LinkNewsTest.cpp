#include "gateway/LinkNews.h"

#include "client/log/FakeLogClock.h"

#include <gmock/gmock.h>

#include <vector>

namespace zef {

namespace {

using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kPair[] = "10.0.0.1 -> 10.0.0.9 ";

class LinkNewsTest : public ::testing::Test {
protected:
    void Change(LinkPhase phase, const std::string &cause = "")
    {
        LinkState state;
        state.local = "10.0.0.1";
        state.array = "10.0.0.9";
        state.phase = phase;
        state.cause = cause;
        state.tries = tries;
        state.failures = failures;
        if (const std::optional<std::string> line = news.Line(state)) {
            EXPECT_EQ(line->rfind(kPair, 0), 0u) << *line;
            lines.push_back(line->substr(sizeof kPair - 1));
        }
    }

    void Try()
    {
        ++tries;
        Change(LinkPhase::Discovering);
        Change(LinkPhase::Connecting);
        Change(LinkPhase::LoggingIn);
    }

    void FailToLogIn(LinkPhase afterwards, const std::string &cause)
    {
        clock.Advance(seconds(2));
        Try();
        ++failures;
        Change(afterwards, cause);
    }

    void LogIn()
    {
        Try();
        Change(LinkPhase::ReadingWwn);
        failures = 0;
        Change(LinkPhase::Up);
    }

    std::vector<std::string> TakeLines() { return std::exchange(lines, {}); }

    FakeLogClock clock;
    LinkNews news{clock.Clock()};
    uint32_t tries = 0;
    uint32_t failures = 0;
    std::vector<std::string> lines;
};

}  // namespace

TEST_F(LinkNewsTest, ShowsEachPhaseOfTheFirstTry)
{
    LogIn();
    EXPECT_THAT(TakeLines(),
                ElementsAre("asking for targets", "connecting", "logging in", "reading WWN", "up, WWN not known yet"));
}

TEST_F(LinkNewsTest, ShowsNoPhasesOfLaterTriesAndNoFailureTwice)
{
    FailToLogIn(LinkPhase::Failed, "Connection refused");
    EXPECT_THAT(TakeLines(),
                ElementsAre("asking for targets", "connecting", "logging in", "failed: Connection refused"));
    for (int i = 0; i < 299; ++i) {
        FailToLogIn(LinkPhase::Failed, "Connection refused");
    }
    EXPECT_THAT(TakeLines(), IsEmpty());
}

TEST_F(LinkNewsTest, ShowsANewCause)
{
    FailToLogIn(LinkPhase::Failed, "Connection refused");
    TakeLines();
    FailToLogIn(LinkPhase::Failed, "Authentication failure(513)");
    EXPECT_THAT(TakeLines(), ElementsAre("failed: Authentication failure(513)"));
}

TEST_F(LinkNewsTest, ShowsASummaryEveryTenMinutes)
{
    for (int i = 0; i < 300; ++i) {
        FailToLogIn(LinkPhase::Failed, "Connection refused");
    }
    TakeLines();
    FailToLogIn(LinkPhase::Failed, "Connection refused");
    EXPECT_THAT(TakeLines(), ElementsAre("failed: Connection refused; 300 tries failed since 14:03:24, 301 since "
                                         "2026-03-01 14:03:24"));
}

TEST_F(LinkNewsTest, ShowsALossAndTheRecovery)
{
    LogIn();
    TakeLines();
    Change(LinkPhase::WaitingToRetry, "the array closed the connection");
    FailToLogIn(LinkPhase::WaitingToRetry, "Connection refused");
    FailToLogIn(LinkPhase::WaitingToRetry, "Connection refused");
    LogIn();
    EXPECT_THAT(TakeLines(), ElementsAre("waiting to log in again: the array closed the connection",
                                         "waiting to log in again: Connection refused", "up, WWN not known yet"));
}

TEST_F(LinkNewsTest, ShowsALinkThatComesAndGoesAFewTimesInTenMinutes)
{
    LogIn();
    TakeLines();
    for (int i = 0; i < 300; ++i) {
        clock.Advance(seconds(2));
        Change(LinkPhase::WaitingToRetry, "closed");
        LogIn();
    }
    std::vector<std::string> shown;
    for (int i = 0; i < 5; ++i) {
        shown.insert(shown.end(), {"waiting to log in again: closed", "up, WWN not known yet"});
    }
    EXPECT_EQ(TakeLines(), shown);
}

TEST_F(LinkNewsTest, AlwaysShowsThatALinkIsClosedAndBeginsAnew)
{
    FailToLogIn(LinkPhase::Failed, "Connection refused");
    TakeLines();
    Change(LinkPhase::Closed, "deleted");
    Change(LinkPhase::Failed, "Connection refused");
    EXPECT_THAT(TakeLines(), ElementsAre("closed: deleted", "failed: Connection refused"));
}

}  // namespace zef
