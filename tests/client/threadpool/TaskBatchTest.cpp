#include "TaskBatch.h"

#include "PoolTest.h"

#include <memory>
#include <random>
#include <set>
#include <vector>

namespace {

using zef::TaskBatch;

// A queue without workers.
class TaskBatchTest : public ::testing::Test {
protected:
    // Puts a task into the queue that notes its due time when it runs.
    void Push(int64_t dueTime)
    {
        PushDue(pool, dueTime, [this, dueTime] { ran.push_back(dueTime); });
        waiting.insert(dueTime);
    }

    // Takes a batch and runs it. Returns how many tasks it was.
    size_t TakeAndRun(size_t most)
    {
        ran.clear();
        batch.Take(pool.tasks, most);
        while (batch.RunNext()) {
        }
        for (const int64_t dueTime : ran) {
            waiting.erase(waiting.find(dueTime));
        }
        return ran.size();
    }

    std::multiset<int64_t> DueTimesOfQueue() const
    {
        std::multiset<int64_t> dueTimes;
        for (const ThreadPool::Task &task : pool.tasks) {
            dueTimes.insert(std::get<0>(task));
        }
        return dueTimes;
    }

    bool IsHeap() const { return std::is_heap(pool.tasks.begin(), pool.tasks.end(), ThreadPool::cmp()); }

    ThreadPool pool{0};
    TaskBatch batch{pool};
    std::vector<int64_t> ran;
    std::multiset<int64_t> waiting;
};

}  // namespace

TEST_F(TaskBatchTest, RunsNothingBeforeItHasTakenAnything)
{
    EXPECT_FALSE(batch.RunNext());
}

TEST_F(TaskBatchTest, TakesAllThatAreDueAtOnce)
{
    for (const int64_t dueTime : {5, 0, 7, 0, 6, 0}) {
        Push(dueTime);
    }
    EXPECT_EQ(TakeAndRun(TaskBatch::kMost), 3U);
    EXPECT_EQ(DueTimesOfQueue(), (std::multiset<int64_t>{5, 6, 7}));
}

TEST_F(TaskBatchTest, TakesOneThatIsTimedByItself)
{
    for (const int64_t dueTime : {5, 5, 5}) {
        Push(dueTime);
    }
    EXPECT_EQ(TakeAndRun(TaskBatch::kMost), 1U);
    EXPECT_EQ(pool.tasks.size(), 2U);
}

TEST_F(TaskBatchTest, ATimeBeforeAllOthersGoesByItselfToo)
{
    for (const int64_t dueTime : {0, -1, 0}) {
        Push(dueTime);
    }
    EXPECT_EQ(TakeAndRun(TaskBatch::kMost), 1U);
    EXPECT_EQ(ran, std::vector<int64_t>{-1});
}

TEST_F(TaskBatchTest, TakesNoMoreThanItIsAllowedTo)
{
    for (size_t task = 0; task < 2 * TaskBatch::kMost; ++task) {
        Push(0);
    }
    EXPECT_EQ(TakeAndRun(1), 1U);
    EXPECT_EQ(TakeAndRun(7), 7U);
    EXPECT_EQ(TakeAndRun(10 * TaskBatch::kMost), TaskBatch::kMost);
    EXPECT_EQ(pool.tasks.size(), TaskBatch::kMost - 8);
}

TEST_F(TaskBatchTest, DropsWithItselfWhatItHasNotRun)
{
    const auto held = std::make_shared<int>();
    for (int task = 0; task < 3; ++task) {
        PushDue(pool, 0, [held] {});
    }
    {
        TaskBatch dropped(pool);
        dropped.Take(pool.tasks, 3);
        EXPECT_TRUE(dropped.RunNext());
        EXPECT_EQ(held.use_count(), 3);
    }
    EXPECT_EQ(held.use_count(), 1);
}

// Whatever is in the queue, in whatever order it came: a batch has the earliest, the rest is a heap of the others.
TEST_F(TaskBatchTest, LeavesAHeapOfAllThatItDoesNotTake)
{
    std::mt19937 random(1);
    const auto below = [&random](size_t limit) { return static_cast<size_t>(random() % limit); };
    for (int round = 0; round < 500; ++round) {
        const size_t additions = below(round % 50 == 0 ? 2 * TaskBatch::kMost : 6);
        for (size_t task = 0; task < additions; ++task) {
            Push(static_cast<int64_t>(below(2) == 0 ? 0 : below(20)));
        }
        if (pool.tasks.empty()) {
            continue;
        }
        const int64_t earliest = *waiting.begin();
        const size_t dueAtOnce = waiting.count(0);
        const size_t most = 1 + below(2 * TaskBatch::kMost);
        const size_t expected = earliest == 0 ? std::min({dueAtOnce, most, TaskBatch::kMost}) : 1;
        ASSERT_EQ(TakeAndRun(most), expected);
        ASSERT_EQ(ran, std::vector<int64_t>(expected, earliest));
        ASSERT_TRUE(IsHeap());
        ASSERT_EQ(DueTimesOfQueue(), waiting);
    }
}

TEST_F(TaskBatchTest, TakesTheRestOfOthersOfItsPoolToDropIt)
{
    std::vector<std::future<void>> futures;
    for (int task = 0; task < 3; ++task) {
        futures.push_back(PushDue(pool, 0, [] {}));
    }
    ThreadPool otherPool(0);
    TaskBatch ofOtherPool(otherPool);
    std::future<void> ofOther = PushDue(otherPool, 0, [] {});
    ofOtherPool.Take(otherPool.tasks, 1);
    batch.Take(pool.tasks, TaskBatch::kMost);
    EXPECT_TRUE(batch.RunNext());
    {
        TaskBatch dropped(pool);
        dropped.TakeRest();
        EXPECT_FALSE(batch.RunNext());
        EXPECT_FALSE(dropped.RunNext()) << "they are not there to be run";
    }
    EXPECT_EQ(std::count_if(futures.begin(), futures.end(), IsBroken<void>), 2);
    EXPECT_TRUE(ofOtherPool.RunNext());
    EXPECT_FALSE(IsBroken(ofOther));
}
