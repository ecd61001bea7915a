// The point that every task of every pool of the process passes before it begins and after it has ended.
#ifndef ZEF_THREADPOOL_TASK_GATE_H
#define ZEF_THREADPOOL_TASK_GATE_H

#include "common/Mutex.h"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace zef {

// Counts running tasks and pauses, and keeps the two apart. Self-synchronised; no other lock is taken under its own.
// While there is no pause, workers pass without a lock.
class TaskGate {
public:
    // The gate of the process. Constructed on first use and never destroyed: pools may be static objects of libraries.
    static TaskGate &Get();

    // Worker: counts a task as running, unless a pause is held or waited for. Never waits.
    bool TryEnter();

    // Worker: the same, but waits until no pause is held or waited for. False, and nothing is counted, once `accepting`
    // is clear: the pool has stopped.
    bool Enter(const std::atomic<bool> &accepting);

    // Worker: the task has ended.
    void Leave();

    // Worker, between two tasks: as Leave and Enter.
    bool LetPauseIn(const std::atomic<bool> &accepting);

    // Looks again at what Enter and Pause wait for. To be called after a pool has cleared its flag.
    void Recheck();

    // Keeps tasks from beginning, and waits until none is running and no other thread holds a pause. A thread that
    // holds one already gets it once more. False, with nothing held, when this was not to be had until then.
    bool Pause(std::chrono::steady_clock::time_point until);

    // Takes one pause of the calling thread back.
    void Resume();

    // True on a worker between Enter and Leave.
    static bool IsInsideTask();

private:
    // Of the number below: how many tasks are running, and how many pauses there are, held and waited for, by different
    // threads. In one number, so that either of the two is seen together with the other.
    static constexpr uint64_t kTask = 1;
    static constexpr uint64_t kPause = uint64_t{1} << 32;

    bool IsFree() const ZEF_REQUIRES(mutex) { return counts.load() % kPause == 0 && !isHeld; }
    void EndPause() ZEF_REQUIRES(mutex);

    std::atomic<uint64_t> counts{0};  // of pauses: changes under the mutex only
    Mutex mutex;
    Condition changed;  // no task is running, a pause has ended, or a pool has stopped
    bool isHeld ZEF_GUARDED_BY(mutex) = false;
};

}  // namespace zef

#endif
