/// \file
/// The base configuration that all of the client's processes share, implemented by the hosting process: numbered items
/// with 64-bit values. Called from the thread that starts the library and from callers of the switch setters.
#ifndef ZEF_CONFIG_PLATFORM_SHARED_BASE_CONFIG_H
#define ZEF_CONFIG_PLATFORM_SHARED_BASE_CONFIG_H

#include "PlatformApi.h"

#include <cstdint>

extern "C" {

/// Value of an item. The library reads 65, 66 and 67 (settings of the periodic key updates) and uses their low 32 bits.
ZEF_PLATFORM_API int64_t ShmBaseCfgGetCfgVal(int item);

/// Publishes a value. The library writes 69 (deduplication) and 70 (compression), 0 for off and 1 for on.
/// 0 on success; any other value is reported and returned to the caller unchanged.
ZEF_PLATFORM_API int ShmBaseCfgSetCfgVal(int item, int64_t value);
}

#endif
