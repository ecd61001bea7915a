// A platform that says what an operation needs to hear, and takes no part in a lack of memory: while one of its
// functions runs, allocations do not count. Only yrmm_malloc fails as the library's own do.
#ifndef ZEF_TESTS_PROOF_ALLOCATIONS_PLATFORM_H
#define ZEF_TESTS_PROOF_ALLOCATIONS_PLATFORM_H

#include "FailingAllocations.h"

#include <zef_config/ThreadPool.h>

#include <map>
#include <set>
#include <string>

#include <cstdint>

// The preloaded allocator; throws when it was not preloaded.
FailingAllocations &Allocator();

// Allocations do not count while it lives.
class Disarmed {
public:
    Disarmed() : before(Allocator().armed) { Allocator().armed = false; }
    ~Disarmed() { Allocator().armed = before; }
    Disarmed(const Disarmed &) = delete;
    Disarmed &operator=(const Disarmed &) = delete;

private:
    const bool before;
};

struct Platform {
    static Platform &Get();

    std::set<std::string> localIps{"10.9.0.1", "10.9.0.2"};
    int createLinkResult = 0;
    int linkInfoStatus = 0;
    uint64_t wwn = 0x2100;

    bool keysAreReady = false;
    bool keyUpdatesRun = false;
    std::string gatewayUuid;
    std::map<int, int64_t> items;
    std::set<std::string> links;  // "local,array"
    ThreadPool *pool = nullptr;

    // Takes the first task and runs it; what it throws stays in its future.
    void RunTask();
    // As if the library had been loaded anew.
    void RevivePool();
};

#endif
