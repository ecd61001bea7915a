// System calls of the program under test that fail, or end the process, when a test wants it.
#ifndef ZEF_CLIENT_TESTS_KEYS_FAILING_SYSTEM_H
#define ZEF_CLIENT_TESTS_KEYS_FAILING_SYSTEM_H

namespace zef {

// Counts openat, fchmod, read, write, fsync, renameat and unlinkat from its construction to its end, and lets the call
// with a number (0 for the first) go wrong. One at a time, on one thread.
class FailingSystem {
public:
    enum class Way {
        Error,  // the call does nothing and reports ENOSPC; so do all after it
        Death,  // the process ends before the call, with status kDeathStatus
    };
    static constexpr int kDeathStatus = 77;

    FailingSystem(int callNumber, Way way);
    ~FailingSystem();

    FailingSystem(const FailingSystem &) = delete;
    FailingSystem &operator=(const FailingSystem &) = delete;

    // True once the call with the number was reached.
    bool HasFailed() const;
};

// Makes the first calls of flock find the file locked by somebody else.
class BusyLock {
public:
    explicit BusyLock(int callCount);
    ~BusyLock();
    BusyLock(const BusyLock &) = delete;
    BusyLock &operator=(const BusyLock &) = delete;

    // How many of those calls have not been made.
    int CallsLeft() const;
};

// While it lives, no more memory can be locked.
class NoLockedMemory {
public:
    NoLockedMemory();
    ~NoLockedMemory();
    NoLockedMemory(const NoLockedMemory &) = delete;
    NoLockedMemory &operator=(const NoLockedMemory &) = delete;
};

// While it lives, the program under test takes itself for another user's.
class PretendedUser {
public:
    explicit PretendedUser(unsigned int userId);
    ~PretendedUser();
    PretendedUser(const PretendedUser &) = delete;
    PretendedUser &operator=(const PretendedUser &) = delete;
};

}  // namespace zef

#endif
