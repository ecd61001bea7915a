#include "support/FakeSystem.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <sys/stat.h>

namespace {

// True, with errno set, when the test wants this call to fail; once.
bool MustFail(int &error)
{
    if (error == 0) {
        return false;
    }
    errno = error;
    error = 0;
    return true;
}

}  // namespace

FakeSystem &FakeSystem::Get()
{
    static FakeSystem system;
    return system;
}

extern "C" {

void *__real_malloc(size_t size);
int __real_fsync(int descriptor);
int __real_fclose(FILE *file);
int __real_chmod(const char *path, mode_t mode);
int __real_rename(const char *from, const char *to);
FILE *__real_fdopen(int descriptor, const char *mode);

time_t __wrap_time(time_t *result)
{
    const time_t now = FakeSystem::Get().wallClock;
    if (result != nullptr) {
        *result = now;
    }
    return now;
}

unsigned int __wrap_sleep(unsigned int seconds)
{
    FakeSystem &system = FakeSystem::Get();
    system.sleeps.push_back(seconds);
    system.wallClock += static_cast<time_t>(seconds);
    return 0;
}

void *__wrap_malloc(size_t size)
{
    return MustFail(FakeSystem::Get().mallocErrno) ? nullptr : __real_malloc(size);
}

int __wrap_fsync(int descriptor)
{
    return MustFail(FakeSystem::Get().fsyncErrno) ? -1 : __real_fsync(descriptor);
}

int __wrap_fclose(FILE *file)
{
    const int result = __real_fclose(file);
    return MustFail(FakeSystem::Get().fcloseErrno) ? EOF : result;
}

int __wrap_chmod(const char *path, mode_t mode)
{
    return MustFail(FakeSystem::Get().chmodErrno) ? -1 : __real_chmod(path, mode);
}

int __wrap_rename(const char *from, const char *to)
{
    FakeSystem &system = FakeSystem::Get();
    if (system.onRename) {
        system.onRename(from, to);
    }
    return MustFail(system.renameErrno) ? -1 : __real_rename(from, to);
}

FILE *__wrap_fdopen(int descriptor, const char *mode)
{
    return MustFail(FakeSystem::Get().fdopenErrno) ? nullptr : __real_fdopen(descriptor, mode);
}
}
