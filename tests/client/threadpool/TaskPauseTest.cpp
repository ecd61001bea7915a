#include "TaskPause.h"

#include "PoolTest.h"
#include "TaskGate.h"

#include <atomic>
#include <functional>
#include <optional>
#include <thread>
#include <vector>

namespace {

using zef::TaskPause;

// Commits tasks that are due at once, then stops the pool. Returns how many of them ran.
int RunsUntilClear(ThreadPool &pool)
{
    constexpr int kTasks = 1000;
    std::atomic<int> runs{0};
    for (int task = 0; task < kTasks; ++task) {
        pool.commit(0, "", [&runs] { ++runs; });
    }
    pool.Clear();
    return runs;
}

// The gate turns tasks away that have not begun, once a pause is waiting.
void WaitUntilAPauseWaits()
{
    const auto deadline = std::chrono::steady_clock::now() + kHang;
    while (std::chrono::steady_clock::now() < deadline && zef::TaskGate::Get().TryEnter()) {
        zef::TaskGate::Get().Leave();
        std::this_thread::yield();
    }
}

}  // namespace

TEST(TaskPauseTest, WaitsForTheTaskThatRuns)
{
    std::promise<void> begun;
    std::promise<void> release;
    std::atomic<bool> ended{false};
    ThreadPool pool(1);
    pool.commit(0, "", [&] {
        begun.set_value();
        release.get_future().wait();
        ended = true;
    });
    ASSERT_TRUE(IsReady(begun.get_future()));
    std::thread releasing([&release] { release.set_value(); });
    {
        const TaskPause pause;
        EXPECT_TRUE(ended);
    }
    releasing.join();
}

TEST(TaskPauseTest, KeepsTasksOfEveryPoolFromBeginning)
{
    ThreadPool one(1);
    ThreadPool four(4);
    const TaskPause pause;
    EXPECT_EQ(RunsUntilClear(one), 0);
    EXPECT_EQ(RunsUntilClear(four), 0);
}

TEST(TaskPauseTest, TasksThatWereCommittedMeanwhileGoOnInTheOrderOfTheirDueTimes)
{
    std::vector<int> order;
    ThreadPool pool(1);
    std::future<void> first;
    std::future<void> second;
    {
        const TaskPause pause;
        second = pool.commit(1, "", [&order] { order.push_back(2); }).second;
        first = pool.commit(0, "", [&order] { order.push_back(1); }).second;
    }
    ASSERT_TRUE(IsReady(first));
    ASSERT_TRUE(IsReady(second));
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(TaskPauseTest, LetsTasksGoOnWhenItEnds)
{
    ThreadPool pool(1);
    std::future<void> waiting;
    {
        const TaskPause pause;
        waiting = pool.commit(0, "", [] {}).second;
    }
    EXPECT_TRUE(IsReady(waiting));
}

TEST(TaskPauseTest, TasksWaitForTheLastOfAThreadsPauses)
{
    ThreadPool pool(1);
    const TaskPause outer;
    { const TaskPause inner; }
    EXPECT_EQ(RunsUntilClear(pool), 0);
}

TEST(TaskPauseTest, OneThreadAtATimeHoldsAPause)
{
    std::promise<void> entered;
    std::optional<TaskPause> held(std::in_place);
    std::atomic<bool> released{false};
    std::thread other([&] {
        const TaskPause pause;
        EXPECT_TRUE(released);
        entered.set_value();
    });
    { const TaskPause nested; }
    released = true;
    held.reset();
    EXPECT_TRUE(IsReady(entered.get_future()));
    other.join();
}

TEST(TaskPauseTest, GivesUpWhenATaskRunsOnUntilTheDeadline)
{
    ThreadPool pool(1);
    BusyWorker busy(pool);
    {
        const TaskPause pause(std::chrono::steady_clock::now());
        EXPECT_FALSE(pause.IsHeld());
    }
    busy.Release();
    EXPECT_TRUE(IsReady(pool.commit(0, "", [] {}).second)) << "a pause that was given up holds up no task";
}

TEST(TaskPauseTest, GivesUpWhenAnotherThreadHoldsAPauseUntilTheDeadline)
{
    ThreadPool pool(1);
    {
        const TaskPause held;
        std::thread([] {
            const TaskPause pause(std::chrono::steady_clock::now());
            EXPECT_FALSE(pause.IsHeld());
        }).join();
        EXPECT_EQ(pool.commit(0, "", [] {}).first, 0);
        const TaskPause again(std::chrono::steady_clock::now());
        EXPECT_TRUE(again.IsHeld()) << "this thread has it";
    }
    EXPECT_TRUE(IsReady(pool.commit(0, "", [] {}).second));
}

TEST(TaskPauseTest, IsHeldWhenItIsToBeHadAtOnce)
{
    const TaskPause pause(std::chrono::steady_clock::now());
    EXPECT_TRUE(pause.IsHeld());
}

TEST(TaskPauseTest, IsNotStarvedByTasksThatAreDueWithoutEnd)
{
    ThreadPool pool(2);
    std::atomic<bool> enough{false};
    std::function<void()> again = [&] {
        if (!enough) {
            pool.commit(0, "", [&again] { again(); });
        }
    };
    for (int chain = 0; chain < 8; ++chain) {
        pool.commit(0, "", [&again] { again(); });
    }
    std::promise<void> paused;
    std::thread pausing([&] {
        for (int count = 0; count < 20; ++count) {
            const TaskPause pause;
        }
        paused.set_value();
    });
    EXPECT_TRUE(IsReady(paused.get_future()));
    enough = true;
    pausing.join();
    pool.Clear();
}

// Both tasks have been taken by the worker before the pause is asked for.
TEST(TaskPauseTest, GoesBetweenTwoTasksThatWereTakenTogether)
{
    std::promise<void> begun;
    std::promise<void> release;
    std::atomic<bool> isPaused{false};
    ThreadPool pool(1);
    std::future<bool> second;
    {
        const BusyWorker busy(pool);
        pool.commit(0, "", [&] {
            begun.set_value();
            release.get_future().wait();
        });
        second = pool.commit(0, "", [&isPaused] { return isPaused.load(); }).second;
    }
    ASSERT_TRUE(IsReady(begun.get_future()));
    EXPECT_FALSE(zef::TaskPause(std::chrono::steady_clock::now()).IsHeld());
    std::thread pausing([&isPaused] {
        const TaskPause pause;
        isPaused = true;
    });
    WaitUntilAPauseWaits();
    release.set_value();
    pausing.join();
    ASSERT_TRUE(IsReady(second));
    EXPECT_TRUE(second.get());
}

TEST(TaskPauseTest, ClearDropsTasksThatWereTakenTogetherAndWaitForItsEnd)
{
    std::promise<void> begun;
    std::promise<void> release;
    ThreadPool pool(1);
    std::future<void> second;
    {
        const BusyWorker busy(pool);
        pool.commit(0, "", [&] {
            begun.set_value();
            release.get_future().wait();
        });
        second = pool.commit(0, "", [] {}).second;
    }
    ASSERT_TRUE(IsReady(begun.get_future()));
    std::thread releasing([&release] {
        WaitUntilAPauseWaits();
        release.set_value();
    });
    const TaskPause pause;
    releasing.join();
    pool.Clear();
    EXPECT_TRUE(IsBroken(second));
}

TEST(TaskPauseTest, InsideATaskItReturnsAtOnce)
{
    ThreadPool pool(1);
    const auto pausing = pool.commit(0, "", [] { const TaskPause pause; });
    EXPECT_TRUE(IsReady(pausing.second));
    const auto next = pool.commit(0, "", [] {});
    EXPECT_TRUE(IsReady(next.second));
}

TEST(TaskPauseTest, InsideATaskItGivesNoOtherPauseBack)
{
    std::promise<void> begun;
    std::promise<void> release;
    ThreadPool pool(1);
    pool.commit(0, "", [&] {
        begun.set_value();
        release.get_future().wait();
        { const TaskPause inside; }
    });
    ASSERT_TRUE(IsReady(begun.get_future()));
    std::thread releasing([&release] { release.set_value(); });
    const TaskPause outside;
    releasing.join();
    EXPECT_EQ(RunsUntilClear(pool), 0);
}

TEST(TaskPauseTest, ClearEndsWorkersThatWaitForThePausesEnd)
{
    ThreadPool pool(2);
    const TaskPause pause;
    auto dropped = pool.commit(0, "", [] {});
    pool.Clear();
    EXPECT_TRUE(IsBroken(dropped.second));
    EXPECT_FALSE(pool.workers[0].joinable());
    EXPECT_FALSE(pool.workers[1].joinable());
}

TEST(TaskPauseTest, DestroyingAPoolDuringAPauseDropsItsTasks)
{
    const TaskPause pause;
    std::future<void> dropped;
    {
        ThreadPool pool(1);
        dropped = pool.commit(0, "", [] {}).second;
    }
    EXPECT_TRUE(IsBroken(dropped));
}

// The variable has no lock: tasks of the one worker and holders of a pause take turns. The thread sanitizer sees to it.
TEST(TaskPauseTest, KeepsTasksAndTheHoldersOfPausesApart)
{
    constexpr int kRounds = 500;
    int unguarded = 0;
    ThreadPool pool(1);
    std::thread producer([&] {
        for (int round = 0; round < kRounds; ++round) {
            pool.commit(0, "", [&unguarded] { ++unguarded; });
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        const TaskPause pause;
        ++unguarded;
    }
    producer.join();
    ASSERT_TRUE(IsReady(pool.commit(1, "", [] {}).second));
    const TaskPause pause;
    EXPECT_EQ(unguarded, 2 * kRounds);
}
