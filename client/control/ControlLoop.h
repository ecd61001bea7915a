// The thread that does the control socket's input and output.
#ifndef ZEF_CLIENT_CONTROL_CONTROL_LOOP_H
#define ZEF_CLIENT_CONTROL_CONTROL_LOOP_H

#include "common/FileDescriptor.h"
#include "common/Mutex.h"
#include "control/ControlConnection.h"
#include "control/ControlDoor.h"
#include "control/ControlExecutor.h"
#include "control/ControlOptions.h"

#include <atomic>
#include <chrono>
#include <list>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <cstdint>

#include <poll.h>

namespace zef {

// Waits for new clients, for those that are there and for what other threads have to say, and for nothing else. Post
// and NotifyChange may be called from any thread.
class ControlLoop {
public:
    // Throws ControlError when it cannot listen.
    explicit ControlLoop(const ControlOptions &options);

    ~ControlLoop();

    ControlLoop(const ControlLoop &) = delete;
    ControlLoop &operator=(const ControlLoop &) = delete;

    // Begins to serve; requests go to the executor, which has to outlive the thread.
    void Start(ControlExecutor &executor);

    // The answer to a request that the executor got. Without effect when nobody waits for it any more.
    void Post(uint64_t request, std::string line);

    void NotifyChange();

    // Gives what has been posted to the clients, as far as they take it without waiting, tells those without an answer
    // that the client stops, and ends the thread.
    void Stop();

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    void Run();
    std::vector<pollfd> Poll();
    int PollTimeout(TimePoint now) const;
    bool HasNews(const ControlConnection &connection) const;
    void TakeWakeUp();
    void DeliverAnswers();
    void Advance(ControlConnection &connection);
    void HandleLine(ControlConnection &connection, const std::string &line);
    void HandleRequest(ControlConnection &connection, JsonValue request);
    void CheckDeadline(ControlConnection &connection, TimePoint now);
    void RemoveEnded();
    void SayGoodbye();
    void Wake();

    const ControlOptions options;
    ControlDoor door;  // used by the thread alone
    FileDescriptor wakeUp;
    ControlExecutor *executor = nullptr;
    std::atomic<uint64_t> changes{1};  // 0 differs from every value that it has
    std::atomic<bool> isWaitedFor{false};  // by a client; without one, a change wakes nobody
    std::atomic<bool> stopping{false};

    Mutex mutex;
    std::vector<std::pair<uint64_t, std::string>> answers ZEF_GUARDED_BY(mutex);

    // the thread's own
    std::list<ControlConnection> connections;
    uint64_t lastRequest = 0;

    std::thread thread;
};

}  // namespace zef

#endif
