// The calls of the C library that tests drive or make fail. They are redirected when the test program is linked
// (--wrap), for the library's objects as for everything else in it; unless a test says otherwise they do the real thing.
#ifndef ZEF_TESTS_SUPPORT_FAKE_SYSTEM_H
#define ZEF_TESTS_SUPPORT_FAKE_SYSTEM_H

#include <functional>
#include <string>
#include <vector>

#include <ctime>

#include <sys/types.h>

class FakeSystem {
public:
    static FakeSystem &Get();
    void Reset()
    {
        *this = FakeSystem();
        newsUntilFailure = -1;
        copiesUntilFailure = -1;
    }

    // Wall clock in seconds, and the pauses asked for; each pause moves the clock.
    time_t wallClock = 1000000;
    std::vector<unsigned int> sleeps;

    // Non-zero: the next such call fails with this errno. A failing close closes all the same, as the real one does.
    int mallocErrno = 0;
    int regcompResult = 0;  // what it returns in place of an errno
    int fsyncErrno = 0;
    int fcloseErrno = 0;
    int chmodErrno = 0;
    int renameErrno = 0;
    int fdopenErrno = 0;

    // Called in front of each such call: to look at the temporary file on its way.
    std::function<void(int descriptor)> onFsync;
    std::function<void(int descriptor, mode_t mode)> onFchmod;
    std::function<void(const std::string &path, mode_t mode)> onChmod;
    std::function<void(const std::string &from, const std::string &to)> onRename;

    // Number of calls of operator new that succeed before the next one throws, once; -1: never. Counts what the library's
    // and the test's own objects ask for.
    inline static int newsUntilFailure = -1;

    // The same of strdup, with which Mini-XML copies names and texts.
    inline static int copiesUntilFailure = -1;

    // The objects with static storage whose destructors were registered, in the order of their construction.
    static std::vector<void *> StaticObjects();
};

#endif
