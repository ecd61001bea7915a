// What a worker has taken from the queue of its pool and not begun yet.
#ifndef ZEF_THREADPOOL_TASK_BATCH_H
#define ZEF_THREADPOOL_TASK_BATCH_H

#include "ThreadPool.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <vector>

namespace zef {

// Tasks that a worker runs one after another without going back to the queue for each. All of them were due at once, so
// that none that came later would have gone first. Belongs to one thread, but for TakeRest. Stands on that thread's
// stack and takes more than 100 kB there, of which only what tasks were in is ever touched.
class TaskBatch {
public:
    // Enough to make the queue's mutex, which several threads may want at once, and the way through its heap a small part
    // of what a task costs.
    static constexpr size_t kMost = 2048;

    // What is taken is of that pool.
    explicit TaskBatch(const ThreadPool &ofPool);

    ~TaskBatch();
    TaskBatch(const TaskBatch &) = delete;
    TaskBatch &operator=(const TaskBatch &) = delete;

    // Takes the top task out of a heap that has one, and with it others, `most` in all, if it is due at once and they
    // are too. What is left is a heap. Called with the pool's mutex held, and with nothing left to run.
    void Take(std::vector<ThreadPool::Task> &heap, size_t most);

    // Runs a task, then destroys it with all that its arguments hold. False when none is left. An exception of the
    // committed function stays in its future.
    bool RunNext();

    // Takes from the other batches of the pool what is left to run in them, to be destroyed with this one, which has
    // taken nothing else. Called with the pool's mutex held, on any thread. A pool's workers have taken kMost at most
    // together.
    void TakeRest();

private:
    // Room for a task. Memory that no task was ever in is never touched: most batches stay small.
    union Slot {
        Slot() {}   // NOLINT(modernize-use-equals-default): the task cannot be constructed
        ~Slot() {}  // NOLINT(modernize-use-equals-default): whoever takes a task destroys it
        ThreadPool::Task task;
    };

    void Add(ThreadPool::Task &&task);
    void TakeRestOf(TaskBatch &other);
    void LeaveList();
    void Destroy(size_t first, size_t behindLast);

    const ThreadPool &pool;
    TaskBatch *following;  // in the list of all batches
    std::array<Slot, kMost> slots;
    size_t end = 0;
    size_t toDrop = 0;                // of those that TakeRest has taken
    std::atomic<size_t> next{kMost};  // who counts it up has the task; none before the first are taken
};

}  // namespace zef

#endif
