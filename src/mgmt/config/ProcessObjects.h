// The objects that live from the loading of the library to its unloading.
#ifndef ZEF_CONFIG_PROCESS_OBJECTS_H
#define ZEF_CONFIG_PROCESS_OBJECTS_H

#include "ThreadPool.h"
#include "ZefStorage.h"

#include <vector>

namespace zef_config {

// The one task pool, with one worker.
ThreadPool &TaskPool();

// What lookups give for an unknown name.
ZefStorage &EmptyStorage();

// The registry's list.
std::vector<ZefStorage> &StorageList();

}  // namespace zef_config

#endif
