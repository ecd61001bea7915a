#include "support/LockRecorder.h"

#include <algorithm>
#include <condition_variable>
#include <utility>

#include <cerrno>

#include <pthread.h>

namespace {

// Plain data: used before static objects are built and after they are gone.
constexpr int kMaxHeld = 32;
thread_local const void *held[kMaxHeld];
thread_local int heldCount = 0;

void NoteLocked(const void *mutex)
{
    if (heldCount < kMaxHeld) {
        held[heldCount++] = mutex;
    }
}

void NoteUnlocked(const void *mutex)
{
    const void **const end = held + heldCount;
    heldCount = static_cast<int>(std::remove(held, end, mutex) - held);
}

}  // namespace

int LockRecorder::Held()
{
    return heldCount;
}

bool LockRecorder::Holds(const void *mutex)
{
    return std::find(held, held + heldCount, mutex) != held + heldCount;
}

void LockRecorder::Reset()
{
    lockErrno = 0;
    onNotifyOne = nullptr;
}

// Seen from outside: the linker wants shared libraries that make these calls to find them.
#pragma GCC visibility push(default)

extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t *mutex);
void __real__ZNSt18condition_variable10notify_oneEv(std::condition_variable *condition);

int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex)
{
    if (LockRecorder::lockErrno != 0) {
        return std::exchange(LockRecorder::lockErrno, 0);
    }
    if (LockRecorder::Holds(mutex)) {
        return EDEADLK;
    }
    const int result = __real_pthread_mutex_lock(mutex);
    if (result == 0) {
        NoteLocked(mutex);
    }
    return result;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    NoteUnlocked(mutex);
    return __real_pthread_mutex_unlock(mutex);
}

// std::condition_variable::notify_one
void __wrap__ZNSt18condition_variable10notify_oneEv(std::condition_variable *condition)
{
    if (LockRecorder::onNotifyOne) {
        LockRecorder::onNotifyOne();
    }
    __real__ZNSt18condition_variable10notify_oneEv(condition);
}
}

#pragma GCC visibility pop
