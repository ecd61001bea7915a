#include "TaskGate.h"

#include "log/NeverDestroyed.h"

namespace zef {

namespace {

// Needs no construction: threads may start before the program's static objects exist.
thread_local bool insideTask = false;

}  // namespace

TaskGate &TaskGate::Get()
{
    static NeverDestroyed<TaskGate> gate;
    return gate.Get();
}

bool TaskGate::Enter(const std::atomic<bool> &accepting)
{
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [&] { return pauses == 0 || !accepting; });
    if (!accepting) {
        return false;
    }
    ++runningTasks;
    insideTask = true;
    return true;
}

void TaskGate::Leave()
{
    const std::lock_guard<std::mutex> lock(mutex);
    insideTask = false;
    --runningTasks;
    if (runningTasks == 0) {
        changed.notify_all();
    }
}

void TaskGate::Recheck()
{
    // Empty on purpose: a worker that has just seen the flag still set is waiting once the mutex can be had.
    {
        const std::lock_guard<std::mutex> lock(mutex);
    }
    changed.notify_all();
}

void TaskGate::Pause()
{
    std::unique_lock<std::mutex> lock(mutex);
    ++pauses;
    changed.wait(lock, [&] { return runningTasks == 0; });
}

void TaskGate::Resume()
{
    const std::lock_guard<std::mutex> lock(mutex);
    --pauses;
    if (pauses == 0) {
        changed.notify_all();
    }
}

bool TaskGate::IsInsideTask()
{
    return insideTask;
}

}  // namespace zef
