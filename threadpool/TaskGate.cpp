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

bool TaskGate::TryEnter()
{
    uint64_t seen = counts;
    while (seen < kPause) {
        if (counts.compare_exchange_weak(seen, seen + kTask)) {
            insideTask = true;
            return true;
        }
    }
    return false;
}

bool TaskGate::Enter(const std::atomic<bool> &accepting)
{
    if (accepting && TryEnter()) {
        return true;
    }
    const MutexLock lock(mutex);
    while (accepting) {
        if (TryEnter()) {
            return true;
        }
        changed.Wait(mutex);
    }
    return false;
}

void TaskGate::Leave()
{
    insideTask = false;
    const uint64_t left = counts -= kTask;
    if (left >= kPause && left % kPause == 0) {
        Recheck();
    }
}

bool TaskGate::LetPauseIn(const std::atomic<bool> &accepting)
{
    if (counts < kPause) {
        return true;
    }
    Leave();
    return Enter(accepting);
}

void TaskGate::Recheck()
{
    // Empty on purpose: who has just looked and seen what was before is waiting once the mutex can be had.
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
    counts += kPause;
    while (!IsFree() && changed.WaitUntil(mutex, until)) {
    }
    if (!IsFree()) {
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
    counts -= kPause;
    changed.NotifyAll();
}

bool TaskGate::IsInsideTask()
{
    return insideTask;
}

}  // namespace zef
