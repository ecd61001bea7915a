#include "memory/PlatformMemory.h"

#include <zef_config/platform/Memory.h>

#include <atomic>

#include <cstdlib>

namespace {

std::atomic<int64_t> liveBlocks{0};

}  // namespace

void *yrmm_malloc(size_t size, int, const char *)
{
    void *memory = std::malloc(size);
    if (memory != nullptr) {
        ++liveBlocks;
    }
    return memory;
}

void yrmm_free(void *memory, int, const char *)
{
    if (memory != nullptr) {
        --liveBlocks;
    }
    std::free(memory);
}

namespace zef {

int64_t LiveMemoryBlocks()
{
    return liveBlocks;
}

}  // namespace zef
