#include "mgmt/config/storage/StorageTest.h"

#include <zef_config/ZefStorageController.h>

#include <array>
#include <stdexcept>

#include <climits>
#include <cstring>

namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const std::string kName = "array1";
const std::string kAllocation = "yrmm_malloc(68608,873,GetFcLinkState)";
const std::string kRelease = "yrmm_free(873,GetFcLinkState)";
const std::string kFirstQuery = "OrnGetAllLinkInfoByEngine(128,0,1)";
const std::string kRegistration = "OrnClientRegCredential(1,ZefStorageGetBilCredentialCb)";
const std::string kNotNormal = "FC link is not normal.\n";
constexpr int kRecords = 128;

class FibreChannelTest : public StorageTest {
protected:
    struct Link {
        uint64_t wwn;
        int64_t status;
    };

    // The gateway lists these links, from the first record on.
    void Lists(const std::vector<Link> &links)
    {
        platform.onAllLinkInfo = [links](OrnLinkInfo *records, uint32_t, uint32_t *) {
            Write(links, records);
            return 0;
        };
    }

    static void Write(const std::vector<Link> &links, OrnLinkInfo *records)
    {
        for (size_t i = 0; i < links.size(); ++i) {
            records[i].wwn = links[i].wwn;
            records[i].status = links[i].status;
        }
    }

    static ZefStorage &Array() { return ZefStorageManager::GetByName(kName); }

    static std::string Message(int level, const std::string &function, const std::string &message)
    {
        return Line(level, "FibreChannel", function, message);
    }

    // Runs GetFcLinkState on a gateway that never lists a usable link, and returns the number of its queries.
    size_t QueriesUntilDeadline()
    {
        EXPECT_EQ(GetFcLinkState(kName), -1);
        EXPECT_THAT(Logged(), ElementsAre(Message(kError, "GetFcLinkState", kNotNormal)));
        return CountCalls("OrnGetAllLinkInfoByEngine");
    }
};

// ConnectStorageFc

TEST_F(FibreChannelTest, ConnectStorageFcCommitsOneTaskThatIsDueAtOnce)
{
    platform.powerOnMs = 5000;
    const ZefStorage storage = Register(kName);
    EXPECT_EQ(ZefStorageController::ConnectStorageFc(storage), 0);
    EXPECT_THAT(platform.QueuedNames(), ElementsAre(""));
    EXPECT_THAT(platform.QueuedDueTimes(), ElementsAre(0));
    EXPECT_THAT(platform.calls, IsEmpty());
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(FibreChannelTest, ConnectStorageFcSucceedsThoughThePoolAcceptsNothing)
{
    platform.Pool().running = false;
    EXPECT_EQ(ZefStorageController::ConnectStorageFc(Register(kName)), 0);
    EXPECT_EQ(Queued(), 0U);
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(FibreChannelTest, TheCommittedTaskHasItsOwnCopyOfTheName)
{
    Lists({{7, 0}});
    {
        ZefStorage storage;
        storage.SetName(kName);
        (void)ZefStorageController::ConnectStorageFc(storage);
        storage.SetName("another name");
    }
    Register(kName);
    EXPECT_EQ(platform.RunDue(), 1);
    EXPECT_EQ(Array().GetWwn(), 7U);
    EXPECT_EQ(Queued(), 0U);
}

// ConnectFCTask

TEST_F(FibreChannelTest, ConnectFCTaskRegistersTheCallbackAndThenAsksForLinks)
{
    Lists({{7, 0}});
    Register(kName);
    ConnectFCTask(kName);
    EXPECT_THAT(Timeline(), ElementsAre(kRegistration, kAllocation, kFirstQuery, kRelease));
    EXPECT_EQ(platform.registeredCallback, ZefStorageGetBilCredentialCb);
    EXPECT_EQ(Array().GetWwn(), 7U);
}

TEST_F(FibreChannelTest, ConnectFCTaskEndsWhenTheCallbackCannotBeRegistered)
{
    for (const int result : {1, -1, INT_MIN}) {
        platform.Reset();
        platform.registerCredentialResult = result;
        Lists({{7, 0}});
        ConnectFCTask(kName);
        EXPECT_THAT(Logged(),
                    ElementsAre(Message(kError, "ConnectFCTask",
                                        "The function of zef registering with orn to obtain authentication information "
                                        "failed.\n")));
        EXPECT_THAT(platform.calls, ElementsAre(kRegistration));
        EXPECT_EQ(Queued(), 0U);
    }
}

TEST_F(FibreChannelTest, ConnectFCTaskReportsThatNoLinkCameUpAndDoesNotRetry)
{
    Register(kName);
    ConnectFCTask(kName);
    EXPECT_THAT(Logged(), ElementsAre(Message(kError, "GetFcLinkState", kNotNormal),
                                      Message(kError, "ConnectFCTask", "zef storage get link status failed.\n")));
    EXPECT_EQ(Queued(), 0U);
    EXPECT_EQ(Array().GetWwn(), kNoWwn);
}

TEST_F(FibreChannelTest, ConnectFCTaskRegistersTheCallbackEachTime)
{
    Lists({{7, 0}});
    Register(kName);
    ConnectFCTask(kName);
    ConnectFCTask(kName);
    EXPECT_EQ(CountCalls(kRegistration), 2U);
}

TEST_F(FibreChannelTest, ConnectFCTaskIsContentWithALinkToAnotherArray)
{
    Lists({{8, 0}});
    Register(kName).SetWwn(7);
    ConnectFCTask(kName);
    EXPECT_THAT(Logged(), ElementsAre(Message(kError, "StorageObjectFcSetWwnTask", kNotNormal)));
    EXPECT_EQ(Array().GetWwn(), 7U);
}

// GetFcLinkState: the table

TEST_F(FibreChannelTest, GetFcLinkStateReportsThatThereIsNoMemory)
{
    platform.failAllocations = true;
    Register(kName);
    EXPECT_EQ(GetFcLinkState(kName), -1);
    EXPECT_THAT(Logged(), ElementsAre(Message(kError, "GetFcLinkState", "Failed to alloc memory for ornLinkInfo.")));
    EXPECT_THAT(platform.calls, ElementsAre(kAllocation));
    EXPECT_THAT(system.sleeps, IsEmpty());
}

TEST_F(FibreChannelTest, ConnectFCTaskReportsThatThereIsNoMemory)
{
    platform.failAllocations = true;
    ConnectFCTask(kName);
    EXPECT_THAT(Logged(), ElementsAre(Message(kError, "GetFcLinkState", "Failed to alloc memory for ornLinkInfo."),
                                      Message(kError, "ConnectFCTask", "zef storage get link status failed.\n")));
}

TEST_F(FibreChannelTest, TheTableIsZeroedOnceAndItsLinksAreMarkedEmptyBeforeEveryQuery)
{
    int queries = 0;
    platform.onAllLinkInfo = [&queries](OrnLinkInfo *records, uint32_t count, uint32_t *) {
        for (uint32_t i = 0; i < count; ++i) {
            EXPECT_EQ(records[i].wwn, kNoWwn);
            EXPECT_EQ(records[i].status, -1);
            EXPECT_EQ(records[i].reserved, queries == 0 ? 0U : 9U) << "only links are marked anew";
            const std::array<char, 512> expected = {queries == 0 ? '\0' : 'w'};
            EXPECT_EQ(std::memcmp(records[i].initiatorWwn, expected.data(), expected.size()), 0);
            records[i] = {7, 2, 9, "w"};
        }
        ++queries;
        return 0;
    };
    Register(kName);
    EXPECT_EQ(QueriesUntilDeadline(), 20U);
    EXPECT_THAT(platform.wiped, SizeIs(1));
    EXPECT_THAT(platform.wiped, Each(SizeIs(68608)));
}

TEST_F(FibreChannelTest, TheCountIsZeroBeforeTheFirstQueryAndNeverLookedAt)
{
    platform.onAllLinkInfo = [](OrnLinkInfo *records, uint32_t, uint32_t *count) {
        Write({{7, *count == 0 ? 2 : 0}}, records);
        *count = 500;
        return 0;
    };
    Register(kName);
    EXPECT_EQ(GetFcLinkState(kName), 0);
    EXPECT_EQ(Array().GetWwn(), 7U);
    EXPECT_THAT(platform.calls,
                ElementsAre(kAllocation, kFirstQuery, "OrnGetAllLinkInfoByEngine(128,500,1)", kRelease));
}

TEST_F(FibreChannelTest, TheResultOfTheQueryIsNotLookedAt)
{
    for (const int result : {-1, 1}) {
        platform.onAllLinkInfo = [result](OrnLinkInfo *records, uint32_t, uint32_t *) {
            Write({{7, 0}}, records);
            return result;
        };
        ZefStorageManager::Clear();
        Register(kName);
        EXPECT_EQ(GetFcLinkState(kName), 0);
        EXPECT_EQ(Array().GetWwn(), 7U);
    }
}

TEST_F(FibreChannelTest, TheTableIsGivenBackAfterTheWwnWasTaken)
{
    Lists({{8, 0}});
    Register(kName).SetWwn(7);
    EXPECT_EQ(GetFcLinkState(kName), 0);
    EXPECT_THAT(Timeline(), ElementsAre(kAllocation, kFirstQuery, "ZEF: " + kNotNormal, kRelease));
}

TEST_F(FibreChannelTest, TheTableIsGivenBackAfterTheDeadline)
{
    Register(kName);
    EXPECT_EQ(GetFcLinkState(kName), -1);
    const std::vector<std::string> timeline = Timeline();
    ASSERT_THAT(timeline, SizeIs(23));
    EXPECT_EQ(timeline[0], kAllocation);
    EXPECT_EQ(timeline[21], "ZEF: " + kNotNormal);
    EXPECT_EQ(timeline[22], kRelease);
}

TEST_F(FibreChannelTest, TheTableIsGivenBackWhenTheGatewayThrows)
{
    platform.onAllLinkInfo = [](OrnLinkInfo *, uint32_t, uint32_t *) -> int { throw std::runtime_error("gateway"); };
    EXPECT_THROW((void)GetFcLinkState(kName), std::runtime_error);
    EXPECT_THAT(platform.calls, Contains(kRelease));
}

// GetFcLinkState: the scan

TEST_F(FibreChannelTest, TheFirstLinkThatIsUpIsTaken)
{
    Lists({{7, 0}, {8, 0}});
    Register(kName);
    EXPECT_EQ(GetFcLinkState(kName), 0);
    EXPECT_EQ(Array().GetWwn(), 7U);
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_THAT(system.sleeps, IsEmpty());
}

TEST_F(FibreChannelTest, AnUnusableLinkEndsTheScan)
{
    Lists({{7, 1}, {8, 0}});
    Register(kName);
    EXPECT_EQ(QueriesUntilDeadline(), 20U);
    EXPECT_EQ(Array().GetWwn(), kNoWwn);
}

TEST_F(FibreChannelTest, AnEmptyRecordEndsTheScan)
{
    Lists({{7, 2}, {7, -1}, {8, 0}});
    Register(kName);
    EXPECT_EQ(QueriesUntilDeadline(), 20U);
    EXPECT_EQ(Array().GetWwn(), kNoWwn);
}

TEST_F(FibreChannelTest, OtherStatesAreSkipped)
{
    Lists({{1, 2}, {2, -2}, {3, 0x100000000}, {4, 0x100000001}, {5, 0xFFFFFFFF}, {6, INT64_MAX}, {7, INT64_MIN},
           {8, 0}});
    Register(kName);
    EXPECT_EQ(GetFcLinkState(kName), 0);
    EXPECT_EQ(Array().GetWwn(), 8U);
}

TEST_F(FibreChannelTest, TheLastRecordIsLookedAt)
{
    std::vector<Link> links(kRecords, Link{7, 2});
    links.back() = {8, 0};
    Lists(links);
    Register(kName);
    EXPECT_EQ(GetFcLinkState(kName), 0);
    EXPECT_EQ(Array().GetWwn(), 8U);
}

TEST_F(FibreChannelTest, NothingBehindTheLastRecordIsLookedAt)
{
    Lists(std::vector<Link>(kRecords, Link{7, 2}));
    Register(kName);
    EXPECT_EQ(QueriesUntilDeadline(), 20U);
}

TEST_F(FibreChannelTest, ALinkThatIsUpWithoutAWwnIsEnough)
{
    Lists({{kNoWwn, 0}, {8, 0}});
    Register(kName);
    EXPECT_EQ(GetFcLinkState(kName), 0);
    EXPECT_EQ(Array().GetWwn(), kNoWwn);
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_EQ(CountCalls("OrnGetAllLinkInfoByEngine"), 1U);
}

TEST_F(FibreChannelTest, ADifferentWwnIsReportedAndTheLinkStateIsStillZero)
{
    Lists({{8, 0}});
    Register(kName).SetWwn(7);
    EXPECT_EQ(GetFcLinkState(kName), 0);
    EXPECT_THAT(Logged(), ElementsAre(Message(kError, "StorageObjectFcSetWwnTask", kNotNormal)));
    EXPECT_EQ(Array().GetWwn(), 7U);
}

// GetFcLinkState: which record

TEST_F(FibreChannelTest, TheWwnGoesToTheRegistrysOwnRecord)
{
    Lists({{7, 0}});
    Register("array0");
    Register(kName);
    Register(kName);
    EXPECT_EQ(GetFcLinkState(kName), 0);
    EXPECT_EQ(ZefStorageManager::GetStorageAll()[0].GetWwn(), kNoWwn);
    EXPECT_EQ(ZefStorageManager::GetStorageAll()[1].GetWwn(), 7U);
    EXPECT_EQ(ZefStorageManager::GetStorageAll()[2].GetWwn(), kNoWwn);
}

TEST_F(FibreChannelTest, AnUnknownStorageIsPolledForOnTheEmptyRecord)
{
    Lists({{7, 0}});
    EXPECT_EQ(GetFcLinkState(kName), 0);
    EXPECT_EQ(ZefStorageManager::GetByName(kName).GetWwn(), 7U);
    EXPECT_EQ(ZefStorageManager::GetByName(kName).GetName(), "");
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(FibreChannelTest, TheRecordIsFoundAgainWhenTheRegistryMovedDuringAQuery)
{
    platform.onAllLinkInfo = [](OrnLinkInfo *records, uint32_t, uint32_t *) {
        MoveRecords();
        Write({{7, 0}}, records);
        return 0;
    };
    Register(kName);
    EXPECT_EQ(GetFcLinkState(kName), 0);
    EXPECT_EQ(Array().GetName(), kName);
    EXPECT_EQ(Array().GetWwn(), 7U);
}

TEST_F(FibreChannelTest, TheRecordMayGoDuringAQuery)
{
    platform.onAllLinkInfo = [](OrnLinkInfo *records, uint32_t, uint32_t *) {
        ZefStorageManager::Clear();
        Register("array2");
        Write({{7, 0}}, records);
        return 0;
    };
    Register(kName);
    EXPECT_EQ(GetFcLinkState(kName), 0);
    EXPECT_EQ(ZefStorageManager::GetByName("array2").GetWwn(), kNoWwn);
}

TEST_F(FibreChannelTest, NoLockIsTaken)
{
    platform.onAllLinkInfo = [](OrnLinkInfo *records, uint32_t, uint32_t *) {
        EXPECT_EQ(LockRecorder::Held(), 0);
        Write({{8, 0}}, records);
        return 0;
    };
    Register(kName).SetWwn(7);
    ConnectFCTask(kName);
    ASSERT_THAT(platform.logs, SizeIs(1));
    EXPECT_EQ(platform.logs[0].mutexesHeld, 0);
}

// GetFcLinkState: time

TEST_F(FibreChannelTest, ThePollGoesOnForTwentySecondsOneSecondApart)
{
    Register(kName);
    EXPECT_EQ(QueriesUntilDeadline(), 20U);
    EXPECT_THAT(system.sleeps, SizeIs(20));
    EXPECT_THAT(system.sleeps, Each(1U));
}

TEST_F(FibreChannelTest, ALinkThatComesUpWithTheLastQueryIsTaken)
{
    int queries = 0;
    platform.onAllLinkInfo = [&queries](OrnLinkInfo *records, uint32_t, uint32_t *) {
        Write({{7, ++queries == 20 ? 0 : 1}}, records);
        return 0;
    };
    Register(kName);
    EXPECT_EQ(GetFcLinkState(kName), 0);
    EXPECT_EQ(Array().GetWwn(), 7U);
    EXPECT_THAT(system.sleeps, SizeIs(19));
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(FibreChannelTest, AQueryThatTakesLongCountsTowardsTheDeadline)
{
    platform.onAllLinkInfo = [this](OrnLinkInfo *, uint32_t, uint32_t *) {
        system.wallClock += 9;
        return 0;
    };
    Register(kName);
    EXPECT_EQ(QueriesUntilDeadline(), 2U);
}

TEST_F(FibreChannelTest, NineteenSecondsAreFewerThanTwenty)
{
    platform.onAllLinkInfo = [this](OrnLinkInfo *, uint32_t, uint32_t *) {
        system.wallClock += system.sleeps.empty() ? 18 : 0;
        return 0;
    };
    Register(kName);
    EXPECT_EQ(QueriesUntilDeadline(), 2U);
}

TEST_F(FibreChannelTest, TheFirstPauseComesBeforeTheDeadlineIsLookedAt)
{
    platform.onAllLinkInfo = [this](OrnLinkInfo *, uint32_t, uint32_t *) {
        system.wallClock += 1000;
        return 0;
    };
    Register(kName);
    EXPECT_EQ(QueriesUntilDeadline(), 1U);
    EXPECT_THAT(system.sleeps, ElementsAre(1U));
}

TEST_F(FibreChannelTest, AClockThatIsSetBackEndsThePoll)
{
    platform.onAllLinkInfo = [this](OrnLinkInfo *, uint32_t, uint32_t *) {
        if (system.sleeps.size() > 100) {
            throw std::logic_error("the poll has no end");
        }
        system.wallClock -= 2;  // one second back, the pause included
        return 0;
    };
    Register(kName);
    EXPECT_EQ(QueriesUntilDeadline(), 1U);
}

TEST_F(FibreChannelTest, AClockThatStandsStillIsNoReasonToStop)
{
    int queries = 0;
    platform.onAllLinkInfo = [this, &queries](OrnLinkInfo *, uint32_t, uint32_t *) {
        system.wallClock -= ++queries <= 100 ? 1 : 0;
        return 0;
    };
    Register(kName);
    EXPECT_EQ(QueriesUntilDeadline(), 120U);
}

TEST_F(FibreChannelTest, TimeIsComparedInThirtyTwoBits)
{
    platform.onAllLinkInfo = [this](OrnLinkInfo *, uint32_t, uint32_t *) {
        system.wallClock += system.sleeps.empty() ? 0x100000000 : 0;
        return 0;
    };
    Register(kName);
    EXPECT_EQ(QueriesUntilDeadline(), 20U);
}

TEST_F(FibreChannelTest, ThePollCrossesTheEndOfThirtyTwoBitTime)
{
    system.wallClock = 0xFFFFFFFF - 5;
    Register(kName);
    EXPECT_EQ(QueriesUntilDeadline(), 20U);
}

// StorageObjectFcSetWwnTask

TEST_F(FibreChannelTest, ARecordWithoutAWwnLeavesTheStorage)
{
    ZefStorage storage;
    EXPECT_EQ(StorageObjectFcSetWwnTask(storage, OrnLinkInfo{kNoWwn, 0, 0, ""}), 0);
    EXPECT_EQ(storage.GetWwn(), kNoWwn);
    storage.SetWwn(7);
    EXPECT_EQ(StorageObjectFcSetWwnTask(storage, OrnLinkInfo{kNoWwn, 0, 0, ""}), 0);
    EXPECT_EQ(storage.GetWwn(), 7U);
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(FibreChannelTest, AStorageWithoutAWwnTakesTheRecords)
{
    ZefStorage storage;
    EXPECT_EQ(StorageObjectFcSetWwnTask(storage, OrnLinkInfo{0x8000000000000007, 5, 0, ""}), 0);
    EXPECT_EQ(storage.GetWwn(), 0x8000000000000007U);
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(FibreChannelTest, TheSameWwnIsFine)
{
    ZefStorage storage;
    storage.SetWwn(0);
    EXPECT_EQ(StorageObjectFcSetWwnTask(storage, OrnLinkInfo{0, 0, 0, ""}), 0);
    EXPECT_EQ(storage.GetWwn(), 0U);
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(FibreChannelTest, ZeroIsAWwn)
{
    ZefStorage storage;
    EXPECT_EQ(StorageObjectFcSetWwnTask(storage, OrnLinkInfo{0, 0, 0, ""}), 0);
    EXPECT_EQ(storage.GetWwn(), 0U);
    EXPECT_EQ(StorageObjectFcSetWwnTask(storage, OrnLinkInfo{7, 0, 0, ""}), -1);
    EXPECT_EQ(storage.GetWwn(), 0U);
}

TEST_F(FibreChannelTest, AnotherWwnIsReportedAndNotTaken)
{
    ZefStorage storage;
    storage.SetWwn(7);
    EXPECT_EQ(StorageObjectFcSetWwnTask(storage, OrnLinkInfo{0x100000007, 0, 0, ""}), -1);
    EXPECT_EQ(storage.GetWwn(), 7U);
    EXPECT_THAT(Logged(), ElementsAre(Message(kError, "StorageObjectFcSetWwnTask", kNotNormal)));
}

// InitOrnLinkStatus

TEST_F(FibreChannelTest, InitOrnLinkStatusMarksTheFirstRecordsAndLeavesTheRest)
{
    std::array<OrnLinkInfo, 3> records = {};
    for (OrnLinkInfo &record : records) {
        record = {7, 5, 9, "text"};
    }
    InitOrnLinkStatus(records.data(), 2);
    for (size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(records[i].wwn, i < 2 ? kNoWwn : 7U);
        EXPECT_EQ(records[i].status, i < 2 ? -1 : 5);
        EXPECT_EQ(records[i].reserved, 9U);
        EXPECT_STREQ(records[i].initiatorWwn, "text");
    }
}

TEST_F(FibreChannelTest, InitOrnLinkStatusOfNoRecordsDoesNothing)
{
    OrnLinkInfo record = {7, 5, 9, "text"};
    for (const int count : {0, -1, INT_MIN}) {
        InitOrnLinkStatus(&record, count);
        InitOrnLinkStatus(nullptr, count);
    }
    EXPECT_EQ(record.wwn, 7U);
    EXPECT_EQ(record.status, 5);
}

}  // namespace
