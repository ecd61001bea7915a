// The segment that the library's calls go to.
#ifndef ZEF_CLIENT_BASECONFIG_PLATFORM_SHARED_BASE_CONFIG_H
#define ZEF_CLIENT_BASECONFIG_PLATFORM_SHARED_BASE_CONFIG_H

#include <string>

namespace zef {

// Chooses the segment of ShmBaseCfgGetCfgVal and ShmBaseCfgSetCfgVal, kDefaultSharedBaseConfigName without it. They
// open it on their first call, creating it when there is none, and again on the next call when that failed; each
// failure is logged. Get then gives 0, Set -1. False when a segment is open already. Any thread.
bool UseSharedBaseConfig(const std::string &name);

// Closes the segment, which stays, and goes back to the default name. The next call opens anew. Any thread.
void CloseSharedBaseConfig();

}  // namespace zef

#endif
