#include "TaskGate.h"

#include "common/NeverDestroyed.h"

namespace zef {

namespace {

// Needs no construction: threads may start before the program's static objects exist.
thread_local bool insideTask = false;
thread_local unsigned ownPauses = 0;

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

bool TaskGate::Pause(std::chrono::steady_clock::time_point until)
{
    if (ownPauses > 0) {
        ++ownPauses;
        return true;
    }
    std::unique_lock<std::mutex> lock(mutex);
    ++pauses;
    if (!changed.wait_until(lock, until, [&] { return runningTasks == 0 && !isHeld; })) {
        EndPause();
        return false;
    }
    isHeld = true;
    ownPauses = 1;
    return true;
}

void TaskGate::Resume()
{
    --ownPauses;
    if (ownPauses == 0) {
        const std::lock_guard<std::mutex> lock(mutex);
        isHeld = false;
        EndPause();
    }
}

void TaskGate::EndPause()
{
    --pauses;
    changed.notify_all();
}

bool TaskGate::IsInsideTask()
{
    return insideTask;
}

}  // namespace zef
