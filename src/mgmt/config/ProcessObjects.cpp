#include "ProcessObjects.h"

namespace zef_config {

namespace {

// Built in this order and destroyed in reverse, so the pool goes last. They stand in one file because only there the
// order is defined.
ThreadPool taskPool(1);
ZefStorage emptyStorage;
std::vector<ZefStorage> storageList;

}  // namespace

ThreadPool &TaskPool()
{
    return taskPool;
}

ZefStorage &EmptyStorage()
{
    return emptyStorage;
}

std::vector<ZefStorage> &StorageList()
{
    return storageList;
}

}  // namespace zef_config
