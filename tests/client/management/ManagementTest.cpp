#include "management/Management.h"

#include "RegistryTest.h"
#include "log/Log.h"

#include <nlohmann/json.hpp>

#include <thread>

namespace zef {
namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

class ManagementTest : public RegistryTest {
protected:
    ManagementTest() { management.Open(); }

    json Handle(const json &request) const { return management.Handle(request, Clock::now() + std::chrono::hours(1)); }

    int changes = 0;
    Management management{"/nowhere/zef_config.xml", [this] { ++changes; }};
};

TEST_F(ManagementTest, AnswersWithTheStatus)
{
    EXPECT_TRUE(Handle({{"op", "status"}}).contains("links"));
    EXPECT_EQ(changes, 0) << "looking changes nothing";
}

TEST_F(ManagementTest, RefusesEverythingUntilTheClientHasStarted)
{
    const Management early("/nowhere/zef_config.xml", [this] { ++changes; });
    for (const char *const op : {"status", "save", "retry", "reload"}) {
        EXPECT_REFUSED(early.Handle({{"op", op}}, Clock::now() + std::chrono::hours(1)), ExitCode::NotRunning,
                       "the client has not started; nothing was changed");
    }
    EXPECT_EQ(changes, 0);
}

TEST_F(ManagementTest, SavesNoPairThatTheNextStartMakesAnew)
{
    (void)AddWithPairs();
    EXPECT_REFUSED(Handle({{"op", "storage-delete-pair"},
                           {"name", "array-1"},
                           {"pair", "127.0.0.1:127.0.0.11"},
                           {"save", true}}),
                   ExitCode::Failed,
                   "this cannot be saved while 127.0.0.2:127.0.0.11 is there, too: the file holds addresses, and the next "
                   "start would make the pair anew; nothing was changed");
    EXPECT_EQ(ZefStorageManager::GetByName("array-1").GetIpParis().size(), 2U);
}

TEST_F(ManagementTest, TellsOfAChangeAlsoWhenWhatFollowsFails)
{
    const auto refusal = Refusal([this] { Handle({{"op", "reload"}}); });
    EXPECT_TRUE(refusal);
    EXPECT_EQ(changes, 1);
}

TEST_F(ManagementTest, CarriesOutEveryChangeAndTellsOfIt)
{
    const json requests[] = {
        {{"op", "storage-add"},
         {"name", "array-1"},
         {"user", "zefuser"},
         {"password", sealed},
         {"addresses", {"127.0.0.11"}}},
        {{"op", "storage-add-addresses"}, {"name", "array-1"}, {"addresses", {"127.0.0.12", "127.0.0.13"}}},
        {{"op", "storage-delete-addresses"}, {"name", "array-1"}, {"addresses", {"127.0.0.12"}}},
        {{"op", "storage-set-user"}, {"name", "array-1"}, {"user", "other_user"}, {"password", sealed}},
        {{"op", "switch"}, {"name", "deduplication"}, {"value", "on"}},
        {{"op", "retry"}},
        {{"op", "log-level"}, {"level", "info"}},
    };
    for (const json &request : requests) {
        EXPECT_FALSE(Handle(request).at("done").empty()) << request;
    }
    EXPECT_EQ(changes, 7);
    ZefStorage &storage = ZefStorageManager::GetByName("array-1");
    EXPECT_EQ(storage.GetIps(), "127.0.0.11;127.0.0.13");
    EXPECT_EQ(storage.GetUser(), "other_user");
    EXPECT_EQ(DeduplicationConfig::GetInstance().GetDeduplication(), 1);

    storage.AddIpParis({"127.0.0.1", "127.0.0.13"});
    (void)Handle({{"op", "storage-delete-pair"}, {"name", "array-1"}, {"pair", "127.0.0.1:127.0.0.13"}});
    EXPECT_EQ(storage.GetIps(), "127.0.0.11");
    (void)Handle({{"op", "storage-delete"}, {"name", "array-1"}});
    EXPECT_TRUE(ZefStorageManager::GetStorageAll().empty());
    EXPECT_EQ(changes, 9);
}

TEST_F(ManagementTest, AddsAFibreChannelStorageObject)
{
    json request = {{"op", "storage-add"}, {"name", "array-1"}, {"user", "zefuser"}, {"password", sealed},
                    {"fibre_channel", true}, {"addresses", {"127.0.0.1"}}};
    EXPECT_REFUSED(Handle(request), ExitCode::Usage, "a Fibre Channel storage object has no addresses");
    request.erase("addresses");
    (void)Handle(request);
    EXPECT_EQ(ZefStorageManager::GetByName("array-1").GetLinkType(), StorageLinkType::kFibreChannel);
}

TEST_F(ManagementTest, RefusesWhatItDoesNotKnow)
{
    EXPECT_REFUSED(Handle({{"op", "format"}}), ExitCode::Usage, "there is no operation \"format\"");
    EXPECT_REFUSED(Handle({{"op", "status"}, {"colour", "red"}}), ExitCode::Usage,
                   "argument \"colour\" is not known for this request");
    EXPECT_REFUSED(Handle({{"op", "log-level"}, {"level", "loud"}}), ExitCode::Usage,
                   "\"loud\" is no log level: error, warn, info or debug");
    EXPECT_EQ(changes, 1) << "the last one may have begun";
}

TEST_F(ManagementTest, ShowsAndSetsTheLogLevel)
{
    EXPECT_EQ(Handle({{"op", "log-level"}, {"level", "debug"}})["level"], "debug");
    EXPECT_EQ(CurrentLogLevel(), LogLevel::Debug);
    EXPECT_EQ(Handle({{"op", "log-level"}, {"level", "info"}})["level"], "info");
    EXPECT_EQ(Handle({{"op", "log-level"}})["done"], json({"the log level is info"}));
}

TEST_F(ManagementTest, WhatCannotBeSavedIsNotChanged)
{
    const auto refusal = Refusal([this] {
        Handle({{"op", "switch"}, {"name", "deduplication"}, {"value", "on"}, {"save", true}});
    });
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->first, ExitCode::Failed);
    EXPECT_EQ(DeduplicationConfig::GetInstance().GetDeduplication(), 0);
}

TEST_F(ManagementTest, GivesUpAtItsDeadlineWithNothingChanged)
{
    // This thread holds a pause, as a task or another request would keep another thread waiting.
    std::thread([this] {
        EXPECT_REFUSED(
            management.Handle({{"op", "switch"}, {"name", "deduplication"}, {"value", "on"}}, Clock::now()),
            ExitCode::TimedOut, "the client is busy with a login or a search for addresses; nothing was changed");
    }).join();
    EXPECT_EQ(DeduplicationConfig::GetInstance().GetDeduplication(), 0);
    EXPECT_EQ(changes, 0);
}

TEST_F(ManagementTest, RetryBeginsAgainWhatWasGivenUp)
{
    (void)AddWithPairs();
    ProbeRecord::Instance().Reached("127.0.0.11", kClosedPort);
    ProbeRecord::Instance().Reached("127.0.0.12", kClosedPort);
    EXPECT_EQ(Handle({{"op", "retry"}})["done"], json({"127.0.0.12 is connected anew"}))
        << "the other address has its pairs";
    ProbeRecord::Instance().NotReached("127.0.0.12", kClosedPort, "no route");
    EXPECT_EQ(Handle({{"op", "retry"}})["done"], json({"nothing to begin again; what failed is tried every 2 s"}));
    ForgetProbe("127.0.0.11");
    ForgetProbe("127.0.0.12");
}

}  // namespace
}  // namespace zef
