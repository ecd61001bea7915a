// A pool whose tasks never run, for programs that need none of them.
#include <zef_config/ThreadPool.h>

ThreadPool::ThreadPool(unsigned char) : running(false) {}

ThreadPool::~ThreadPool() = default;

void ThreadPool::Clear() {}

uint64_t ThreadPool::TimeGetPowerOnMs()
{
    return 0;
}
