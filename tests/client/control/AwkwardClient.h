// A client of the control socket that sends what a test wants, and handlers that a test steers.
#ifndef ZEF_TESTS_CLIENT_CONTROL_AWKWARD_CLIENT_H
#define ZEF_TESTS_CLIENT_CONTROL_AWKWARD_CLIENT_H

#include "common/FileDescriptor.h"
#include "control/ControlServer.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace zef {

// Waits for at most half a minute; everything that fails throws std::runtime_error.
class AwkwardClient {
public:
    explicit AwkwardClient(const std::string &path);

    void Send(const std::string &bytes);

    // Sends as much as fits without waiting; the number of bytes.
    size_t SendWhatFits(const std::string &bytes);

    // The next line without its newline; "(end)" when the connection has ended.
    std::string Line();

    // A request and its answer.
    std::string Ask(const std::string &line);

    void EndSending();
    void Close() { socket.Close(); }
    int GetDescriptor() const { return socket.Get(); }

private:
    FileDescriptor socket;
    std::string received;
};

// Records operations in order. The handler of "block" waits until it is let go; "fail" and "crash" throw, "big" answers
// with a text of "bytes" letters; anything else gives its own "value" back.
class SteeredHandler {
public:
    RequestHandler Handler();

    // Returns once so many requests have been begun; false after half a minute.
    bool AwaitBegun(size_t count);

    void LetGo();

    std::vector<std::string> Operations();

private:
    JsonValue Handle(const JsonValue &request);
    JsonValue Block();

    std::mutex mutex;
    std::condition_variable changed;
    // guarded by mutex
    std::vector<std::string> operations;
    bool letGo = false;
};

// The line of a failure.
std::string Failure(ExitCode code, const std::string &message);

// Waits for the condition; false after half a minute.
bool Eventually(const std::function<bool()> &condition);

// Runs the function in a child process and expects it to return true there.
bool InChild(const std::function<bool()> &function);

}  // namespace zef

#endif
