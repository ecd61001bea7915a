#include "control/ControlClient.h"

#include "ServerTest.h"
#include "support/WithoutFileCapabilities.h"

#include <nlohmann/json.hpp>

#include <thread>

#include <sys/socket.h>

namespace zef {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kHangGuard(30);

class ControlClientTest : public ServerTest {
protected:
    // "1: the text" of what is thrown, or "" when nothing is.
    std::string Failed(const JsonValue &request, milliseconds timeout = kHangGuard) const
    {
        try {
            (void)ControlClient(options.path, timeout).Ask(request);
            return "";
        } catch (const ControlError &error) {
            return std::to_string(ToStatus(error.GetCode())) + ": " + error.what();
        }
    }

    // Listens in the server's place.
    FileDescriptor Listen() const
    {
        FileDescriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(bind(listener.Get(), UnixAddress(options.path).Get(), UnixAddress::Size()), 0);
        EXPECT_EQ(listen(listener.Get(), 0), 0);
        return listener;
    }

    // What a request ends with when it gets these bytes for an answer.
    std::string FailedAfter(const std::string &answer)
    {
        const FileDescriptor listener = Listen();
        std::thread impostor([&] {
            const FileDescriptor client(accept4(listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
            for (size_t sent = 0; sent < answer.size();) {
                const ssize_t count =
                    send(client.Get(), answer.data() + sent, answer.size() - sent, MSG_NOSIGNAL);
                if (count < 0) {
                    break;
                }
                sent += static_cast<size_t>(count);
            }
        });
        std::string failed = Failed(kStatus);
        impostor.join();
        unlink(options.path.c_str());
        return failed;
    }

    const JsonValue kStatus = {{"op", "status"}};
};

}  // namespace

TEST_F(ControlClientTest, GivesTheResult)
{
    Start();
    const ControlClient client(options.path, kHangGuard);
    EXPECT_EQ(client.Ask({{"op", "echo"}, {"value", {1, "ä"}}}), JsonValue({{"value", {1, "ä"}}}));
    EXPECT_EQ(client.Ask({{"op", "echo"}, {"version", 9}}), JsonValue({{"value", nullptr}}));
}

TEST_F(ControlClientTest, TakesALargeAnswer)
{
    Start();
    const ControlClient client(options.path, kHangGuard);
    EXPECT_EQ(client.Ask({{"op", "big"}, {"bytes", 8'000'000}})["text"].get<std::string>().size(), 8'000'000U);
}

TEST_F(ControlClientTest, ThrowsTheErrorThatTheServerTells)
{
    Start();
    EXPECT_EQ(Failed({{"op", "fail"}}), "3: no such thing");
}

TEST_F(ControlClientTest, HearsTheRefusalOfARequestThatIsNotReadToItsEnd)
{
    Start();
    EXPECT_EQ(Failed({{"op", "echo"}, {"value", std::string(10'000'000, 'x')}}),
              "2: the request is longer than 65536 bytes");
}

TEST_F(ControlClientTest, SaysWhenNoClientRuns)
{
    const std::string text = "5: no client answers on " + options.path + "; start it with 'systemctl start zef_client' or 'zef_client run'";
    EXPECT_EQ(Failed(kStatus), text);
    Listen().Close();
    EXPECT_EQ(Failed(kStatus), text);
    options.path = folder.File("not/there");
    EXPECT_EQ(Failed(kStatus), "5: no client answers on " + options.path + "; start it with 'systemctl start zef_client' or 'zef_client run'");
}

TEST_F(ControlClientTest, SaysWhenTheFileSystemDoesNotPermit)
{
    Start();
    ASSERT_EQ(chmod(options.path.c_str(), 0000), 0);
    const WithoutFileCapabilities bound;
    EXPECT_EQ(Failed(kStatus), "6: " + options.path + ": Permission denied. Root may ask the client, the user that it "
                                                      "runs as, and members of the socket's group");
}

TEST_F(ControlClientTest, SaysWhenThereIsNoAnswerInTime)
{
    const std::string text = "8: the client on " + options.path + " did not answer in time";
    const FileDescriptor listener = Listen();
    EXPECT_EQ(Failed(kStatus, milliseconds(20)), text);  // its connection stays in the queue, which is full then
    EXPECT_EQ(Failed(kStatus, milliseconds(20)), text);
    EXPECT_EQ(Failed(kStatus, milliseconds(-1)), text);
}

TEST_F(ControlClientTest, TellsTheServerHowLongItWaits)
{
    Start();
    AwkwardClient blocker = Connect();
    blocker.Send(std::string(kBlock) + "\n");
    ASSERT_TRUE(handler.AwaitBegun(1));
    EXPECT_EQ(Failed({{"op", "late"}}, milliseconds(20)).substr(0, 3), "8: ");
    EXPECT_EQ(Failed({{"op", "late"}, {"timeout_ms", 1}}),
              "8: the request was not begun in time and has no effect");
    handler.LetGo();
    EXPECT_EQ(blocker.Ask(Echo(1)), kBlocked);
    EXPECT_EQ(blocker.Line(), Echoed(1));
    EXPECT_EQ(handler.Operations(), (std::vector<std::string>{"block", "echo"}));
}

TEST_F(ControlClientTest, RefusesWhatIsNoAnswer)
{
    EXPECT_EQ(FailedAfter(""), "1: the client on " + options.path + " ended the connection without an answer");
    EXPECT_EQ(FailedAfter("{\"version\":1,"),
              "1: the client on " + options.path + " ended the connection without an answer");
    EXPECT_EQ(FailedAfter("220 hello\n"), "1: the answer cannot be used: it is no JSON in UTF-8 (at byte 5)");
    EXPECT_EQ(FailedAfter("{\"version\":1,\"ok\":true}\n"),
              "1: the answer cannot be used: it is neither a success nor a failure");
}

TEST_F(ControlClientTest, RefusesAnAnswerWithoutEnd)
{
    EXPECT_EQ(FailedAfter(std::string(kMaxAnswerBytes + 1'000'000, 'x')),
              "1: the answer on " + options.path + " is longer than 16777216 bytes");
}

TEST_F(ControlClientTest, SendsNothingThatIsNoRequest)
{
    EXPECT_EQ(Failed("status"), "2: the request is no object");
    EXPECT_EQ(Failed({{"op", "\xFF"}}), "2: the request holds text that is no UTF-8");
    options.path = std::string(200, 'x');
    EXPECT_EQ(Failed(kStatus),
              "2: the path of the control socket must have 1 to 107 bytes and no zero byte; it has 200 bytes");
}

}  // namespace zef
