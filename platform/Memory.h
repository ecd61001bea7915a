/// \file
/// The platform's allocator, implemented by the hosting process. Called on the task pool's worker.
#ifndef ZEF_CONFIG_PLATFORM_MEMORY_H
#define ZEF_CONFIG_PLATFORM_MEMORY_H

#include "PlatformApi.h"

#include <cstddef>

extern "C" {

/// Returns `size` bytes aligned for any type, or null. `module` (873) and `owner` name the user for accounting.
/// The caller gives the memory back with yrmm_free.
ZEF_PLATFORM_API void *yrmm_malloc(size_t size, int module, const char *owner);

/// Gives memory of yrmm_malloc back; module and owner are those of the allocation.
ZEF_PLATFORM_API void yrmm_free(void *memory, int module, const char *owner);
}

#endif
