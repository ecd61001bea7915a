// What the tests of the task pool have in common.
#ifndef ZEF_TESTS_CLIENT_THREADPOOL_POOL_TEST_H
#define ZEF_TESTS_CLIENT_THREADPOOL_POOL_TEST_H

#include <zef_config/ThreadPool.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <utility>

#include <cstdint>

constexpr unsigned long kHourMs = 60 * 60 * 1000;

// Reached only by a hang.
constexpr std::chrono::seconds kHang{30};

template <class Result>
bool IsReady(const std::future<Result> &future)
{
    return future.wait_for(kHang) == std::future_status::ready;
}

// True when the task was dropped.
template <class Result>
bool IsBroken(std::future<Result> &future)
{
    try {
        future.get();
        return false;
    } catch (const std::future_error &error) {
        return error.code() == std::future_errc::broken_promise;
    }
}

// Puts a task that is due at the given time into the queue, as commit does. Wakes nobody.
template <class Function>
std::future<void> PushDue(ThreadPool &pool, int64_t dueTime, Function function)
{
    auto task = std::make_unique<std::packaged_task<void()>>(std::move(function));
    std::future<void> future = task->get_future();
    const std::lock_guard<std::mutex> lock(pool.mutex);
    pool.tasks.emplace_back(dueTime, "pushed", ThreadPool::Body(std::move(task)));
    std::push_heap(pool.tasks.begin(), pool.tasks.end(), ThreadPool::cmp());
    return future;
}

// Occupies one worker of a pool from the constructor's return until Release, at the latest the destructor.
class BusyWorker {
public:
    explicit BusyWorker(ThreadPool &pool)
    {
        ended = pool.commit(0, "busy", [this] {
                        begun.set_value();
                        released.get_future().wait();
                    }).second;
        EXPECT_TRUE(IsReady(begun.get_future()));
    }

    ~BusyWorker()
    {
        Release();
        EXPECT_TRUE(IsReady(ended));
    }

    BusyWorker(const BusyWorker &) = delete;
    BusyWorker &operator=(const BusyWorker &) = delete;

    void Release()
    {
        if (!isReleased) {
            isReleased = true;
            released.set_value();
        }
    }

private:
    std::promise<void> begun;
    std::promise<void> released;
    std::future<void> ended;
    bool isReleased = false;
};

#endif
