#include "PoolTest.h"
#include "TaskBatch.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <cstdlib>
#include <ctime>

#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>

namespace {

size_t QueueLength(ThreadPool &pool)
{
    const std::lock_guard<std::mutex> lock(pool.mutex);
    return pool.tasks.size();
}

uint64_t MonotonicMs()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

std::string NameOfThisThread()
{
    std::array<char, 16> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return name.data();
}

}  // namespace

TEST(ThreadPoolTest, DeliversTheResultToTheFuture)
{
    ThreadPool pool(1);
    auto [code, future] = pool.commit(0, "sum", [](int left, int right) { return left + right; }, 40, 2);
    EXPECT_EQ(code, 0);
    ASSERT_TRUE(IsReady(future));
    EXPECT_EQ(future.get(), 42);
}

TEST(ThreadPoolTest, TakesTasksInTheOrderOfTheirDueTimes)
{
    std::vector<int64_t> order;
    std::vector<std::future<void>> futures;
    ThreadPool pool(1);
    {
        const BusyWorker busy(pool);
        for (const int64_t dueTime : {5, 2, 4, 1, 3}) {
            futures.push_back(PushDue(pool, dueTime, [&order, dueTime] { order.push_back(dueTime); }));
        }
    }
    for (const std::future<void> &future : futures) {
        ASSERT_TRUE(IsReady(future));
    }
    EXPECT_EQ(order, (std::vector<int64_t>{1, 2, 3, 4, 5}));
}

TEST(ThreadPoolTest, TakesATaskWithoutDelayBeforeATimedOneThatIsDueToo)
{
    std::string order;
    ThreadPool pool(1);
    std::future<void> timed;
    std::future<void> undelayed;
    {
        const BusyWorker busy(pool);
        timed = PushDue(pool, 1, [&order] { order += "timed "; });
        undelayed = pool.commit(0, "", [&order] { order += "undelayed "; }).second;
    }
    ASSERT_TRUE(IsReady(timed));
    ASSERT_TRUE(IsReady(undelayed));
    EXPECT_EQ(order, "undelayed timed ");
}

TEST(ThreadPoolTest, LeavesATaskAloneUntilItIsDue)
{
    std::atomic<bool> ran{false};
    ThreadPool pool(1);
    const auto later = pool.commit(kHourMs, "", [&ran] { ran = true; });
    const auto sooner = pool.commit(1, "", [] {});
    ASSERT_TRUE(IsReady(sooner.second));
    const auto last = pool.commit(0, "", [] {});
    ASSERT_TRUE(IsReady(last.second));
    EXPECT_FALSE(ran);
    EXPECT_EQ(QueueLength(pool), 1U);
}

TEST(ThreadPoolTest, RunsATaskThatBecomesDueWhileNothingElseHappens)
{
    ThreadPool pool(1);
    const auto delayed = pool.commit(20, "", [] {});
    EXPECT_TRUE(IsReady(delayed.second));
}

TEST(ThreadPoolTest, NeverRunsATaskBeforeItsDueTime)
{
    ThreadPool pool(1);
    const uint64_t earliest = ThreadPool::TimeGetPowerOnMs() + 20;
    auto delayed = pool.commit(20, "", [] { return ThreadPool::TimeGetPowerOnMs(); });
    ASSERT_TRUE(IsReady(delayed.second));
    EXPECT_GE(delayed.second.get(), earliest);
}

TEST(ThreadPoolTest, AnEarlierTaskInterruptsTheWaitForALaterOne)
{
    ThreadPool pool(1);
    const auto later = pool.commit(kHourMs, "", [] {});
    const auto sooner = pool.commit(0, "", [] {});
    EXPECT_TRUE(IsReady(sooner.second));
}

TEST(ThreadPoolTest, AcceptsTheLongestDelayThatTheClockCanHold)
{
    ThreadPool pool(1);
    const unsigned long longest = INT64_MAX - ThreadPool::TimeGetPowerOnMs() - kHourMs;
    const auto never = pool.commit(longest, "", [] {});
    EXPECT_EQ(never.first, 0);
    const auto next = pool.commit(0, "", [] {});
    EXPECT_TRUE(IsReady(next.second));
    EXPECT_EQ(QueueLength(pool), 1U);
}

// Only one worker is told of two tasks, and is kept busy by the first until the second has run.
TEST(ThreadPoolTest, AnIdleWorkerTakesOverTheWatchOfABusyOne)
{
    ThreadPool pool(2);
    for (int round = 0; round < 50; ++round) {
        std::promise<void> secondDone;
        std::atomic<bool> inTime{false};
        const auto second = PushDue(pool, 2, [&] { secondDone.set_value(); });
        const auto first = PushDue(pool, 1, [&] { inTime = IsReady(secondDone.get_future()); });
        pool.wakeUp.notify_one();
        ASSERT_TRUE(IsReady(first) && IsReady(second)) << "round " << round;
        ASSERT_TRUE(inTime) << "round " << round;
    }
}

TEST(ThreadPoolTest, ARunningTaskCommitsItsSuccessor)
{
    std::promise<std::string> done;
    ThreadPool pool(1);
    pool.commit(0, "first", [&pool, &done] {
        const auto retry = [&done](const std::string &name) { done.set_value(name); };
        EXPECT_EQ(pool.commit(1, "second", retry, std::string("from inside")).first, 0);
    });
    std::future<std::string> result = done.get_future();
    ASSERT_TRUE(IsReady(result));
    EXPECT_EQ(result.get(), "from inside");
}

TEST(ThreadPoolTest, AnExceptionOfATaskStaysInItsFuture)
{
    ThreadPool pool(1);
    auto failing = pool.commit(0, "", [] { throw std::runtime_error("of the task"); });
    EXPECT_THROW(failing.second.get(), std::runtime_error);
    const auto next = pool.commit(0, "", [] {});
    EXPECT_TRUE(IsReady(next.second));
}

TEST(ThreadPoolTest, DestroysATaskBeforeItTakesTheNext)
{
    ThreadPool pool(1);
    auto argument = std::make_shared<int>(1);
    const std::weak_ptr<int> observer = argument;
    pool.commit(0, "", [](const std::shared_ptr<int> &) {}, std::move(argument));
    auto next = pool.commit(1, "", [&observer] { return observer.expired(); });
    ASSERT_TRUE(IsReady(next.second));
    EXPECT_TRUE(next.second.get());
}

TEST(ThreadPoolTest, RunsEachTaskOfManyProducersExactlyOnce)
{
    constexpr size_t kProducers = 8;
    constexpr size_t kTasks = 500;
    std::vector<std::atomic<int>> runs(kProducers * kTasks);
    {
        ThreadPool pool(4);
        std::array<std::vector<std::future<void>>, kProducers> futures;
        std::vector<std::thread> producers;
        for (size_t producer = 0; producer < kProducers; ++producer) {
            producers.emplace_back([&, producer] {
                for (size_t task = 0; task < kTasks; ++task) {
                    const auto count = [&runs](size_t index) { ++runs[index]; };
                    futures[producer].push_back(pool.commit(task % 3, "", count, producer * kTasks + task).second);
                }
            });
        }
        for (std::thread &producer : producers) {
            producer.join();
        }
        for (const auto &ofProducer : futures) {
            for (const std::future<void> &future : ofProducer) {
                ASSERT_TRUE(IsReady(future));
            }
        }
    }
    for (size_t index = 0; index < runs.size(); ++index) {
        ASSERT_EQ(runs[index], 1) << "task " << index;
    }
}

TEST(ThreadPoolTest, RunsAsManyTasksAtOnceAsItHasWorkers)
{
    ThreadPool pool(3);
    const BusyWorker first(pool);
    const BusyWorker second(pool);
    const BusyWorker third(pool);
    EXPECT_EQ(QueueLength(pool), 0U);
}

TEST(ThreadPoolTest, NamesItsWorkers)
{
    ThreadPool pool(1);
    auto name = pool.commit(0, "", NameOfThisThread);
    ASSERT_TRUE(IsReady(name.second));
    EXPECT_EQ(name.second.get(), "zef-pool-0");
}

TEST(ThreadPoolTest, ItsWorkersAreWokenWithoutSlack)
{
    ThreadPool pool(1);
    auto slack = pool.commit(0, "", [] { return prctl(PR_GET_TIMERSLACK, 0UL, 0UL, 0UL, 0UL); });
    ASSERT_TRUE(IsReady(slack.second));
    EXPECT_EQ(slack.second.get(), 1);
}

TEST(ThreadPoolTest, LeavesSignalsOfTheProcessToTheHostsThreads)
{
    ThreadPool pool(1);
    auto blocked = pool.commit(0, "", [] {
        std::set<int> signals;
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGSEGV, SIGABRT}) {
            if (sigismember(&mask, number) == 1) {
                signals.insert(number);
            }
        }
        return signals;
    });
    ASSERT_TRUE(IsReady(blocked.second));
    EXPECT_EQ(blocked.second.get(), (std::set<int>{SIGINT, SIGTERM, SIGHUP, SIGCHLD}));
}

TEST(ThreadPoolTest, LeavesTheSignalsOfItsCreatorAsTheyWere)
{
    const ThreadPool pool(1);
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGTERM), 0);
}

TEST(ThreadPoolTest, WithoutWorkersItAcceptsNoTask)
{
    ThreadPool pool(0);
    auto refused = pool.commit(0, "", [] {});
    EXPECT_EQ(refused.first, -1);
    EXPECT_TRUE(IsBroken(refused.second));
    EXPECT_EQ(QueueLength(pool), 0U);
    pool.Clear();
}

TEST(ThreadPoolTest, AcceptsNoTaskAfterClear)
{
    ThreadPool pool(1);
    pool.Clear();
    auto refused = pool.commit(0, "", [] {});
    EXPECT_EQ(refused.first, -1);
    EXPECT_TRUE(IsBroken(refused.second));
    EXPECT_EQ(QueueLength(pool), 0U);
}

TEST(ThreadPoolTest, ClearDropsWhatHasNotBegun)
{
    ThreadPool pool(1);
    auto pending = pool.commit(kHourMs, "", [] {});
    pool.Clear();
    EXPECT_TRUE(IsBroken(pending.second));
    EXPECT_EQ(QueueLength(pool), 0U);
}

TEST(ThreadPoolTest, ClearWaitsForTheTaskThatRunsAndDropsThoseBehindIt)
{
    std::promise<void> begun;
    std::atomic<bool> ended{false};
    ThreadPool pool(1);
    auto running = pool.commit(0, "", [&] {
        begun.set_value();
        while (pool.running) {  // until Clear is under way
            std::this_thread::yield();
        }
        ended = true;
    });
    ASSERT_TRUE(IsReady(begun.get_future()));
    auto behind = pool.commit(0, "", [] {});
    pool.Clear();
    EXPECT_TRUE(ended);
    EXPECT_FALSE(IsBroken(running.second));
    EXPECT_TRUE(IsBroken(behind.second));
}

// The task that runs waits for what happens to the one behind it, which the same worker has taken already.
TEST(ThreadPoolTest, ClearDropsWhatAWorkerHasTakenWhileATaskRuns)
{
    std::promise<void> begun;
    std::future<void> behind;
    ThreadPool pool(1);
    std::future<bool> isDropped;
    {
        const BusyWorker busy(pool);
        isDropped = pool.commit(0, "", [&] {
                            begun.set_value();
                            return IsReady(behind);
                        }).second;
        behind = pool.commit(0, "", [] {}).second;
        EXPECT_EQ(QueueLength(pool), 2U);
    }
    ASSERT_TRUE(IsReady(begun.get_future()));
    EXPECT_EQ(QueueLength(pool), 0U);
    pool.Clear();
    EXPECT_TRUE(isDropped.get());
    EXPECT_TRUE(IsBroken(behind));
}

TEST(ThreadPoolTest, ATaskThatClearsItsPoolDropsThoseTakenWithIt)
{
    constexpr int kBehind = 10;
    std::vector<std::future<void>> behind;
    ThreadPool pool(1);
    std::future<int> dropped;
    {
        const BusyWorker busy(pool);
        dropped = pool.commit(0, "", [&] {
                          pool.Clear();
                          return static_cast<int>(std::count_if(behind.begin(), behind.end(), IsBroken<void>));
                      }).second;
        for (int task = 0; task < kBehind; ++task) {
            behind.push_back(pool.commit(0, "", [] {}).second);
        }
    }
    ASSERT_TRUE(IsReady(dropped));
    EXPECT_EQ(dropped.get(), kBehind);
}

TEST(ThreadPoolTest, APoolThatIsNotRunningBeginsNoTaskOfThoseTaken)
{
    std::future<void> behind;
    {
        ThreadPool pool(1);
        const BusyWorker busy(pool);
        pool.commit(0, "", [&pool] { pool.running = false; });
        behind = pool.commit(0, "", [] {}).second;
    }
    EXPECT_TRUE(IsBroken(behind));
}

TEST(ThreadPoolTest, ATaskTakenWithOthersThatFailsDoesNotStopThem)
{
    ThreadPool pool(1);
    std::future<void> failing;
    std::future<int> next;
    {
        const BusyWorker busy(pool);
        failing = pool.commit(0, "", [] { throw std::runtime_error("of the task"); }).second;
        next = pool.commit(0, "", [] { return 7; }).second;
    }
    ASSERT_TRUE(IsReady(next));
    EXPECT_EQ(next.get(), 7);
    EXPECT_THROW(failing.get(), std::runtime_error);
}

TEST(ThreadPoolTest, OneOfSeveralWorkersTakesOneTaskAtATime)
{
    ThreadPool pool(2);
    std::future<bool> overtaken;
    std::promise<void> second;
    {
        const BusyWorker one(pool);
        const BusyWorker other(pool);
        overtaken = pool.commit(0, "", [&second] { return IsReady(second.get_future()); }).second;
        pool.commit(0, "", [&second] { second.set_value(); });
    }
    ASSERT_TRUE(IsReady(overtaken));
    EXPECT_TRUE(overtaken.get());
}

TEST(ThreadPoolTest, RunsMoreTasksThanAWorkerTakesAtOnce)
{
    constexpr size_t kTasks = 2 * zef::TaskBatch::kMost + 1;
    size_t unguarded = 0;
    std::string order;
    ThreadPool pool(1);
    std::future<void> timed;
    {
        const BusyWorker busy(pool);
        timed = PushDue(pool, 1, [&] { order += unguarded == kTasks ? "last" : "too early"; });
        for (size_t task = 0; task < kTasks; ++task) {
            pool.commit(0, "", [&unguarded] { ++unguarded; });
        }
    }
    ASSERT_TRUE(IsReady(timed));
    EXPECT_EQ(order, "last");
}

TEST(ThreadPoolTest, ClearEndsEveryWorker)
{
    ThreadPool pool(3);
    pool.Clear();
    for (const std::thread &worker : pool.workers) {
        EXPECT_FALSE(worker.joinable());
    }
}

TEST(ThreadPoolTest, ClearMayBeCalledAgainAndFromSeveralThreads)
{
    ThreadPool pool(2);
    std::thread other([&pool] { pool.Clear(); });
    pool.Clear();
    other.join();
    pool.Clear();
    EXPECT_EQ(pool.commit(0, "", [] {}).first, -1);
}

TEST(ThreadPoolTest, ATaskMayClearItsOwnPool)
{
    ThreadPool pool(2);
    auto behind = pool.commit(kHourMs, "", [] {});
    auto clearing = pool.commit(0, "", [&pool] {
        pool.Clear();
        return pool.commit(0, "", [] {}).first;
    });
    ASSERT_TRUE(IsReady(clearing.second));
    EXPECT_EQ(clearing.second.get(), -1);
    EXPECT_TRUE(IsBroken(behind.second));
}

TEST(ThreadPoolTest, WorkersThatATaskHasStoppedAreJoinedByTheNextClear)
{
    ThreadPool pool(2);
    const auto clearing = pool.commit(0, "", [&pool] { pool.Clear(); });
    ASSERT_TRUE(IsReady(clearing.second));
    EXPECT_TRUE(pool.workers[0].joinable());
    EXPECT_TRUE(pool.workers[1].joinable());
    pool.Clear();
    EXPECT_FALSE(pool.workers[0].joinable());
    EXPECT_FALSE(pool.workers[1].joinable());
}

TEST(ThreadPoolTest, TheDestructorDropsWhatHasNotBegun)
{
    std::future<void> pending;
    {
        ThreadPool pool(1);
        pending = pool.commit(kHourMs, "", [] {}).second;
    }
    EXPECT_TRUE(IsBroken(pending));
}

TEST(ThreadPoolTest, DropsWhatIsCommittedWhileItStops)
{
    for (int round = 0; round < 200; ++round) {
        std::vector<std::future<void>> futures;
        {
            ThreadPool pool(1);
            std::thread producer([&] {
                for (int task = 0; task < 50; ++task) {
                    futures.push_back(pool.commit(0, "", [] {}).second);
                }
            });
            pool.Clear();
            producer.join();
        }
        for (const std::future<void> &future : futures) {
            ASSERT_TRUE(IsReady(future));
        }
    }
}

TEST(ThreadPoolDeathTest, ATaskMayEndTheProcess)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            static ThreadPool pool(2);
            std::promise<void> committed;
            const auto ending = pool.commit(0, "", [&committed] {
                committed.get_future().wait();  // the process must not end in the middle of commit
                std::exit(7);
            });
            committed.set_value();
            IsReady(ending.second);
        },
        ::testing::ExitedWithCode(7), "");
}

TEST(ThreadPoolTest, TellsMillisecondsOfTheMonotonicClock)
{
    const uint64_t before = MonotonicMs();
    const uint64_t told = ThreadPool::TimeGetPowerOnMs();
    EXPECT_LE(before, told);
    EXPECT_LE(told, MonotonicMs());
}
