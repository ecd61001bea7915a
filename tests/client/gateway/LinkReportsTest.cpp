#include "gateway/LinkReports.h"

#include "client/log/CapturedLog.h"
#include "client/log/FakeLogClock.h"

namespace zef {

namespace {

using std::chrono::seconds;

class LinkReportsTest : public CapturedLog {
protected:
    LinkState State(LinkPhase phase, uint32_t failures, const std::string &cause = "")
    {
        LinkState state;
        state.local = "10.0.0.1";
        state.array = "10.0.0.9";
        state.phase = phase;
        state.failures = failures;
        state.cause = cause;
        return state;
    }

    // Tries that fail every 2 s, in all the phases that they go through.
    void FailFor(seconds time, LinkPhase phase, const std::string &cause, uint32_t failures)
    {
        for (seconds passed{0}; passed < time; passed += seconds(2)) {
            clock.Advance(seconds(2));
            reports.Tell(State(LinkPhase::Connecting, failures, cause));
            reports.Tell(State(phase, ++failures, cause));
        }
    }

    FakeLogClock clock;
    LinkReports reports{clock.Clock()};
};

}  // namespace

TEST_F(LinkReportsTest, TellsAFailureOnceUntilItIsOver)
{
    reports.Tell(State(LinkPhase::Failed, 1, "Connection refused"));
    FailFor(seconds(598), LinkPhase::Failed, "Connection refused", 1);
    reports.Tell(State(LinkPhase::Up, 0));
    EXPECT_EQ(Text(), "warning [gateway] link 10.0.0.1 -> 10.0.0.9 is not up: Connection refused; tried again every "
                      "2 s, reported again when the cause changes, in 10 minutes, or when it is up\n"
                      "info    [gateway] link 10.0.0.1 -> 10.0.0.9 is up after 300 failed tries\n");
}

TEST_F(LinkReportsTest, TellsANewCauseAndASummary)
{
    reports.Tell(State(LinkPhase::Failed, 1, "Connection refused"));
    FailFor(seconds(2), LinkPhase::Failed, "Authentication failure(513)", 1);
    FailFor(seconds(598), LinkPhase::Failed, "Authentication failure(513)", 2);
    EXPECT_EQ(Text(), "warning [gateway] link 10.0.0.1 -> 10.0.0.9 is not up: Connection refused; tried again every "
                      "2 s, reported again when the cause changes, in 10 minutes, or when it is up\n"
                      "warning [gateway] link 10.0.0.1 -> 10.0.0.9 is not up: Authentication failure(513); "
                      "1 try failed since 14:03:22, 2 since 2026-03-01 14:03:22\n"
                      "warning [gateway] link 10.0.0.1 -> 10.0.0.9 is still not up: Authentication failure(513); "
                      "299 tries failed since 14:03:24, 301 since 2026-03-01 14:03:22\n");
}

TEST_F(LinkReportsTest, TellsALossAndTheRecovery)
{
    reports.Tell(State(LinkPhase::Up, 0));
    reports.Tell(State(LinkPhase::WaitingToRetry, 0, "the array closed the connection"));
    FailFor(seconds(20), LinkPhase::WaitingToRetry, "Connection refused", 0);
    reports.Tell(State(LinkPhase::Up, 0));
    EXPECT_EQ(Text(), "warning [gateway] link 10.0.0.1 -> 10.0.0.9 lost: the array closed the connection; tried again "
                      "every 2 s, reported again when the cause changes, in 10 minutes, or when it is up\n"
                      "warning [gateway] link 10.0.0.1 -> 10.0.0.9 is not up: Connection refused; 1 try failed since "
                      "14:03:22\n"
                      "info    [gateway] link 10.0.0.1 -> 10.0.0.9 is up after 10 failed tries\n");
}

TEST_F(LinkReportsTest, TellsNothingOfALinkThatComesUpAtOnce)
{
    reports.Tell(State(LinkPhase::Connecting, 0));
    reports.Tell(State(LinkPhase::LoggingIn, 0));
    reports.Tell(State(LinkPhase::Up, 0));
    EXPECT_EQ(Text(), "");
}

TEST_F(LinkReportsTest, TellsWhatDoesNotEvenBecomeALoginAsOften)
{
    reports.Refused("10.0.0.1", "array", "not a pair of IPv4 addresses");
    reports.Refused("10.0.0.1", "array", "not a pair of IPv4 addresses");
    EXPECT_EQ(Text(), "warning [gateway] link 10.0.0.1 -> array is not up: not a pair of IPv4 addresses; tried again "
                      "every 2 s, reported again when the cause changes, in 10 minutes, or when it is up\n");
}

TEST_F(LinkReportsTest, BeginsAnewWithALinkThatWasClosed)
{
    reports.Tell(State(LinkPhase::Failed, 1, "Connection refused"));
    reports.Tell(State(LinkPhase::Closed, 1, "deleted"));
    reports.Tell(State(LinkPhase::Failed, 1, "Connection refused"));
    const std::string line = "warning [gateway] link 10.0.0.1 -> 10.0.0.9 is not up: Connection refused; tried again "
                             "every 2 s, reported again when the cause changes, in 10 minutes, or when it is up\n";
    EXPECT_EQ(Text(), line + line);
}

}  // namespace zef
