// The standard library's mutex and condition variable, in a form that clang's thread-safety analysis can follow.
#ifndef ZEF_CLIENT_COMMON_MUTEX_H
#define ZEF_CLIENT_COMMON_MUTEX_H

#include "common/ThreadSafety.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace zef {

// Names what guards a member: `int count ZEF_GUARDED_BY(mutex) = 0;`. Held by a MutexLock.
class ZEF_CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex &) = delete;
    Mutex &operator=(const Mutex &) = delete;

    void Lock() ZEF_ACQUIRE() { mutex.lock(); }
    void Unlock() ZEF_RELEASE() { mutex.unlock(); }

private:
    friend class Condition;

    std::mutex mutex;
};

// Holds a mutex until the end of the scope, but for the time between Unlock and Lock.
class ZEF_SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex &mutexToHold) ZEF_ACQUIRE(mutexToHold) : mutex(mutexToHold) { mutex.Lock(); }

    ~MutexLock() ZEF_RELEASE()
    {
        if (isHeld) {
            mutex.Unlock();
        }
    }

    MutexLock(const MutexLock &) = delete;
    MutexLock &operator=(const MutexLock &) = delete;

    void Lock() ZEF_ACQUIRE()
    {
        mutex.Lock();
        isHeld = true;
    }

    void Unlock() ZEF_RELEASE()
    {
        isHeld = false;
        mutex.Unlock();
    }

private:
    Mutex &mutex;
    bool isHeld = true;
};

// Waits may end without a reason, so they stand in a loop that looks at what is waited for.
class Condition {
public:
    // Gives the mutex up while it waits.
    void Wait(Mutex &mutex) ZEF_REQUIRES(mutex)
    {
        std::unique_lock<std::mutex> lock(mutex.mutex, std::adopt_lock);
        condition.wait(lock);
        lock.release();
    }

    // The same; false once the time has come.
    bool WaitUntil(Mutex &mutex, std::chrono::steady_clock::time_point until) ZEF_REQUIRES(mutex)
    {
        std::unique_lock<std::mutex> lock(mutex.mutex, std::adopt_lock);
        const bool isInTime = condition.wait_until(lock, until) == std::cv_status::no_timeout;
        lock.release();
        return isInTime;
    }

    void NotifyOne() { condition.notify_one(); }
    void NotifyAll() { condition.notify_all(); }

private:
    std::condition_variable condition;
};

}  // namespace zef

#endif
