#include "control/ControlExecutor.h"

#include "AwkwardClient.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <mutex>
#include <utility>
#include <vector>

namespace zef {

namespace {

using Ids = std::vector<uint64_t>;
using Operations = std::vector<std::string>;
using TimePoint = std::chrono::steady_clock::time_point;

class ControlExecutorTest : public testing::Test {
protected:
    // A handler that still waits would keep the executor from stopping.
    ~ControlExecutorTest() override { handler.LetGo(); }

    void Submit(uint64_t id, const char *op, TimePoint deadline = TimePoint::max())
    {
        executor.Submit({id, std::make_shared<const JsonValue>(JsonValue{{"op", op}}), deadline});
    }

    // False when so many answers have not been given within half a minute.
    bool AwaitAnswers(size_t count)
    {
        return Eventually([this, count] { return Answered().size() >= count; });
    }

    // The ids of all answers, in their order.
    Ids Answered()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return answered;
    }

    std::mutex mutex;
    Ids answered;  // guarded by mutex
    SteeredHandler handler;
    ControlExecutor executor{handler.Handler(),
                             [this](uint64_t id, const std::string &) {
                                 const std::lock_guard<std::mutex> lock(mutex);
                                 answered.push_back(id);
                             },
                             2};
};

}  // namespace

TEST_F(ControlExecutorTest, AnswersInTheOrderOfSubmission)
{
    Submit(1, "block");
    ASSERT_TRUE(handler.AwaitBegun(1));
    Submit(2, "fail");
    Submit(3, "echo");
    handler.LetGo();
    ASSERT_TRUE(AwaitAnswers(3));
    EXPECT_EQ(Answered(), (Ids{1, 2, 3}));
}

TEST_F(ControlExecutorTest, NeverBeginsAJobAfterItsDeadline)
{
    Submit(1, "late", std::chrono::steady_clock::now());
    Submit(2, "echo");
    ASSERT_TRUE(AwaitAnswers(1));
    EXPECT_EQ(Answered(), Ids{2});
    EXPECT_EQ(handler.Operations(), Operations{"echo"});
    EXPECT_TRUE(executor.Withdraw(1));
    EXPECT_FALSE(executor.Withdraw(1));
}

TEST_F(ControlExecutorTest, WithdrawsOnlyWhatHasNotBegun)
{
    Submit(1, "block");
    ASSERT_TRUE(handler.AwaitBegun(1));
    Submit(2, "echo");
    EXPECT_FALSE(executor.Withdraw(1));
    EXPECT_TRUE(executor.Withdraw(2));
    handler.LetGo();
    ASSERT_TRUE(AwaitAnswers(1));
    executor.Stop();
    EXPECT_EQ(Answered(), Ids{1});
}

TEST_F(ControlExecutorTest, TakesNoMoreThanItMayAndNothingAfterStop)
{
    Submit(1, "block");
    ASSERT_TRUE(handler.AwaitBegun(1));
    Submit(2, "echo");
    Submit(3, "echo");
    EXPECT_THROW(Submit(4, "echo"), ControlError);
    handler.LetGo();
    ASSERT_TRUE(AwaitAnswers(3));
    executor.Stop();
    EXPECT_THROW(Submit(5, "echo"), ControlError);
    EXPECT_EQ(Answered(), (Ids{1, 2, 3}));
}

}  // namespace zef
