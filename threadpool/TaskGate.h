// The point that every task of every pool of the process passes before it begins and after it has ended.
#ifndef ZEF_THREADPOOL_TASK_GATE_H
#define ZEF_THREADPOOL_TASK_GATE_H

#include "common/Mutex.h"

#include <atomic>
#include <chrono>

namespace zef {

// Counts running tasks and pauses, and keeps the two apart. Self-synchronised; no other lock is taken under its own.
class TaskGate {
public:
    // The gate of the process. Constructed on first use and never destroyed: pools may be static objects of libraries.
    static TaskGate &Get();

    // Worker: waits until no pause is held or waited for, then counts a task as running. False, and nothing is counted,
    // once `accepting` is clear: the pool has stopped.
    bool Enter(const std::atomic<bool> &accepting);

    // Worker: the task has ended.
    void Leave();

    // Looks again at what Enter waits for. To be called after a pool has cleared its flag.
    void Recheck();

    // Keeps tasks from beginning, and waits until none is running and no other thread holds a pause. A thread that
    // holds one already gets it once more. False, with nothing held, when this was not to be had until then.
    bool Pause(std::chrono::steady_clock::time_point until);

    // Takes one pause of the calling thread back.
    void Resume();

    // True on a worker between Enter and Leave.
    static bool IsInsideTask();

private:
    void EndPause() ZEF_REQUIRES(mutex);

    Mutex mutex;
    Condition changed;  // no task is running, a pause has ended, or a pool has stopped
    unsigned runningTasks ZEF_GUARDED_BY(mutex) = 0;
    unsigned pauses ZEF_GUARDED_BY(mutex) = 0;  // held and waited for, by different threads
    bool isHeld ZEF_GUARDED_BY(mutex) = false;
};

}  // namespace zef

#endif
