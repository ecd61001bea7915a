// Diagnostics of the allocator that the library uses.
#ifndef ZEF_CLIENT_MEMORY_PLATFORM_MEMORY_H
#define ZEF_CLIENT_MEMORY_PLATFORM_MEMORY_H

#include <cstdint>

namespace zef {

// Number of blocks of yrmm_malloc that have not been given back. 0 once the library has finished. Any thread.
int64_t LiveMemoryBlocks();

}  // namespace zef

#endif
