#include "EarlyPool.h"
#include "PoolTest.h"
#include "TaskPause.h"

#include <cstdlib>

namespace {

// Whether the early task ran without any of the program's static objects: they are not begun before it has ended.
const bool ranBeforeThisProgram = IsReady(EarlyTask());

}  // namespace

TEST(EarlyPoolTest, RunsTasksBeforeTheProgramsStaticObjectsExist)
{
    EXPECT_TRUE(ranBeforeThisProgram);
    EXPECT_TRUE(EarlyTask().get());
}

TEST(EarlyPoolTest, ObeysPausesOfTheProgram)
{
    std::future<void> waiting;
    {
        const zef::TaskPause pause;
        waiting = EarlyPool().commit(0, "", [] {}).second;
        EXPECT_EQ(EarlyPool().tasks.size(), 1U);
    }
    EXPECT_TRUE(IsReady(waiting));
}

TEST(EarlyPoolDeathTest, IsDestroyedAfterTheProgramsStaticObjectsWithTasksPendingAndRunning)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            EarlyPool().commit(kHourMs, "pending", [] {});
            std::promise<void> begun;
            EarlyPool().commit(0, "running", [&begun] {
                begun.set_value();
                while (EarlyPool().running) {
                    std::this_thread::yield();
                }
            });
            if (IsReady(begun.get_future())) {
                std::exit(5);
            }
        },
        ::testing::ExitedWithCode(5), "");
}
