// zef_lock_order [inverted]: takes the library's two mutexes in the order that they have, the WWN lock before the
// queue's; with `inverted` also the other way round, which a sanitizer has to report.
#include <zef_config/ThreadPool.h>
#include <zef_config/ZefStorageController.h>
#include <zef_config/ZefStorageManager.h>

#include <iostream>

namespace {

const IpPair kPair("127.0.0.1", "127.0.0.10");
constexpr const char *kName = "array-1";
bool isInverted = false;
int locked = 0;

}  // namespace

// A pool that takes tasks and runs none.
ThreadPool::ThreadPool(unsigned char workerCount) : workers(workerCount), running(true) {}

ThreadPool::~ThreadPool() = default;

void ThreadPool::Clear() {}

// commit calls it while it holds the queue's mutex; SetWwnTask takes the WWN lock, as every link is up.
uint64_t ThreadPool::TimeGetPowerOnMs()
{
    ++locked;
    if (isInverted) {
        SetWwnTask(kName, kPair, 0);
    }
    return 0;
}

int main(int argc, char **)
{
    ZefStorageManager::CreateStorage(kName, "zefuser", "sealed", kPair.second);
    ZefStorageManager::GetByName(kName).AddIpParis(kPair);
    RetrySetWwnTask(kName, kPair, 0);
    isInverted = argc > 1;
    RetryCreateLinkTask(kName, kPair);
    std::cout << "the queue's mutex was held " << locked << " times" << std::endl;
    return locked == 2 ? 0 : 2;
}
