#include "support/FakeSystem.h"

#include <new>
#include <utility>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <regex.h>
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

// Plain data: filled while static objects are being built.
constexpr int kMaxStaticObjects = 1024;
void *staticObjects[kMaxStaticObjects];
int staticObjectCount = 0;

}  // namespace

std::vector<void *> FakeSystem::StaticObjects()
{
    return std::vector<void *>(staticObjects, staticObjects + staticObjectCount);
}

FakeSystem &FakeSystem::Get()
{
    static FakeSystem system;
    return system;
}

// Seen from outside: the linker wants shared libraries that make these calls to find them.
#pragma GCC visibility push(default)

extern "C" {

void *__real_malloc(size_t size);
int __real_regcomp(regex_t *expression, const char *pattern, int flags);
int __real_fsync(int descriptor);
int __real_fclose(FILE *file);
int __real_fchmod(int descriptor, mode_t mode);
int __real_chmod(const char *path, mode_t mode);
int __real_rename(const char *from, const char *to);
FILE *__real_fdopen(int descriptor, const char *mode);
void *__real__Znwm(size_t size);
int __real___cxa_atexit(void (*function)(void *), void *object, void *library);

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
    if (MustFail(FakeSystem::Get().mallocErrno)) {
        return nullptr;
    }
    void *const memory = __real_malloc(size);
    // Whoever relies on fresh memory being zero shall notice.
    return memory == nullptr ? nullptr : std::memset(memory, 0xA5, size);
}

int __wrap_regcomp(regex_t *expression, const char *pattern, int flags)
{
    const int result = std::exchange(FakeSystem::Get().regcompResult, 0);
    return result != 0 ? result : __real_regcomp(expression, pattern, flags);
}

// operator new.
void *__wrap__Znwm(size_t size)
{
    int &left = FakeSystem::newsUntilFailure;
    if (left >= 0 && left-- == 0) {
        throw std::bad_alloc();
    }
    return __real__Znwm(size);
}

// Takes the place of the C library's for all of the program, shared libraries included.
char *strdup(const char *text)
{
    static const auto real = reinterpret_cast<char *(*)(const char *)>(dlsym(RTLD_NEXT, "strdup"));
    int &left = FakeSystem::copiesUntilFailure;
    if (left >= 0 && left-- == 0) {
        errno = ENOMEM;
        return nullptr;
    }
    return real(text);
}

int __wrap___cxa_atexit(void (*function)(void *), void *object, void *library)
{
    if (staticObjectCount < kMaxStaticObjects) {
        staticObjects[staticObjectCount++] = object;
    }
    return __real___cxa_atexit(function, object, library);
}

int __wrap_fsync(int descriptor)
{
    FakeSystem &system = FakeSystem::Get();
    if (system.onFsync) {
        system.onFsync(descriptor);
    }
    return MustFail(system.fsyncErrno) ? -1 : __real_fsync(descriptor);
}

int __wrap_fclose(FILE *file)
{
    const int result = __real_fclose(file);
    return MustFail(FakeSystem::Get().fcloseErrno) ? EOF : result;
}

int __wrap_fchmod(int descriptor, mode_t mode)
{
    FakeSystem &system = FakeSystem::Get();
    if (system.onFchmod) {
        system.onFchmod(descriptor, mode);
    }
    return __real_fchmod(descriptor, mode);
}

int __wrap_chmod(const char *path, mode_t mode)
{
    FakeSystem &system = FakeSystem::Get();
    if (system.onChmod) {
        system.onChmod(path, mode);
    }
    return MustFail(system.chmodErrno) ? -1 : __real_chmod(path, mode);
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

#pragma GCC visibility pop
