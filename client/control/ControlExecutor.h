// Carries requests out, one after another, on a thread of its own.
#ifndef ZEF_CLIENT_CONTROL_CONTROL_EXECUTOR_H
#define ZEF_CLIENT_CONTROL_CONTROL_EXECUTOR_H

#include "common/Mutex.h"
#include "control/ControlProtocol.h"

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <thread>

#include <cstddef>
#include <cstdint>

namespace zef {

// Carries a request out and returns the result, an object. Runs on the server's executor thread, one request after
// another, never beside another. Gives up by itself at the deadline: the client has its answer by then, and both the
// next request and the stop of the server wait for the handler. Throws ControlError; anything else that it throws
// reaches the client as ExitCode::Failed.
using RequestHandler =
    std::function<JsonValue(const JsonValue &request, std::chrono::steady_clock::time_point deadline)>;

// Submit and Withdraw may be called from any thread.
class ControlExecutor {
public:
    struct Job {
        uint64_t id;
        std::shared_ptr<const JsonValue> request;
        std::chrono::steady_clock::time_point deadline;
    };

    // `answer` gets a job's id and the line to answer with. It is called on the executor's thread and throws nothing.
    ControlExecutor(RequestHandler handler, std::function<void(uint64_t id, std::string line)> answer,
                    size_t maxQueued);

    ~ControlExecutor();

    ControlExecutor(const ControlExecutor &) = delete;
    ControlExecutor &operator=(const ControlExecutor &) = delete;

    // A job is not begun after its deadline; it waits to be withdrawn then. Throws ControlError when as many jobs wait
    // as may, and after Stop.
    void Submit(Job job);

    // True when the job has not been begun: it never is then, and gets no answer.
    bool Withdraw(uint64_t id);

    // Returns when the running job has ended and has been answered; drops all others. Not to be called by a handler.
    void Stop();

private:
    void Run();
    std::deque<Job>::iterator NextJob() ZEF_REQUIRES(mutex);  // the one to begin now
    std::string Execute(const Job &job) const;

    const RequestHandler handler;
    const std::function<void(uint64_t id, std::string line)> answer;
    const size_t maxQueued;

    Mutex mutex;
    Condition changed;
    std::deque<Job> jobs ZEF_GUARDED_BY(mutex);
    bool stopping ZEF_GUARDED_BY(mutex) = false;

    std::thread thread;  // the last member: it uses all others
};

}  // namespace zef

#endif
