// What clients do that send too much, too slowly, too often, or take no answer.
#include "control/ControlServer.h"

#include "ServerTest.h"
#include "log/Log.h"

#include <nlohmann/json.hpp>

#include <atomic>
#include <thread>
#include <vector>

#include <cerrno>

#include <sys/socket.h>

namespace zef {

namespace {

using Operations = std::vector<std::string>;
using std::chrono::milliseconds;

class ControlServerLimitsTest : public ServerTest {};

std::atomic<bool> acceptFails{false};
std::atomic<int> acceptAttempts{0};

}  // namespace

// The server's accept4, which the test program is linked to take from here.
extern "C" int __real_accept4(int socket, sockaddr *address, socklen_t *size, int flags);
extern "C" int __wrap_accept4(int socket, sockaddr *address, socklen_t *size, int flags);

extern "C" int __wrap_accept4(int socket, sockaddr *address, socklen_t *size, int flags)
{
    ++acceptAttempts;
    if (acceptFails) {
        errno = EMFILE;
        return -1;
    }
    return __real_accept4(socket, address, size, flags);
}

TEST_F(ControlServerLimitsTest, TakesTheLongestRequestAndNoLongerOne)
{
    options.maxRequestBytes = 1000;
    Start();
    AwkwardClient client = Connect();
    const std::string request = Echo(7);
    EXPECT_EQ(client.Ask(request + std::string(1000 - request.size(), ' ')), Echoed(7));
    EXPECT_EQ(client.Ask(request + std::string(1001 - request.size(), ' ')),
              Failure(ExitCode::Usage, "the request is longer than 1000 bytes"));
    EXPECT_EQ(client.Line(), "(end)");
}

TEST_F(ControlServerLimitsTest, RefusesARequestWithoutEnd)
{
    Start();
    AwkwardClient client = Connect();
    client.Send(std::string(65'537, 'x'));
    EXPECT_EQ(client.Line(), Failure(ExitCode::Usage, "the request is longer than 65536 bytes"));
    EXPECT_EQ(client.Line(), "(end)");
}

TEST_F(ControlServerLimitsTest, RefusesARequestThatDoesNotComeWholeInTime)
{
    options.receiveDeadline = milliseconds(1);
    Start();
    AwkwardClient client = Connect();
    client.Send("{");
    EXPECT_EQ(client.Line(), Failure(ExitCode::TimedOut, "the rest of the request did not come in time"));
    EXPECT_EQ(client.Line(), "(end)");
}

TEST_F(ControlServerLimitsTest, EndsAnIdleConnection)
{
    options.idleDeadline = milliseconds(1);
    Start();
    EXPECT_EQ(Connect().Line(), "(end)");
}

TEST_F(ControlServerLimitsTest, GivesUpAClientThatTakesNoAnswer)
{
    options.sendDeadline = milliseconds(1);
    Start();
    AwkwardClient client = Connect();
    client.Send(R"({"version":1,"op":"big","bytes":8000000})"
                "\n");
    ASSERT_TRUE(handler.AwaitBegun(1));
    // Nothing is read before the server has ended the connection.
    EXPECT_TRUE(Eventually([&client] {
        char byte = 0;
        return send(client.GetDescriptor(), &byte, 1, MSG_NOSIGNAL | MSG_DONTWAIT) < 0 && errno == EPIPE;
    }));
    EXPECT_EQ(client.Line(), "(end in the middle of a line)");
}

TEST_F(ControlServerLimitsTest, AClientThatNeverReadsKeepsNobodyWaiting)
{
    Start();
    AwkwardClient deaf = Connect();
    std::string requests;
    for (int i = 0; i < 100'000; ++i) {
        requests += "rubbish\n";
    }
    const size_t sent = deaf.SendWhatFits(requests);
    AwkwardClient greedy = Connect();
    greedy.Send(R"({"version":1,"op":"big","bytes":8000000})"
                "\n");
    ASSERT_TRUE(handler.AwaitBegun(1));
    AwkwardClient other = Connect();
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(other.Ask(Echo(i)), Echoed(i));
    }
    EXPECT_LT(sent, requests.size());
    server->Stop();
}

TEST_F(ControlServerLimitsTest, AnswersTimedOutWhenTheHandlerTakesTooLong)
{
    Start();
    AwkwardClient client = Connect();
    EXPECT_EQ(client.Ask(R"({"version":1,"op":"block","timeout_ms":1000})").substr(0, 21), R"({"error":{"code":8,"m)");
    ASSERT_TRUE(handler.AwaitBegun(1));
    handler.LetGo();
    EXPECT_EQ(Connect().Ask(Echo(6)), Echoed(6));  // after the late answer, which nobody wants any more
    EXPECT_EQ(client.Ask(Echo(7)), Echoed(7));
}

TEST_F(ControlServerLimitsTest, NeverBeginsARequestWhoseDeadlineHasPassed)
{
    Start();
    AwkwardClient blocker = Connect();
    blocker.Send(std::string(kBlock) + "\n");
    ASSERT_TRUE(handler.AwaitBegun(1));
    const std::string tooLate = Failure(ExitCode::TimedOut, "the request was not begun in time and has no effect");
    AwkwardClient client = Connect();
    EXPECT_EQ(client.Ask(R"({"version":1,"op":"late","timeout_ms":1})"), tooLate);
    handler.LetGo();
    EXPECT_EQ(blocker.Line(), kBlocked);
    EXPECT_EQ(client.Ask(R"({"version":1,"op":"at once","timeout_ms":0})"), tooLate);
    EXPECT_EQ(client.Ask(Echo(7)), Echoed(7));
    EXPECT_EQ(handler.Operations(), (Operations{"block", "echo"}));
}

TEST_F(ControlServerLimitsTest, SaysWhenARequestMayStillTakeEffect)
{
    Start();
    AwkwardClient client = Connect();
    client.Send(R"({"version":1,"op":"block","timeout_ms":2000})"
                "\n");
    ASSERT_TRUE(handler.AwaitBegun(1));
    EXPECT_EQ(client.Line(), Failure(ExitCode::TimedOut,
                                     "the request was begun and has not ended in time; it may still take effect"));
}

TEST_F(ControlServerLimitsTest, NeverBeginsTheRequestOfAClientThatHasGone)
{
    Start();
    AwkwardClient blocker = Connect();
    blocker.Send(std::string(kBlock) + "\n");
    ASSERT_TRUE(handler.AwaitBegun(1));
    AwkwardClient gone = Connect();
    gone.Send(R"({"version":1,"op":"gone"})"
              "\n");
    EXPECT_EQ(Connect().Ask(Wait(0)), Changes(1));  // the request has been read
    gone.Close();
    EXPECT_EQ(Connect().Ask(Wait(0)), Changes(1));  // and its client's end has been seen
    handler.LetGo();
    EXPECT_EQ(blocker.Ask(Echo(1)), kBlocked);
    EXPECT_EQ(blocker.Line(), Echoed(1));
    EXPECT_EQ(handler.Operations(), (Operations{"block", "echo"}));
}

TEST_F(ControlServerLimitsTest, AWaitingClientThatGoesTakesNoOthersRequestWithIt)
{
    Start();
    AwkwardClient blocker = Connect();
    blocker.Send(std::string(kBlock) + "\n");
    ASSERT_TRUE(handler.AwaitBegun(1));
    AwkwardClient queued = Connect();
    queued.Send(Echo(7) + "\n");  // the second request
    server->NotifyChange();       // the second value
    AwkwardClient gone = Connect();
    gone.Send(Wait(2) + "\n");
    EXPECT_EQ(Connect().Ask(Wait(0)), Changes(2));  // all of them have been read
    gone.Close();
    EXPECT_EQ(Connect().Ask(Wait(0)), Changes(2));
    handler.LetGo();
    EXPECT_EQ(queued.Line(), Echoed(7));
}

TEST_F(ControlServerLimitsTest, RefusesRequestsWhenTooManyWait)
{
    options.maxQueued = 2;
    Start();
    std::vector<AwkwardClient> clients;
    for (int i = 0; i < 3; ++i) {
        clients.push_back(Connect());
        clients.back().Send(std::string(kBlock) + "\n");
        ASSERT_TRUE(handler.AwaitBegun(1));
    }
    EXPECT_EQ(Connect().Ask(Wait(0)), Changes(1));  // all of them have been read
    EXPECT_EQ(Connect().Ask(Echo(7)), Failure(ExitCode::Failed, "2 requests are waiting already; try again later"));
    handler.LetGo();
    for (AwkwardClient &client : clients) {
        EXPECT_EQ(client.Line(), kBlocked);
    }
    EXPECT_EQ(Connect().Ask(Echo(7)), Echoed(7));
}

TEST_F(ControlServerLimitsTest, RefusesMoreClientsThanItTakes)
{
    options.maxClients = 2;
    Start();
    std::vector<AwkwardClient> clients;
    for (int i = 0; i < 2; ++i) {
        clients.push_back(Connect());
        EXPECT_EQ(clients.back().Ask(Echo(i)), Echoed(i));
    }
    AwkwardClient refused = Connect();
    EXPECT_EQ(refused.Line(), Failure(ExitCode::Failed, "2 connections are open already; try again later"));
    EXPECT_EQ(refused.Line(), "(end)");
    clients.pop_back();
    EXPECT_TRUE(Eventually([this] { return Connect().Ask(Echo(7)) == Echoed(7); }));
}

// The first ones are served, the others told; then all is as before.
TEST_F(ControlServerLimitsTest, StandsAThousandClientsAtOnce)
{
    Start();
    std::vector<AwkwardClient> clients;
    for (int i = 0; i < 1000; ++i) {
        clients.push_back(Connect());
    }
    size_t served = 0;
    size_t refused = 0;
    for (AwkwardClient &client : clients) {
        try {
            client.Send(Echo(7) + "\n");
        } catch (const std::runtime_error &) {
            // refused already; the answer says so
        }
        const std::string answer = client.Line();
        served += answer == Echoed(7) ? 1 : 0;
        refused +=
            answer == Failure(ExitCode::Failed, "64 connections are open already; try again later") ? 1 : 0;
    }
    EXPECT_EQ(served, 64U);
    EXPECT_EQ(refused, 936U);
    clients.clear();
    EXPECT_TRUE(Eventually([this] { return Connect().Ask(Echo(7)) == Echoed(7); }));
}

TEST_F(ControlServerLimitsTest, WaitsForDescriptorsWithoutTurningRound)
{
    Start();
    AwkwardClient client = Connect();
    EXPECT_EQ(client.Ask(Echo(1)), Echoed(1));
    acceptAttempts = 0;
    acceptFails = true;
    AwkwardClient late = Connect();
    late.Send(Echo(9) + "\n");
    EXPECT_TRUE(Eventually([] { return acceptAttempts > 0; }));
    EXPECT_EQ(client.Ask(Wait(1, R"(,"timeout_ms":100)")), Changes(1));  // the others are served meanwhile
    acceptFails = false;
    EXPECT_EQ(late.Line(), Echoed(9));
    // About two times a second, and not as often as the machine can.
    EXPECT_LE(acceptAttempts, 100);
}

TEST_F(ControlServerLimitsTest, LogsTheOperationAndThePeerAndNothingElse)
{
    std::string text;
    {
        const StandardErrorCapture capture;
        StartLog({LogLevel::Debug, LogDestination::Console});
        Start();
        AwkwardClient client = Connect();
        client.Ask(R"({"version":1,"op":"echo","value":"Secret_9"})");
        client.Ask(R"({"version":1,"op":")" + std::string(1000, 'x') + R"(Secret_9"})");
        client.Ask(R"("Secret_9")");
        server.reset();
        text = capture.Text();
        StartLog({});
    }
    EXPECT_NE(text.find("[control] echo asked for by user id " + std::to_string(geteuid()) + ", process " +
                        std::to_string(getpid())),
              std::string::npos)
        << text;
    EXPECT_EQ(text.find("Secret_9"), std::string::npos);
}

TEST_F(ControlServerLimitsTest, StandsClientsThatComeAndGoAtAnyMoment)
{
    Start();
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i) {
        threads.emplace_back([this, i] {
            for (int j = 0; j < 100; ++j) {
                AwkwardClient client = Connect();
                const std::string request = Echo(j) + "\n";
                (void)client.SendWhatFits(request.substr(0, static_cast<size_t>(i * j) % (request.size() + 1)));
                if (j % 3 == 0) {
                    server->NotifyChange();
                }
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Connect().Ask(Echo(7)), Echoed(7));
}

}  // namespace zef
