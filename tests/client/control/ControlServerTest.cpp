#include "control/ControlServer.h"

#include "ServerTest.h"

#include <nlohmann/json.hpp>

#include <atomic>
#include <thread>
#include <vector>

namespace zef {

namespace {

using Operations = std::vector<std::string>;

class ControlServerTest : public ServerTest {};

}  // namespace

TEST_F(ControlServerTest, AnswersARequest)
{
    Start();
    EXPECT_EQ(Connect().Ask(Echo(7)), Echoed(7));
}

TEST_F(ControlServerTest, AnswersSeveralRequestsOverOneConnection)
{
    Start();
    AwkwardClient client = Connect();
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(client.Ask(Echo(i)), Echoed(i));
    }
}

TEST_F(ControlServerTest, AnswersManyRequestsOfOneWriteInTheirOrder)
{
    Start();
    std::string requests;
    for (int i = 0; i < 500; ++i) {
        requests += Echo(i) + "\n" + (i % 2 == 0 ? "rubbish\n" : "");
    }
    AwkwardClient client = Connect();
    client.Send(requests);
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(client.Line(), Echoed(i));
        if (i % 2 == 0) {
            ASSERT_EQ(client.Line(), Failure(ExitCode::Usage, "the request cannot be used: it is no JSON in UTF-8 "
                                                              "(at byte 1)"));
        }
    }
}

TEST_F(ControlServerTest, TakesARequestByteByByte)
{
    Start();
    AwkwardClient client = Connect();
    for (const char byte : Echo(7) + "\n") {
        client.Send(std::string(1, byte));
    }
    EXPECT_EQ(client.Line(), Echoed(7));
}

TEST_F(ControlServerTest, AnswersAClientThatSendsNoMore)
{
    Start();
    AwkwardClient client = Connect();
    client.Send(Echo(1) + "\n" + kBlock + "\n" + Echo(2) + "\n");
    client.EndSending();
    EXPECT_EQ(client.Line(), Echoed(1));
    ASSERT_TRUE(handler.AwaitBegun(2));
    handler.LetGo();
    EXPECT_EQ(client.Line(), kBlocked);
    EXPECT_EQ(client.Line(), Echoed(2));
    EXPECT_EQ(client.Line(), "(end)");
}

TEST_F(ControlServerTest, RefusesARequestThatEndsInTheMiddle)
{
    Start();
    AwkwardClient client = Connect();
    client.Send(Echo(1));
    client.EndSending();
    EXPECT_EQ(client.Line(), Failure(ExitCode::Usage, "the request does not end with a newline"));
    EXPECT_EQ(client.Line(), "(end)");
    EXPECT_EQ(handler.Operations(), Operations{});
}

TEST_F(ControlServerTest, GoesOnAfterAMalformedRequest)
{
    Start();
    AwkwardClient client = Connect();
    EXPECT_EQ(client.Ask(R"({"version":2,"op":"echo"})"),
              Failure(ExitCode::Usage, "the request cannot be used: its \"version\" is not 1"));
    EXPECT_EQ(client.Ask(""),
              Failure(ExitCode::Usage, "the request cannot be used: it is no JSON in UTF-8 (at byte 1)"));
    EXPECT_EQ(client.Ask(std::string("{\0}", 3)),
              Failure(ExitCode::Usage, "the request cannot be used: it holds a zero byte"));
    EXPECT_EQ(client.Ask(Echo(7)), Echoed(7));
}

TEST_F(ControlServerTest, PassesTheHandlersErrorsOn)
{
    Start();
    AwkwardClient client = Connect();
    EXPECT_EQ(client.Ask(R"({"version":1,"op":"fail"})"), Failure(ExitCode::ConfigInvalid, "no such thing"));
    EXPECT_EQ(client.Ask(R"({"version":1,"op":"crash"})"),
              Failure(ExitCode::Failed, "the request failed: out of order"));
    EXPECT_EQ(client.Ask(Echo(7)), Echoed(7));
}

TEST_F(ControlServerTest, CarriesRequestsOutOneAfterAnother)
{
    std::atomic<int> running{0};
    std::atomic<bool> together{false};
    server = std::make_unique<ControlServer>(options, [&](const JsonValue &, std::chrono::steady_clock::time_point) {
        together = together || ++running > 1;
        std::this_thread::yield();
        --running;
        return JsonValue::object();
    });
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([this] {
            AwkwardClient client = Connect();
            for (int j = 0; j < 50; ++j) {
                EXPECT_EQ(client.Ask(R"({"version":1,"op":"x"})"), R"({"ok":true,"result":{},"version":1})");
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(together);
}

TEST_F(ControlServerTest, SendsAnAnswerThatFillsTheSocketSeveralTimes)
{
    Start();
    AwkwardClient client = Connect();
    EXPECT_EQ(client.Ask(R"({"version":1,"op":"big","bytes":8000000})").size(),
              SuccessLine({{"text", ""}}).size() + 8'000'000);
    EXPECT_EQ(client.Ask(Echo(7)), Echoed(7));
}

TEST_F(ControlServerTest, GivesTheHandlerItsDeadline)
{
    std::chrono::steady_clock::time_point given;
    options.requestDeadline = std::chrono::hours(1);
    server = std::make_unique<ControlServer>(
        options, [&given](const JsonValue &, std::chrono::steady_clock::time_point deadline) {
            given = deadline;
            return JsonValue::object();
        });
    const auto before = std::chrono::steady_clock::now();
    AwkwardClient client = Connect();
    client.Ask(R"({"version":1,"op":"x","timeout_ms":1800000})");
    const auto after = std::chrono::steady_clock::now();
    EXPECT_GE(given, before + std::chrono::minutes(30));
    EXPECT_LE(given, after + std::chrono::minutes(30));
    client.Ask(R"({"version":1,"op":"x","timeout_ms":18446744073709551615})");
    EXPECT_GE(given, before + std::chrono::hours(1));
    EXPECT_LE(given, std::chrono::steady_clock::now() + std::chrono::hours(1));
}

TEST_F(ControlServerTest, RefusesATimeoutThatIsNone)
{
    Start();
    AwkwardClient client = Connect();
    const std::string refusal =
        Failure(ExitCode::Usage, "the request cannot be used: its \"timeout_ms\" is no whole number from 0 on");
    for (const char *value : {"-1", "1.5", "\"1\"", "null", "true"}) {
        EXPECT_EQ(client.Ask(R"({"version":1,"op":"echo","timeout_ms":)" + std::string(value) + "}"), refusal);
    }
    EXPECT_EQ(handler.Operations(), Operations{});
}

TEST_F(ControlServerTest, WaitsAnswersAtOnceWhenTheCounterDiffers)
{
    Start();
    AwkwardClient client = Connect();
    EXPECT_EQ(client.Ask(Wait(0)), Changes(1));
    EXPECT_EQ(client.Ask(Wait(2)), Changes(1));
    server->NotifyChange();
    EXPECT_EQ(client.Ask(Wait(1)), Changes(2));
}

TEST_F(ControlServerTest, WaitsForTheNextChangeWithoutTheExecutor)
{
    Start();
    AwkwardClient blocker = Connect();
    blocker.Send(std::string(kBlock) + "\n");
    ASSERT_TRUE(handler.AwaitBegun(1));
    std::vector<AwkwardClient> waiters;
    for (int i = 0; i < 10; ++i) {
        waiters.push_back(Connect());
        waiters.back().Send(Wait(1) + "\n");
    }
    // One more that is answered at once: when it is, all before it have been read.
    EXPECT_EQ(Connect().Ask(Wait(0)), Changes(1));
    server->NotifyChange();
    for (AwkwardClient &waiter : waiters) {
        EXPECT_EQ(waiter.Line(), Changes(2));
    }
    EXPECT_EQ(handler.Operations(), Operations{"block"});
}

TEST_F(ControlServerTest, WaitEndsUnchangedAtItsDeadline)
{
    Start();
    EXPECT_EQ(Connect().Ask(Wait(1, R"(,"timeout_ms":1)")), Changes(1));
}

TEST_F(ControlServerTest, WaitWantsACount)
{
    Start();
    AwkwardClient client = Connect();
    const std::string refusal =
        Failure(ExitCode::Usage, "the request cannot be used: its \"since\" is no whole number from 0 on");
    EXPECT_EQ(client.Ask(R"({"version":1,"op":"wait"})"), refusal);
    EXPECT_EQ(client.Ask(R"({"version":1,"op":"wait","since":-1})"), refusal);
    EXPECT_EQ(client.Ask(Wait(0)), Changes(1));
}

TEST_F(ControlServerTest, CountsChangesOfAllThreads)
{
    Start();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int j = 0; j < 1000; ++j) {
                server->NotifyChange();
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Connect().Ask(Wait(0)), Changes(4001));
}

TEST_F(ControlServerTest, StopsWithClientsInEveryState)
{
    Start();
    AwkwardClient idle = Connect();
    AwkwardClient inTheMiddle = Connect();
    inTheMiddle.Send("{\"version\"");
    AwkwardClient blocked = Connect();
    blocked.Send(std::string(kBlock) + "\n");
    ASSERT_TRUE(handler.AwaitBegun(1));
    AwkwardClient queued = Connect();
    queued.Send(Echo(1) + "\n");
    AwkwardClient waiter = Connect();
    waiter.Send(Wait(1) + "\n");
    EXPECT_EQ(Connect().Ask(Wait(0)), Changes(1));  // all of them have been read
    std::thread stopper([this] { server->Stop(); });
    // The requests that wait are dropped before the one that runs ends.
    EXPECT_TRUE(Eventually([this] {
        return Connect().Ask(R"({"version":1,"op":"echo","timeout_ms":1})") ==
               Failure(ExitCode::NotRunning, "the client is stopping");
    }));
    handler.LetGo();
    stopper.join();
    const std::string goodbye = Failure(ExitCode::NotRunning, "the client is stopping");
    EXPECT_EQ(idle.Line(), "(end)");
    EXPECT_EQ(inTheMiddle.Line(), "(end)");
    EXPECT_EQ(blocked.Line(), kBlocked);
    EXPECT_EQ(queued.Line(), goodbye);
    EXPECT_EQ(waiter.Line(), goodbye);
    EXPECT_EQ(waiter.Line(), "(end)");
    EXPECT_EQ(handler.Operations(), Operations{"block"});
}

TEST_F(ControlServerTest, StopsWithoutAnyClientAndMoreThanOnce)
{
    Start();
    server->Stop();
    server->Stop();
    server->NotifyChange();
    server.reset();
    EXPECT_TRUE(folder.Names().empty());
}

TEST_F(ControlServerTest, StartsAgainAtTheSamePlace)
{
    for (int i = 0; i < 20; ++i) {
        Start();
        EXPECT_EQ(Connect().Ask(Echo(i)), Echoed(i));
        server.reset();
    }
}

TEST_F(ControlServerTest, LeavesNoDescriptorBehind)
{
    const size_t before = OpenDescriptors();
    Start();
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(Connect().Ask(Echo(i)), Echoed(i));
    }
    server.reset();
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(ControlServerTest, IsNotMadeWhereAnotherAnswers)
{
    Start();
    try {
        const ControlServer second(options, handler.Handler());
        FAIL() << "there are two servers";
    } catch (const ControlError &error) {
        EXPECT_EQ(error.GetCode(), ExitCode::Failed);
        EXPECT_STREQ(error.what(), ("another zef_client answers on " + options.path + "; stop it first").c_str());
    }
    EXPECT_EQ(Connect().Ask(Echo(7)), Echoed(7));
}

}  // namespace zef
