// What the calling thread has locked. Locking, unlocking and waking are redirected when the test program is linked
// (--wrap), for the library's objects as for everything else in it.
#ifndef ZEF_TESTS_SUPPORT_LOCK_RECORDER_H
#define ZEF_TESTS_SUPPORT_LOCK_RECORDER_H

#include <functional>

class LockRecorder {
public:
    // Number of mutexes that the calling thread holds, and whether a certain one is among them. Only what was locked by
    // blocking counts.
    static int Held();
    static bool Holds(const void *mutex);

    // Non-zero: the next lock fails with this errno, once. A thread that locks what it holds already does not hang: its
    // lock fails with EDEADLK.
    inline static int lockErrno = 0;

    // Called in front of each wake-up of one waiting thread.
    inline static std::function<void()> onNotifyOne;

    static void Reset();
};

#endif
