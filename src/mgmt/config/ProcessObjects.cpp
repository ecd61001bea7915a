#include "ProcessObjects.h"

namespace zef_config {

namespace {

// Built in this order and destroyed in reverse, so the pool goes last: a host finishes the library before that, or a task
// that still runs finds the registry gone. They stand in one file because the order is defined only within a file.
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
