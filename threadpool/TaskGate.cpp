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
    const MutexLock lock(mutex);
    while (pauses > 0 && accepting) {
        changed.Wait(mutex);
    }
    if (!accepting) {
        return false;
    }
    ++runningTasks;
    insideTask = true;
    return true;
}

void TaskGate::Leave()
{
    const MutexLock lock(mutex);
    insideTask = false;
    --runningTasks;
    if (runningTasks == 0) {
        changed.NotifyAll();
    }
}

void TaskGate::Recheck()
{
    // Empty on purpose: a worker that has just seen the flag still set is waiting once the mutex can be had.
    {
        const MutexLock lock(mutex);
    }
    changed.NotifyAll();
}

bool TaskGate::Pause(std::chrono::steady_clock::time_point until)
{
    if (ownPauses > 0) {
        ++ownPauses;
        return true;
    }
    const MutexLock lock(mutex);
    ++pauses;
    while ((runningTasks > 0 || isHeld) && changed.WaitUntil(mutex, until)) {
    }
    if (runningTasks > 0 || isHeld) {
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
        const MutexLock lock(mutex);
        isHeld = false;
        EndPause();
    }
}

void TaskGate::EndPause()
{
    --pauses;
    changed.NotifyAll();
}

bool TaskGate::IsInsideTask()
{
    return insideTask;
}

}  // namespace zef
