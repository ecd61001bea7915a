// The hosting side of the task pool. Linked into hosts, never into the library.
//
// The library constructs its pool while it is loaded, before the program's own static objects exist, and destroys it
// when they may be gone already. So nothing here depends on them: the state of this file is constant-initialised, and
// the gate that tasks pass through is constructed on first use and never destroyed.
//
// Locks: the pool's mutex and the gate's are never held together; that of the list of batches is taken last. None is
// held while a task runs or is destroyed.
#include "ThreadPool.h"

#include "TaskBatch.h"
#include "TaskGate.h"

#include <chrono>
#include <functional>

#include <cstdio>
#include <ctime>

#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>

namespace {

using zef::TaskBatch;
using zef::TaskGate;

// Keeps the sum with the clock far from overflow, whatever delay a task was committed with.
constexpr int64_t kLongestWaitMs = 60 * 60 * 1000;

// Below a millisecond, in which due times are counted.
constexpr std::chrono::microseconds kBurst(50);

// The pool that the calling thread works for.
thread_local const ThreadPool *ownPool = nullptr;

// Blocks the signals that are sent to a process for the life of the object; threads created meanwhile inherit that. So
// the host's threads alone decide who handles them, although the workers exist before main does.
class ProcessSignalsBlocked {
public:
    ProcessSignalsBlocked()
    {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
            sigdelset(&blocked, fault);
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &before);
    }

    ~ProcessSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    ProcessSignalsBlocked(const ProcessSignalsBlocked &) = delete;
    ProcessSignalsBlocked &operator=(const ProcessSignalsBlocked &) = delete;

private:
    sigset_t before;
};

void NameThisThread(unsigned number)
{
    char name[16];  // what the kernel keeps, terminator included
    (void)std::snprintf(name, sizeof(name), "zef-pool-%u", number);
    pthread_setname_np(pthread_self(), name);
}

// Without the 50 microseconds by which the kernel may otherwise put off a wake-up, to join it with others.
void WakeInTime()
{
    prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
}

int64_t NowMs()
{
    return static_cast<int64_t>(ThreadPool::TimeGetPowerOnMs());
}

bool IsTopDue(const ThreadPool &pool)
{
    return !pool.tasks.empty() && std::get<0>(pool.tasks.front()) <= NowMs();
}

// Waits for the next thing that may make a task due: a commit, the stop, or the due time of the earliest task.
void WaitForChange(ThreadPool &pool, std::unique_lock<std::mutex> &lock)
{
    if (pool.tasks.empty()) {
        pool.wakeUp.wait(lock);
        return;
    }
    const int64_t untilMs = std::min(std::get<0>(pool.tasks.front()), NowMs() + kLongestWaitMs);
    // The steady clock is the one that TimeGetPowerOnMs reads.
    pool.wakeUp.wait_until(lock, std::chrono::steady_clock::time_point(std::chrono::milliseconds(untilMs)));
}

// Of a worker that was woken although nothing is due: stays awake for the moment in which more may be committed,
// without waiting for it. Otherwise each of a number of tasks in a row would cost who commits them a wake-up for
// nothing.
void LetMoreCome(const ThreadPool &pool, std::unique_lock<std::mutex> &lock)
{
    if (!pool.tasks.empty() && std::get<0>(pool.tasks.front()) > NowMs() + 1) {
        lock.unlock();
        std::this_thread::sleep_for(kBurst);
        lock.lock();
    }
}

// Returns when the earliest task is due: true. False when the pool has stopped.
bool WaitForDueTask(ThreadPool &pool, std::unique_lock<std::mutex> &lock)
{
    while (pool.running && !IsTopDue(pool)) {
        WaitForChange(pool, lock);
        LetMoreCome(pool, lock);
    }
    return pool.running;
}

// A worker passes the gate before it takes a task, so that a task committed during a pause can still come first. The
// gate is not waited for with the pool's mutex held.
bool PassGate(ThreadPool &pool, std::unique_lock<std::mutex> &lock)
{
    if (TaskGate::Get().TryEnter()) {
        return true;
    }
    lock.unlock();
    const bool isIn = TaskGate::Get().Enter(pool.running);
    lock.lock();
    return isIn;
}

// Takes nothing when another worker was faster, or the pool has stopped. The worker that takes a task no longer watches
// the due time of the next one; another that is idle, and may have looked before that one was committed, takes this
// over.
void TakeDueTasks(ThreadPool &pool, TaskBatch &batch, size_t most)
{
    if (pool.running && IsTopDue(pool)) {
        batch.Take(pool.tasks, most);
        if (!pool.tasks.empty()) {
            pool.wakeUp.notify_one();
        }
    }
}

// Inside the gate, which it leaves. A pause that is waiting goes before every task that is left.
void RunTasks(const ThreadPool &pool, TaskBatch &batch)
{
    bool isIn = true;
    while (isIn && pool.running && batch.RunNext()) {
        isIn = TaskGate::Get().LetPauseIn(pool.running);
    }
    if (isIn) {
        TaskGate::Get().Leave();
    }
}

void Work(ThreadPool &pool, unsigned number, size_t mostAtOnce)
{
    ownPool = &pool;
    NameThisThread(number);
    WakeInTime();
    TaskBatch batch(pool);
    std::unique_lock<std::mutex> lock(pool.mutex);
    while (WaitForDueTask(pool, lock) && PassGate(pool, lock)) {
        TakeDueTasks(pool, batch, mostAtOnce);
        lock.unlock();
        RunTasks(pool, batch);
        lock.lock();
    }
}

// Of several workers each takes one task at a time: behind a long one no other waits that another worker could run.
void StartWorkers(ThreadPool &pool, unsigned count)
{
    const ProcessSignalsBlocked blocked;
    pool.workers.reserve(count);
    for (unsigned number = 0; number < count; ++number) {
        pool.workers.emplace_back(Work, std::ref(pool), number, count == 1 ? TaskBatch::kMost : 1);
    }
}

// Takes a worker out of its place in the list, which keeps its length: commit looks at that without the mutex.
std::thread TakeWorker(ThreadPool &pool)
{
    const std::lock_guard<std::mutex> lock(pool.mutex);
    for (std::thread &worker : pool.workers) {
        if (worker.joinable()) {
            return std::move(worker);
        }
    }
    return std::thread();
}

void StopAndDrop(ThreadPool &pool)
{
    std::vector<ThreadPool::Task> dropped;
    TaskBatch droppedOfWorkers(pool);
    {
        const std::lock_guard<std::mutex> lock(pool.mutex);
        pool.running = false;
        dropped.swap(pool.tasks);
        droppedOfWorkers.TakeRest();
    }
    pool.wakeUp.notify_all();
    TaskGate::Get().Recheck();
}

// A worker cannot wait for its own end.
void JoinOrDetach(std::thread worker)
{
    if (worker.get_id() == std::this_thread::get_id()) {
        worker.detach();
    } else {
        worker.join();
    }
}

void EndWorkers(ThreadPool &pool)
{
    for (std::thread worker = TakeWorker(pool); worker.joinable(); worker = TakeWorker(pool)) {
        JoinOrDetach(std::move(worker));
    }
}

}  // namespace

ThreadPool::ThreadPool(unsigned char workerCount) : running(true)
{
    try {
        StartWorkers(*this, workerCount);
    } catch (...) {
        // The workers that did start use this object.
        Clear();
        throw;
    }
}

// A task that ends the process destroys the pool on its own worker, which is then left to end with the process.
ThreadPool::~ThreadPool()
{
    StopAndDrop(*this);
    EndWorkers(*this);
}

// On one of its own workers, Clear cannot wait for the task that calls it, nor for another that may be calling it too:
// the workers then end by themselves and are joined by the next Clear from outside, or by the destructor.
void ThreadPool::Clear()
{
    StopAndDrop(*this);
    if (ownPool != this) {
        EndWorkers(*this);
    }
}

uint64_t ThreadPool::TimeGetPowerOnMs()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}
