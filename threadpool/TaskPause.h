// A stretch of time in which no task of any pool runs, and one thread alone does what tasks otherwise do.
#ifndef ZEF_THREADPOOL_TASK_PAUSE_H
#define ZEF_THREADPOOL_TASK_PAUSE_H

#include <chrono>

namespace zef {

// While an object of this class exists, no task of any ThreadPool of the process is running, and no other thread holds
// a pause: for code that touches what tasks touch without a lock.
//
// The constructor keeps tasks from beginning and waits until those that run have ended, as long as that takes; a pause
// that is waiting goes before every task that is not running yet, due or not. Tasks may be committed meanwhile, and
// ThreadPool::Clear works: the workers see that their pool has stopped, drop what they have, and end.
//
// Several threads that want a pause get it one after another, in no particular order. A thread that holds one gets
// further ones at once: tasks go on when the last one ends. An object is destroyed by the thread that made it.
//
// Inside a task a pause does nothing and returns at once, since the task itself could never end otherwise. With one
// worker in the process no other task runs then anyway; other workers are not held up, nor are other holders: none
// exists while a task runs.
class TaskPause {
public:
    TaskPause();

    // Gives up at that time: IsHeld tells.
    explicit TaskPause(std::chrono::steady_clock::time_point until);

    ~TaskPause();
    TaskPause(const TaskPause &) = delete;
    TaskPause &operator=(const TaskPause &) = delete;

    // False when the time passed before the pause was to be had: tasks run then.
    bool IsHeld() const { return isHeld; }

private:
    const bool isInsideTask;
    const bool isHeld;
};

}  // namespace zef

#endif
