#include "support/LibraryTest.h"

#include <zef_config/ThreadPool.h>
#include <zef_config/ZefStorageController.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <cerrno>
#include <cstdint>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// Only a hang waits that long.
constexpr std::chrono::seconds kHang(30);

void Nothing() {}

class ThreadPoolCommitTest : public LibraryTest {
protected:
    // Runs what is queued whatever its due time, earliest first, and returns the names in that order.
    std::vector<std::string> RunAll()
    {
        constexpr size_t kEnough = 10000;
        std::vector<std::string> names;
        while (!pool.tasks.empty() && names.size() < kEnough) {
            std::pop_heap(pool.tasks.begin(), pool.tasks.end(), ThreadPool::cmp());
            ThreadPool::Task task = std::move(pool.tasks.back());
            pool.tasks.pop_back();
            names.push_back(std::get<1>(task));
            std::get<2>(task)();
        }
        return names;
    }

    static bool IsBrokenPromise(std::future<void> &future)
    {
        if (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            return false;
        }
        try {
            future.get();
        } catch (const std::future_error &error) {
            return error.code() == std::future_errc::broken_promise;
        }
        return false;
    }

    ThreadPool &pool = platform.Pool();
};

// Due times

TEST_F(ThreadPoolCommitTest, ATaskIsDueItsDelayAfterTheCommit)
{
    platform.powerOnMs = 5000;
    EXPECT_EQ(pool.commit(2000, "later", Nothing).first, 0);
    platform.Advance(10);
    EXPECT_EQ(pool.commit(1, "soon", Nothing).first, 0);
    EXPECT_THAT(platform.QueuedDueTimes(), ElementsAre(5011, 7000));
}

TEST_F(ThreadPoolCommitTest, ADelayOfZeroStaysZero)
{
    platform.powerOnMs = 5000;
    int readings = 0;
    platform.onPowerOnRead = [&readings] { ++readings; };
    EXPECT_EQ(pool.commit(0, "now", Nothing).first, 0);
    EXPECT_THAT(platform.QueuedDueTimes(), ElementsAre(0));
    EXPECT_EQ(readings, 0);
}

TEST_F(ThreadPoolCommitTest, DueTimesHaveSixtyFourBits)
{
    platform.powerOnMs = 0x100000000;
    EXPECT_EQ(pool.commit(0x200000000, "late", Nothing).first, 0);
    EXPECT_THAT(platform.QueuedDueTimes(), ElementsAre(0x300000000));
}

TEST_F(ThreadPoolCommitTest, TheDueTimeIsComputedUnderTheQueuesMutex)
{
    bool held = false;
    platform.onPowerOnRead = [&held, this] { held = LockRecorder::Holds(pool.mutex.native_handle()); };
    EXPECT_EQ(pool.commit(1, "", Nothing).first, 0);
    EXPECT_TRUE(held);
    EXPECT_EQ(LockRecorder::Held(), 0);
}

// The queue

TEST_F(ThreadPoolCommitTest, TheNameIsStored)
{
    std::string name = "RetryConnectTask:array1 and an address";
    EXPECT_EQ(pool.commit(5, name, Nothing).first, 0);
    EXPECT_EQ(pool.commit(6, "", Nothing).first, 0);
    EXPECT_EQ(pool.commit(7, std::string("a\0b", 3), Nothing).first, 0);
    name = "changed";
    EXPECT_THAT(platform.QueuedNames(),
                ElementsAre("RetryConnectTask:array1 and an address", "", std::string("a\0b", 3)));
}

TEST_F(ThreadPoolCommitTest, ADueAtOnceTaskIsTakenBeforeAllTimedOnes)
{
    for (const unsigned long delay : {3000UL, 1UL, 2000UL}) {
        EXPECT_EQ(pool.commit(delay, "timed", Nothing).first, 0);
    }
    EXPECT_EQ(pool.commit(0, "now", Nothing).first, 0);
    EXPECT_EQ(pool.commit(1, "timed", Nothing).first, 0);
    EXPECT_THAT(RunAll(), ElementsAre("now", "timed", "timed", "timed", "timed"));
}

TEST_F(ThreadPoolCommitTest, TheEarliestDueTaskIsTakenFirst)
{
    EXPECT_EQ(pool.commit(2000, "2000", Nothing).first, 0);
    EXPECT_EQ(pool.commit(1000, "1000", Nothing).first, 0);
    EXPECT_THAT(RunAll(), ElementsAre("1000", "2000"));
}

TEST_F(ThreadPoolCommitTest, TheQueueIsAHeapAfterEveryCommit)
{
    uint32_t random = 1;
    for (int i = 0; i < 300; ++i) {
        random = random * 1664525 + 1013904223;
        EXPECT_EQ(pool.commit(random % 50, "", Nothing).first, 0);
        ASSERT_TRUE(std::is_heap(pool.tasks.begin(), pool.tasks.end(), ThreadPool::cmp()));
    }
    EXPECT_THAT(pool.tasks, SizeIs(300));
}

// A commit appends and sifts up while the parent is due later: entries due no earlier than their parents stay there.
TEST_F(ThreadPoolCommitTest, ATaskIsAppendedAndRisesOnlyAboveLaterOnes)
{
    const auto names = [this] {
        std::vector<std::string> found;
        for (const ThreadPool::Task &task : pool.tasks) {
            found.push_back(std::get<1>(task));
        }
        return found;
    };
    (void)pool.commit(10, "a", Nothing);
    (void)pool.commit(10, "b", Nothing);
    (void)pool.commit(20, "c", Nothing);
    EXPECT_THAT(names(), ElementsAre("a", "b", "c"));
    (void)pool.commit(5, "d", Nothing);
    EXPECT_THAT(names(), ElementsAre("d", "a", "c", "b"));
}

TEST_F(ThreadPoolCommitTest, TasksAreOrderedByDueTimeAlone)
{
    const auto body = [] { return ThreadPool::Body(std::make_unique<std::packaged_task<void()>>(Nothing)); };
    const ThreadPool::Task early(1, "z", body());
    const ThreadPool::Task late(2, "a", body());
    const ThreadPool::Task alsoLate(2, "b", body());
    const ThreadPool::Task negative(-1, "", body());
    const ThreadPool::cmp later;
    EXPECT_TRUE(later(late, early));
    EXPECT_FALSE(later(early, late));
    EXPECT_FALSE(later(late, alsoLate));
    EXPECT_FALSE(later(alsoLate, late));
    EXPECT_TRUE(later(early, negative)) << "due times have a sign";
}

TEST_F(ThreadPoolCommitTest, ABodyDestroysItsCallableOnceWhereverItIsMoved)
{
    const auto body = [](auto callable) {
        return ThreadPool::Body(std::make_unique<decltype(callable)>(std::move(callable)));
    };
    const auto first = std::make_shared<int>();
    const auto second = std::make_shared<int>();
    int runsOfFirst = 0;
    int runsOfSecond = 0;
    {
        ThreadPool::Body one = body([owned = std::shared_ptr<int>(first), &runsOfFirst] { ++runsOfFirst; });
        ThreadPool::Body other = body([&runsOfSecond, owned = std::shared_ptr<int>(second)] { ++runsOfSecond; });
        const ThreadPool::Body moved = std::move(one);
        one = std::move(other);
        EXPECT_EQ(first.use_count(), 2);
        EXPECT_EQ(second.use_count(), 2);
        moved();
        EXPECT_EQ(runsOfFirst, 1);
        one();
        EXPECT_EQ(runsOfSecond, 1);
    }
    EXPECT_EQ(first.use_count(), 1);
    EXPECT_EQ(second.use_count(), 1);
}

// Arguments and results

void Collect(std::vector<std::string> *output, std::string &text)
{
    output->push_back(text);
    text = "changed by the task";
}

TEST_F(ThreadPoolCommitTest, ArgumentsAreCopies)
{
    std::vector<std::string> output;
    auto text = std::make_unique<std::string>("committed");
    EXPECT_EQ(pool.commit(0, "", Collect, &output, *text).first, 0);
    *text = "changed by the caller";
    text.reset();
    (void)RunAll();
    EXPECT_THAT(output, ElementsAre("committed"));
}

TEST_F(ThreadPoolCommitTest, ATaskDoesNotChangeItsCallersArguments)
{
    std::vector<std::string> output;
    std::string text = "committed";
    EXPECT_EQ(pool.commit(0, "", Collect, &output, text).first, 0);
    EXPECT_EQ(pool.commit(0, "", Collect, &output, text).first, 0);
    (void)RunAll();
    EXPECT_EQ(text, "committed");
    EXPECT_THAT(output, ElementsAre("committed", "committed"));
}

TEST_F(ThreadPoolCommitTest, TheFunctionObjectIsACopyToo)
{
    struct Counter {
        int operator()() { return ++count; }
        int count = 0;
    };
    Counter counter;
    auto first = pool.commit(0, "", counter);
    counter.count = 10;
    (void)RunAll();
    EXPECT_EQ(first.second.get(), 1);
    EXPECT_EQ(counter.count, 10);
}

TEST_F(ThreadPoolCommitTest, TheFutureGetsTheResult)
{
    auto committed = pool.commit(5, "", [](int left, int right) { return left - right; }, 7, 3);
    EXPECT_EQ(committed.first, 0);
    EXPECT_EQ(committed.second.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    (void)RunAll();
    EXPECT_EQ(committed.second.get(), 4);
}

TEST_F(ThreadPoolCommitTest, AResultMayBeMoveOnly)
{
    auto committed = pool.commit(0, "", [](int value) { return std::make_unique<int>(value); }, 7);
    (void)RunAll();
    EXPECT_EQ(*committed.second.get(), 7);
}

TEST_F(ThreadPoolCommitTest, AResultMayBeAReference)
{
    int value = 7;
    auto committed = pool.commit(0, "", [](int *pointer) -> int & { return *pointer; }, &value);
    (void)RunAll();
    EXPECT_EQ(&committed.second.get(), &value);
}

TEST_F(ThreadPoolCommitTest, AnExceptionOfATaskGoesToTheFuture)
{
    auto committed = pool.commit(0, "", [] { throw std::runtime_error("from the task"); });
    EXPECT_NO_THROW((void)RunAll());
    EXPECT_THROW(committed.second.get(), std::runtime_error);
}

TEST_F(ThreadPoolCommitTest, AnExceptionInPlaceOfAResultGoesToTheFuture)
{
    auto committed = pool.commit(0, "", []() -> int { throw std::runtime_error("from the task"); });
    EXPECT_NO_THROW((void)RunAll());
    EXPECT_THROW((void)committed.second.get(), std::runtime_error);
}

TEST_F(ThreadPoolCommitTest, ATaskRunsThoughNobodyKeepsItsFuture)
{
    bool ran = false;
    (void)pool.commit(0, "", [&ran] { ran = true; });
    (void)RunAll();
    EXPECT_TRUE(ran);
}

TEST_F(ThreadPoolCommitTest, ATaskThatIsDroppedFromTheQueueBreaksItsPromise)
{
    auto committed = pool.commit(0, "", Nothing);
    pool.tasks.clear();
    EXPECT_TRUE(IsBrokenPromise(committed.second));
}

TEST_F(ThreadPoolCommitTest, ATaskMayCommitItsOwnRetry)
{
    (void)pool.commit(0, "first", [this] { (void)pool.commit(2000, "retry", Nothing); });
    EXPECT_TRUE(platform.RunNextDue());
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("retry"));
}

// A pool that accepts nothing

TEST_F(ThreadPoolCommitTest, APoolThatIsNotRunningRefusesTheTask)
{
    (void)pool.commit(9, "before", Nothing);
    int wakeUps = 0;
    LockRecorder::onNotifyOne = [&wakeUps] { ++wakeUps; };
    pool.running = false;
    auto committed = pool.commit(0, "after", Nothing);
    EXPECT_EQ(committed.first, -1);
    EXPECT_TRUE(IsBrokenPromise(committed.second));
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("before"));
    EXPECT_EQ(wakeUps, 0);
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(ThreadPoolCommitTest, APoolWithoutWorkersRefusesTheTask)
{
    (void)pool.commit(9, "before", Nothing);
    int wakeUps = 0;
    LockRecorder::onNotifyOne = [&wakeUps] { ++wakeUps; };
    pool.workers.clear();
    auto committed = pool.commit(5, "after", Nothing);
    EXPECT_EQ(committed.first, -1);
    EXPECT_TRUE(IsBrokenPromise(committed.second));
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("before"));
    EXPECT_EQ(wakeUps, 0);
}

TEST_F(ThreadPoolCommitTest, ARefusedTaskNeverRuns)
{
    bool ran = false;
    pool.running = false;
    (void)pool.commit(0, "", [&ran] { ran = true; });
    pool.running = true;
    EXPECT_THAT(RunAll(), IsEmpty());
    EXPECT_FALSE(ran);
}

TEST_F(ThreadPoolCommitTest, APoolThatIsNotRunningRefusesWithoutTheQueuesMutex)
{
    pool.running = false;
    const std::lock_guard<std::mutex> lock(pool.mutex);  // a second lock on this thread would be an exception
    EXPECT_EQ(pool.commit(5, "", Nothing).first, -1);
    pool.running = true;
    EXPECT_THROW((void)pool.commit(5, "", Nothing), std::system_error);
}

TEST_F(ThreadPoolCommitTest, APoolThatStopsAfterTheTestStillReceivesTheTask)
{
    platform.onPowerOnRead = [this] { pool.running = false; };
    EXPECT_EQ(pool.commit(5, "late", Nothing).first, 0);
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("late"));
}

// Waking

TEST_F(ThreadPoolCommitTest, OneWorkerIsWokenAfterTheMutexWasReleased)
{
    int wakeUps = 0;
    LockRecorder::onNotifyOne = [&wakeUps, this] {
        ++wakeUps;
        EXPECT_EQ(LockRecorder::Held(), 0);
        EXPECT_THAT(pool.tasks, SizeIs(1)) << "the task is there";
    };
    (void)pool.commit(0, "", Nothing);
    EXPECT_EQ(wakeUps, 1);
}

TEST_F(ThreadPoolCommitTest, AWaitingWorkerIsWoken)
{
    std::promise<void> waits;
    auto worker = std::async(std::launch::async, [this, &waits] {
        std::unique_lock<std::mutex> lock(pool.mutex);
        waits.set_value();
        return pool.wakeUp.wait_for(lock, kHang, [this] { return !pool.tasks.empty(); });
    });
    waits.get_future().get();
    EXPECT_EQ(pool.commit(2000, "", Nothing).first, 0);
    EXPECT_TRUE(worker.get());
}

TEST_F(ThreadPoolCommitTest, ManyThreadsCommitAtOnceWhileAWorkerTakesTasks)
{
    constexpr int kThreads = 4;
    constexpr int kTasksEach = 500;
    std::atomic<int> ran{0};
    std::vector<std::thread> committers;
    for (int thread = 0; thread < kThreads; ++thread) {
        committers.emplace_back([this, &ran] {
            for (int i = 0; i < kTasksEach; ++i) {
                (void)pool.commit(static_cast<unsigned long>(i % 3), "task", [&ran] { ++ran; });
            }
        });
    }
    const auto deadline = std::chrono::steady_clock::now() + kHang;
    while (ran < kThreads * kTasksEach && std::chrono::steady_clock::now() < deadline) {
        std::unique_lock<std::mutex> lock(pool.mutex);
        if (!pool.wakeUp.wait_until(lock, deadline, [this] { return !pool.tasks.empty(); })) {
            break;
        }
        std::pop_heap(pool.tasks.begin(), pool.tasks.end(), ThreadPool::cmp());
        const ThreadPool::Task task = std::move(pool.tasks.back());
        pool.tasks.pop_back();
        lock.unlock();
        std::get<2>(task)();
    }
    for (std::thread &committer : committers) {
        committer.join();
    }
    EXPECT_EQ(ran, kThreads * kTasksEach);
    EXPECT_THAT(pool.tasks, IsEmpty());
}

// Failures

TEST_F(ThreadPoolCommitTest, AMutexThatCannotBeLockedIsAnException)
{
    (void)pool.commit(9, "before", Nothing);
    LockRecorder::lockErrno = EINVAL;
    try {
        (void)pool.commit(0, "after", Nothing);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::system_error &error) {
        EXPECT_EQ(error.code().value(), EINVAL);
    }
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("before"));
}

TEST_F(ThreadPoolCommitTest, AnAllocationThatFailsLeavesTheQueueAsItWas)
{
    const std::string name = "a name that fits no small buffer of a string";
    (void)pool.commit(9, "before", Nothing);
    pool.tasks.shrink_to_fit();
    int failures = 0;
    for (bool done = false; !done && failures < 100;) {
        FakeSystem::newsUntilFailure = failures;
        try {
            (void)pool.commit(5, name, ConnectTask, name, name);
            done = true;
        } catch (const std::bad_alloc &) {
            ++failures;
        }
        FakeSystem::newsUntilFailure = -1;
        EXPECT_EQ(LockRecorder::Held(), 0);
        ASSERT_THAT(pool.tasks, SizeIs(done ? 2 : 1));
        ASSERT_EQ(std::get<1>(pool.tasks.back()), "before");
    }
    EXPECT_GE(failures, 2) << "the task's state and the queue's memory";
    EXPECT_LT(failures, 100);
}

// What the library commits

TEST_F(ThreadPoolCommitTest, TheLibrarysFourKindsOfTasksRun)
{
    const std::string name = "array1";
    const std::string ip = "10.0.0.1";
    const IpPair pair("1.1.1.1", ip);
    const uint32_t count = 3;
    platform.registerCredentialResult = -1;
    EXPECT_EQ(pool.commit(1, "", ConnectTask, name, ip).first, 0);
    EXPECT_EQ(pool.commit(2, "", CreateLinkTask, name, pair).first, 0);
    EXPECT_EQ(pool.commit(3, "", SetWwnTask, name, pair, count).first, 0);
    EXPECT_EQ(pool.commit(4, "", ConnectFCTask, name).first, 0);
    (void)RunAll();
    EXPECT_THAT(platform.calls,
                ElementsAre("IpUtil::GetHostIpsCanConnect(10.0.0.1)", "OrnCreateTarnLinks(1.1.1.1,10.0.0.1)",
                            "OrnGetLinkInfoByIpPair(1.1.1.1,10.0.0.1)", "OrnGetLinkInfoByIpPair(1.1.1.1,10.0.0.1)",
                            "OrnClientRegCredential(1,ZefStorageGetBilCredentialCb)"));
}

}  // namespace
