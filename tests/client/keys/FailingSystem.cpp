#include "FailingSystem.h"

#include "keys/SecretBuffer.h"

#include <atomic>
#include <vector>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kNever = -1;

// Atomic, since the threads of other tests come by here too.
std::atomic<int> callsLeft{kNever};
std::atomic<bool> reached{false};
std::atomic<bool> active{false};
std::atomic<int> busyCalls{0};
std::atomic<bool> memoryCanBeLocked{true};
std::atomic<int64_t> pretendedUser{-1};
zef::FailingSystem::Way way = zef::FailingSystem::Way::Error;

bool GoesWrong()
{
    if (!active) {
        return false;
    }
    if (!reached && callsLeft-- > 0) {
        return false;
    }
    reached = true;
    if (way == zef::FailingSystem::Way::Death) {
        _exit(zef::FailingSystem::kDeathStatus);
    }
    errno = ENOSPC;
    return true;
}

}  // namespace

extern "C" {

int __real_openat(int directory, const char *path, int flags, ...);
int __real_fchmod(int file, mode_t mode);
int __real_flock(int file, int operation);
ssize_t __real_read(int file, void *bytes, size_t size);
ssize_t __real_write(int file, const void *bytes, size_t size);
int __real_fsync(int file);
int __real_renameat(int oldDirectory, const char *oldPath, int newDirectory, const char *newPath);
int __real_unlinkat(int directory, const char *path, int flags);
uid_t __real_geteuid(void);
int __real_sodium_mlock(void *memory, size_t size);

int __wrap_openat(int directory, const char *path, int flags, ...)
{
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list args;
        va_start(args, flags);
        mode = va_arg(args, mode_t);
        va_end(args);
    }
    return GoesWrong() ? -1 : __real_openat(directory, path, flags, mode);
}

int __wrap_fchmod(int file, mode_t mode)
{
    return GoesWrong() ? -1 : __real_fchmod(file, mode);
}

ssize_t __wrap_read(int file, void *bytes, size_t size)
{
    return GoesWrong() ? -1 : __real_read(file, bytes, size);
}

// A disk that fills up, and a process that dies, in the middle of a file: half of the bytes are written.
ssize_t __wrap_write(int file, const void *bytes, size_t size)
{
    if (active && callsLeft == 0 && !reached) {
        (void)!__real_write(file, bytes, size / 2);
    }
    return GoesWrong() ? -1 : __real_write(file, bytes, size);
}

int __wrap_fsync(int file)
{
    return GoesWrong() ? -1 : __real_fsync(file);
}

int __wrap_renameat(int oldDirectory, const char *oldPath, int newDirectory, const char *newPath)
{
    return GoesWrong() ? -1 : __real_renameat(oldDirectory, oldPath, newDirectory, newPath);
}

int __wrap_unlinkat(int directory, const char *path, int flags)
{
    return GoesWrong() ? -1 : __real_unlinkat(directory, path, flags);
}

int __wrap_flock(int file, int operation)
{
    if (busyCalls > 0) {
        --busyCalls;
        errno = EWOULDBLOCK;
        return -1;
    }
    return __real_flock(file, operation);
}

uid_t __wrap_geteuid(void)
{
    return pretendedUser >= 0 ? static_cast<uid_t>(pretendedUser) : __real_geteuid();
}

int __wrap_sodium_mlock(void *memory, size_t size)
{
    if (!memoryCanBeLocked) {
        errno = ENOMEM;
        return -1;
    }
    return __real_sodium_mlock(memory, size);
}
}

namespace zef {

FailingSystem::FailingSystem(int callNumber, Way wayToFail)
{
    way = wayToFail;
    reached = false;
    callsLeft = callNumber;
    active = true;
}

FailingSystem::~FailingSystem()
{
    active = false;
}

bool FailingSystem::HasFailed() const
{
    return reached;
}

BusyLock::BusyLock(int callCount)
{
    busyCalls = callCount;
}

BusyLock::~BusyLock()
{
    busyCalls = 0;
}

int BusyLock::CallsLeft() const
{
    return busyCalls;
}

// What is locked already stays so: buffers of a size of their own take the place of the blocks that are kept.
NoLockedMemory::NoLockedMemory()
{
    {
        std::vector<SecretBuffer> others;
        for (int i = 0; i < 4; ++i) {
            others.emplace_back(1);
        }
    }
    memoryCanBeLocked = false;
}

NoLockedMemory::~NoLockedMemory()
{
    memoryCanBeLocked = true;
}

PretendedUser::PretendedUser(unsigned int userId)
{
    pretendedUser = userId;
}

PretendedUser::~PretendedUser()
{
    pretendedUser = -1;
}

}  // namespace zef
