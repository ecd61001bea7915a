#include "EarlyPool.h"

namespace {

ThreadPool pool(1);
std::future<bool> earlyTask = pool.commit(0, "early", [] { return true; }).second;

}  // namespace

ThreadPool &EarlyPool()
{
    return pool;
}

std::future<bool> &EarlyTask()
{
    return earlyTask;
}
