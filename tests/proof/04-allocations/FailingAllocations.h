// What the driver tells the preloaded allocator, and asks it. One thread.
#ifndef ZEF_TESTS_PROOF_ALLOCATIONS_FAILING_ALLOCATIONS_H
#define ZEF_TESTS_PROOF_ALLOCATIONS_FAILING_ALLOCATIONS_H

#include <cstddef>

struct FailingAllocations {
    bool armed;    // allocations are counted, remembered, and fail as told
    bool onwards;  // the one with number `first` fails, and all after it
    long first;    // numbers of the allocations that fail, from 1; 0 for none
    long second;
    long asked;   // allocations since the start
    long failed;  // those that failed
    // Calls `visit` for every block that was given out while armed and has not been given back.
    void (*visitLive)(void (*visit)(const void *block, size_t size, const void *caller));
};

// The name of the allocator's function that returns its one FailingAllocations.
constexpr const char *kFailingAllocationsSymbol = "ZefProofFailingAllocations";

#endif
