// A stretch of time in which no task of any pool runs.
#ifndef ZEF_THREADPOOL_TASK_PAUSE_H
#define ZEF_THREADPOOL_TASK_PAUSE_H

namespace zef {

// While an object of this class exists, no task of any ThreadPool of the process is running: for code that touches what
// tasks touch without a lock.
//
// The constructor keeps tasks from beginning and waits until those that run have ended, as long as that takes; a pause
// that is waiting goes before every task that is not running yet, due or not. Tasks may be committed meanwhile, and
// ThreadPool::Clear works: the workers see that their pool has stopped, drop what they have, and end.
//
// Pauses may overlap, on one thread and on several: tasks go on when the last one ends. So two holders are not kept
// apart from each other.
//
// Inside a task a pause does nothing and returns at once, since the task itself could never end otherwise. With one
// worker in the process no other task runs then anyway; other workers are not held up.
class TaskPause {
public:
    TaskPause();
    ~TaskPause();
    TaskPause(const TaskPause &) = delete;
    TaskPause &operator=(const TaskPause &) = delete;

private:
    const bool holds;
};

}  // namespace zef

#endif
