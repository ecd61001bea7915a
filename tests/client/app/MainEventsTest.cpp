#include "app/MainEvents.h"

#include <gtest/gtest.h>

#include <thread>

#include <csignal>

#include <unistd.h>

namespace zef {
namespace {

TEST(MainEventsTest, BothStopSignalsAreStopEvents)
{
    MainEvents events;
    for (const int signal : {SIGINT, SIGTERM}) {
        kill(getpid(), signal);
        EXPECT_EQ(events.Wait(), MainEvent::Stop);
    }
}

TEST(MainEventsTest, SigUsr1AsksForTheTable)
{
    MainEvents events;
    kill(getpid(), SIGUSR1);
    EXPECT_EQ(events.Wait(), MainEvent::ShowTable);
}

TEST(MainEventsTest, SigHupAsksForAReload)
{
    MainEvents events;
    kill(getpid(), SIGHUP);
    EXPECT_EQ(events.Wait(), MainEvent::Reload);
}

TEST(MainEventsTest, GivesUpWhenTheTimeIsOver)
{
    MainEvents events;
    EXPECT_EQ(events.Wait(std::chrono::milliseconds(0)), MainEvent::Nothing);
    MainEvents::Post(MainEvent::ShowTable);
    EXPECT_EQ(events.Wait(std::chrono::milliseconds(0)), MainEvent::ShowTable) << "what is there comes first";
}

TEST(MainEventsTest, SurvivesAPeerThatHangsUp)
{
    MainEvents events;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    EXPECT_EQ(write(ends[1], "x", 1), -1);  // ends the process unless SIGPIPE is ignored
    close(ends[1]);
}

TEST(MainEventsTest, EventsOfOtherThreadsComeInOrder)
{
    MainEvents events;
    std::thread([] {
        MainEvents::Post(MainEvent::ShowTable);
        MainEvents::Post(MainEvent::Stop);
    }).join();
    EXPECT_EQ(events.Wait(), MainEvent::ShowTable);
    EXPECT_EQ(events.Wait(), MainEvent::Stop);
}

TEST(MainEventsTest, PostingNeverBlocksHoweverManyWait)
{
    MainEvents events;
    for (int i = 0; i < 100000; ++i) {  // more than a pipe holds
        MainEvents::Post(MainEvent::ShowTable);
    }
    EXPECT_EQ(events.Wait(), MainEvent::ShowTable);
}

TEST(MainEventsTest, GivesTheSignalsBack)
{
    {
        MainEvents events;
    }
    struct sigaction action = {};
    for (const int signal : {SIGINT, SIGTERM, SIGUSR1, SIGHUP, SIGPIPE}) {
        sigaction(signal, nullptr, &action);
        EXPECT_EQ(action.sa_handler, SIG_DFL) << signal;
    }
}

}  // namespace
}  // namespace zef
