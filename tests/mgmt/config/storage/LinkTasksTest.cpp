#include "mgmt/config/storage/StorageTest.h"

#include <zef_config/ZefStorageController.h>

#include <algorithm>
#include <map>
#include <system_error>

#include <cerrno>
#include <climits>

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const std::string kName = "array1";
const std::string kIp = "10.0.0.1";
const IpPair kPair("1.1.1.1", kIp);
const IpPair kSibling("1.1.1.2", kIp);          // another way to the same array address
const IpPair kElsewhere("1.1.1.1", "10.0.0.2");  // another array address

constexpr int64_t kUp = 0;
constexpr int64_t kNotUsable = 1;
constexpr int64_t kEmpty = -1;

class LinkTasksTest : public StorageTest {
protected:
    LinkTasksTest() { platform.powerOnMs = 5000; }

    // What the gateway answers to the query for a pair. Pairs that are not named are left alone, with an error.
    struct Answer {
        uint64_t wwn;
        int64_t status;
        int result = 0;
    };

    void Answers(const std::map<IpPair, Answer> &answers)
    {
        platform.onLinkInfo = [answers](const std::string &local, const std::string &ip, OrnLinkInfo &info) {
            const auto answer = answers.find(IpPair(local, ip));
            if (answer == answers.end()) {
                return -1;
            }
            info.wwn = answer->second.wwn;
            info.status = answer->second.status;
            return answer->second.result;
        };
    }

    static ZefStorage &Array() { return ZefStorageManager::GetByName(kName); }
    static ZefStorage &EmptyRecord() { return ZefStorageManager::GetByName("a name that nobody has"); }

    static std::string Query(const IpPair &pair) { return Call("OrnGetLinkInfoByIpPair", pair); }
    static std::string Delete(const IpPair &pair) { return Call("OrnDeleteTarnLink", pair); }
    static std::string Create(const IpPair &pair) { return Call("OrnCreateTarnLinks", pair); }

    // As Line, for this file's source.
    static std::string Message(int level, const std::string &function, const std::string &message)
    {
        return Line(level, "LinkTasks", function, "zef storage controller " + message);
    }

    static std::vector<IpPair> ManyPairs(int count)
    {
        std::vector<IpPair> pairs;
        for (int i = 0; i < count; ++i) {
            pairs.emplace_back("2.2.2." + std::to_string(i), kIp);
        }
        return pairs;
    }

private:
    static std::string Call(const std::string &function, const IpPair &pair)
    {
        return function + "(" + pair.first + "," + pair.second + ")";
    }
};

// ConnectTask

TEST_F(LinkTasksTest, ConnectTaskCreatesALinkFromEachLocalAddressInAscendingOrder)
{
    platform.onHostIps = [](const std::string &) { return std::set<std::string>{"1.1.1.2", "1.1.1.1"}; };
    Answers({{kPair, {7, kUp}}, {kSibling, {7, kUp}}});
    Register(kName, {kIp});
    ConnectTask(kName, kIp);
    EXPECT_THAT(Timeline(), ElementsAre("IpUtil::GetHostIpsCanConnect(10.0.0.1)", Create(kPair), Query(kPair),
                                        Create(kSibling), Query(kSibling)));
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kPair, kSibling));
    EXPECT_EQ(Array().GetWwn(), 7U);
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, ConnectTaskAddsEachPairJustBeforeItsLink)
{
    platform.onHostIps = [](const std::string &) { return std::set<std::string>{"1.1.1.2", "1.1.1.1"}; };
    std::vector<std::vector<IpPair>> seen;
    platform.onCreateLink = [&seen](const OrnLinkRequest &) {
        seen.push_back(Array().GetIpParis());
        return -1;
    };
    Register(kName, {kIp});
    ConnectTask(kName, kIp);
    EXPECT_THAT(seen, ElementsAre(std::vector<IpPair>{kPair}, std::vector<IpPair>{kPair, kSibling}));
}

TEST_F(LinkTasksTest, ConnectTaskOrdersLocalAddressesAsTexts)
{
    platform.onHostIps = [](const std::string &) { return std::set<std::string>{"9.9.9.9", "10.1.1.1"}; };
    Register(kName, {kIp});
    ConnectTask(kName, kIp);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(IpPair("10.1.1.1", kIp), IpPair("9.9.9.9", kIp)));
}

TEST_F(LinkTasksTest, ConnectTaskAddsToThePairsThatAreThereAlready)
{
    platform.onHostIps = [](const std::string &) { return std::set<std::string>{"1.1.1.1"}; };
    Register(kName, {kIp}, {kElsewhere, kPair});
    ConnectTask(kName, kIp);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kElsewhere, kPair, kPair));
    EXPECT_THAT(Array().GetUnConnIpParis(), IsEmpty());
}

TEST_F(LinkTasksTest, ConnectTaskWithoutALocalAddressCommitsItsRetryAndThenReports)
{
    Register(kName, {kIp});
    ConnectTask(kName, kIp);
    EXPECT_THAT(Logged(), ElementsAre(Message(kNotice, "RetryConnectTask", "retry connect task."),
                                      Message(kError, "ConnectTask", "get source ip is empty.")));
    ASSERT_THAT(platform.logs, SizeIs(2));
    EXPECT_EQ(platform.logs[0].queuedTasks, 0U);
    EXPECT_EQ(platform.logs[1].queuedTasks, 1U);
    EXPECT_THAT(platform.calls, ElementsAre("IpUtil::GetHostIpsCanConnect(10.0.0.1)"));
    EXPECT_THAT(Array().GetIpParis(), IsEmpty());
}

TEST_F(LinkTasksTest, ConnectTaskReportsAlsoWhenNoRetryIsNeeded)
{
    Register(kName, {"10.0.0.9"});
    ConnectTask(kName, kIp);
    EXPECT_THAT(Logged(), ElementsAre(Message(kNotice, "RetryConnectTask", "retry connect task."),
                                      Message(kInfo, "CheckDoRetry", "ip not exist."),
                                      Message(kInfo, "RetryConnectTask", "do not need retry connect task."),
                                      Message(kError, "ConnectTask", "get source ip is empty.")));
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, ConnectTaskIsRetriedEveryTwoSecondsWithoutEnd)
{
    Register(kName, {kIp});
    ConnectTask(kName, kIp);
    for (int i = 0; i < 100; ++i) {
        platform.Advance(1999);
        ASSERT_FALSE(platform.RunNextDue());
        platform.Advance(1);
        ASSERT_TRUE(platform.RunNextDue());
        ASSERT_THAT(platform.QueuedNames(), ElementsAre("RetryConnectTask:array110.0.0.1"));
    }
    EXPECT_EQ(CountCalls("IpUtil::GetHostIpsCanConnect(10.0.0.1)"), 101U);
    const std::vector<std::string> logged = Logged();
    EXPECT_EQ(std::count(logged.begin(), logged.end(), Message(kError, "ConnectTask", "get source ip is empty.")), 101);
}

TEST_F(LinkTasksTest, ConnectTaskOfAnUnknownStorageActsOnTheEmptyRecord)
{
    platform.onHostIps = [](const std::string &) { return std::set<std::string>{"1.1.1.1"}; };
    Answers({{kPair, {7, kUp}}});
    ConnectTask(kName, kIp);
    EXPECT_THAT(Timeline(), ElementsAre("IpUtil::GetHostIpsCanConnect(10.0.0.1)", Create(kPair), Query(kPair)));
    EXPECT_THAT(EmptyRecord().GetIpParis(), ElementsAre(kPair));
    EXPECT_EQ(EmptyRecord().GetWwn(), 7U);
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(LinkTasksTest, ConnectTaskFindsTheRecordAgainWhenTheRegistryMovedDuringALogin)
{
    platform.onHostIps = [](const std::string &) { return std::set<std::string>{"1.1.1.1", "1.1.1.2", "1.1.1.3"}; };
    platform.onCreateLink = [](const OrnLinkRequest &) {
        MoveRecords();
        return -1;
    };
    Register(kName, {kIp});
    ConnectTask(kName, kIp);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kPair, kSibling, IpPair("1.1.1.3", kIp)));
    EXPECT_EQ(Queued(), 3U);
}

TEST_F(LinkTasksTest, ConnectTaskFindsTheRecordAgainWhenTheStorageIsReplacedDuringALogin)
{
    platform.onHostIps = [](const std::string &) { return std::set<std::string>{"1.1.1.1", "1.1.1.2"}; };
    platform.onCreateLink = [](const OrnLinkRequest &request) {
        if (request.localAddr == kPair.first) {
            (void)ZefStorageManager::DeleteStorage(kName);
            Register("array0");
            Register(kName, {kIp});
        }
        return -1;
    };
    Register(kName, {kIp});
    ConnectTask(kName, kIp);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kSibling));
    EXPECT_THAT(ZefStorageManager::GetByName("array0").GetIpParis(), IsEmpty());
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("RetryCreateLinkTask:array11.1.1.210.0.0.1"));
}

TEST_F(LinkTasksTest, ConnectTaskGoesOnWhenTheStorageIsDeletedDuringALogin)
{
    platform.onHostIps = [](const std::string &) { return std::set<std::string>{"1.1.1.1", "1.1.1.2"}; };
    platform.onCreateLink = [](const OrnLinkRequest &) {
        ZefStorageManager::Clear();
        return -1;
    };
    Register(kName, {kIp});
    ConnectTask(kName, kIp);
    EXPECT_EQ(CountCalls("OrnCreateTarnLinks"), 2U);
    EXPECT_EQ(Queued(), 0U);
    EXPECT_THAT(EmptyRecord().GetIpParis(), ElementsAre(kSibling));
}

// CreateLinkTask

TEST_F(LinkTasksTest, CreateLinkTaskFillsTheRequest)
{
    OrnLinkRequest seen = {};
    std::string addresses;
    platform.onCreateLink = [&seen, &addresses](const OrnLinkRequest &request) {
        seen = request;
        addresses = std::string(request.localAddr) + " " + request.storageAddr;
        return 0;
    };
    CreateLinkTask(kName, kPair);
    EXPECT_EQ(addresses, "1.1.1.1 10.0.0.1");
    EXPECT_EQ(seen.localAddr, kPair.first.c_str()) << "the text is the pair's own";
    EXPECT_EQ(seen.storageAddr, kPair.second.c_str());
    EXPECT_EQ(seen.credentialCb, ZefStorageGetCredentialCb);
    EXPECT_EQ(seen.option0, 0);
    EXPECT_EQ(seen.option1, 4);
}

TEST_F(LinkTasksTest, CreateLinkTaskGoesOnToTheWwnInTheSameTask)
{
    Answers({{kPair, {7, kUp}}});
    Register(kName, {kIp}, {kPair});
    CreateLinkTask(kName, kPair);
    EXPECT_THAT(Timeline(), ElementsAre(Create(kPair), Query(kPair)));
    EXPECT_EQ(Array().GetWwn(), 7U);
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, CreateLinkTaskBeginsTheWwnStepWithCountZero)
{
    Answers({{kSibling, {7, kUp}}});
    Register(kName, {kIp}, {kPair, kSibling});
    CreateLinkTask(kName, kPair);
    // The retries count 1 to 15: fifteen more tries until the pair is given up.
    for (int i = 0; i < 15; ++i) {
        ASSERT_EQ(CountCalls("OrnDeleteTarnLink"), 0U);
        platform.Advance(2000);
        ASSERT_EQ(platform.RunDue(), 1);
    }
    EXPECT_EQ(CountCalls("OrnDeleteTarnLink"), 1U);
    EXPECT_EQ(CountCalls(Query(kPair)), 16U);
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, AnyFailureOfTheLinkCreationIsRetried)
{
    for (const int result : {-1, 1, INT_MIN, INT_MAX}) {
        platform.Reset();
        platform.onCreateLink = [result](const OrnLinkRequest &) { return result; };
        ZefStorageManager::Clear();
        Register(kName, {kIp}, {kPair});
        CreateLinkTask(kName, kPair);
        EXPECT_THAT(Timeline(), ElementsAre(Create(kPair), "ZEF: zef storage controller retry create link task."));
        EXPECT_THAT(platform.QueuedNames(), ElementsAre("RetryCreateLinkTask:array11.1.1.110.0.0.1"));
    }
}

TEST_F(LinkTasksTest, CreateLinkTaskIsRetriedWithoutEndAndThePairStays)
{
    platform.onCreateLink = [](const OrnLinkRequest &) { return -1; };
    Register(kName, {kIp}, {kPair, kSibling});
    CreateLinkTask(kName, kPair);
    for (int i = 0; i < 100; ++i) {
        platform.Advance(2000);
        ASSERT_EQ(platform.RunDue(), 1);
        ASSERT_THAT(Array().GetIpParis(), ElementsAre(kPair, kSibling));
    }
    EXPECT_EQ(CountCalls(Create(kPair)), 101U);
    EXPECT_EQ(Queued(), 1U);
}

// SetWwnTask

TEST_F(LinkTasksTest, SetWwnTaskPresetsTheRecordBeforeItAsks)
{
    OrnLinkInfo seen = {};
    platform.onLinkInfo = [&seen](const std::string &, const std::string &, OrnLinkInfo &info) {
        seen = info;
        return 0;
    };
    Register(kName, {kIp}, {kPair});
    SetWwnTask(kName, kPair, 0);
    EXPECT_EQ(seen.wwn, kNoWwn);
    EXPECT_EQ(seen.status, kEmpty);
}

TEST_F(LinkTasksTest, AGatewayThatWritesNothingMeansNoWwn)
{
    platform.onLinkInfo = [](const std::string &, const std::string &, OrnLinkInfo &) { return 0; };
    Register(kName, {kIp}, {kPair});
    SetWwnTask(kName, kPair, 0);
    EXPECT_EQ(Array().GetWwn(), kNoWwn);
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("RetrySetWwnTask:array11.1.1.110.0.0.1"));
}

TEST_F(LinkTasksTest, SetWwnTaskDoesNotLookAtTheResultOfTheQuery)
{
    Answers({{kPair, {7, kUp, -1}}});
    Register(kName, {kIp}, {kPair});
    SetWwnTask(kName, kPair, 0);
    EXPECT_EQ(Array().GetWwn(), 7U);
    EXPECT_EQ(Queued(), 0U);
    EXPECT_THAT(Timeline(), ElementsAre(Query(kPair)));
}

TEST_F(LinkTasksTest, SetWwnTaskIsRetriedWhileTheLinkHasNoWwn)
{
    Answers({{kPair, {kNoWwn, kUp}}});
    Register(kName, {kIp}, {kPair});
    SetWwnTask(kName, kPair, 0);
    EXPECT_THAT(Logged(), ElementsAre(Message(kNotice, "RetrySetWwnTask", "retry set wwn task.")));
    EXPECT_THAT(platform.QueuedDueTimes(), ElementsAre(7000));
}

TEST_F(LinkTasksTest, SetWwnTaskIsRetriedWhileTheStatusIsOne)
{
    Answers({{kPair, {7, kNotUsable}}});
    Register(kName, {kIp}, {kPair});
    SetWwnTask(kName, kPair, 0);
    EXPECT_EQ(Array().GetWwn(), kNoWwn);
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("RetrySetWwnTask:array11.1.1.110.0.0.1"));
}

TEST_F(LinkTasksTest, SetWwnTaskTakesTheWwnInEveryOtherStatus)
{
    for (const int64_t status : {int64_t{0}, int64_t{-1}, int64_t{2}, int64_t{0x100000001}, INT64_MIN}) {
        ZefStorageManager::Clear();
        Answers({{kPair, {7, status}}});
        Register(kName, {kIp}, {kPair});
        SetWwnTask(kName, kPair, 0);
        EXPECT_EQ(Array().GetWwn(), 7U) << status;
    }
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, TheFirstWwnIsTakenTheSameOneChangesNothingAnotherOneDropsThePair)
{
    const IpPair third("1.1.1.3", kIp);
    Answers({{kPair, {7, kUp}}, {kSibling, {7, kUp}}, {third, {8, kUp}}});
    Register(kName, {kIp}, {kPair, kSibling, third});
    SetWwnTask(kName, kPair, 0);
    EXPECT_EQ(Array().GetWwn(), 7U);
    SetWwnTask(kName, kSibling, 0);
    EXPECT_EQ(Array().GetWwn(), 7U);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kPair, kSibling, third));
    SetWwnTask(kName, third, 0);
    EXPECT_EQ(Array().GetWwn(), 7U);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kPair, kSibling));
    EXPECT_THAT(Timeline(), ElementsAre(Query(kPair), Query(kSibling), Query(third), Delete(third)));
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, ADroppedPairLeavesTheAddressAndTheUnconnectedPairs)
{
    Answers({{kPair, {8, kUp}}});
    ZefStorage &storage = Register(kName, {kIp}, {kPair, kElsewhere, kPair});
    storage.SetWwn(7);
    storage.AddUnConnIpParis(kPair);
    SetWwnTask(kName, kPair, 0);
    EXPECT_THAT(storage.GetIpParis(), ElementsAre(kElsewhere));
    EXPECT_THAT(storage.GetUnConnIpParis(), ElementsAre(kPair));
    EXPECT_THAT(storage.GetIpList(), ElementsAre(kIp));
}

TEST_F(LinkTasksTest, ZeroIsAWwn)
{
    Answers({{kPair, {0, kUp}}, {kSibling, {7, kUp}}});
    Register(kName, {kIp}, {kPair, kSibling});
    SetWwnTask(kName, kPair, 0);
    EXPECT_EQ(Array().GetWwn(), 0U);
    SetWwnTask(kName, kSibling, 0);
    EXPECT_EQ(Array().GetWwn(), 0U);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kPair));
}

TEST_F(LinkTasksTest, AWwnIsComparedInAllItsBits)
{
    Answers({{kPair, {0x100000007, kUp}}, {kSibling, {0xFFFFFFFF, kUp}}});
    Register(kName, {kIp}, {kPair, kSibling}).SetWwn(7);
    SetWwnTask(kName, kPair, 0);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kSibling));
    SetWwnTask(kName, kSibling, 0);
    EXPECT_THAT(Array().GetIpParis(), IsEmpty());
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, ThirtyTwoPairsAreAccepted)
{
    const std::vector<IpPair> pairs = ManyPairs(32);
    Answers({{pairs[31], {7, kUp}}});
    Register(kName, {kIp}, pairs);
    SetWwnTask(kName, pairs[31], 0);
    EXPECT_EQ(Array().GetWwn(), 7U);
    EXPECT_THAT(Array().GetIpParis(), SizeIs(32));
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(LinkTasksTest, TheThirtyThirdPairIsReportedAndDropped)
{
    const std::vector<IpPair> pairs = ManyPairs(33);
    Answers({{pairs[32], {7, kUp}}});
    Register(kName, {kIp}, pairs);
    SetWwnTask(kName, pairs[32], 0);
    EXPECT_THAT(Logged(), ElementsAre(Message(kNotice, "SetWwnTask", "ip pair num over max value 32.")));
    EXPECT_THAT(Timeline(), ElementsAre(Query(pairs[32]), "ZEF: zef storage controller ip pair num over max value 32.",
                                        Delete(pairs[32])));
    EXPECT_EQ(Array().GetIpParis(), ManyPairs(32));
    EXPECT_EQ(Array().GetWwn(), kNoWwn) << "the number of pairs is looked at before the WWN";
}

TEST_F(LinkTasksTest, APairTooManyIsDroppedAlsoWhenItHasTheRightWwn)
{
    const std::vector<IpPair> pairs = ManyPairs(33);
    Answers({{pairs[0], {7, kUp}}});
    Register(kName, {kIp}, pairs).SetWwn(7);
    SetWwnTask(kName, pairs[0], 0);
    ASSERT_THAT(Array().GetIpParis(), SizeIs(32));
    EXPECT_EQ(Array().GetIpParis().front(), pairs[1]);
}

TEST_F(LinkTasksTest, TheResultOfALinksDeletionIsNotLookedAt)
{
    platform.onDeleteLink = [](const std::string &, const std::string &) { return -1; };
    Answers({{kPair, {8, kUp}}});
    Register(kName, {kIp}, {kPair}).SetWwn(7);
    SetWwnTask(kName, kPair, 0);
    EXPECT_THAT(Array().GetIpParis(), IsEmpty());
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(LinkTasksTest, TheLinkIsDeletedBeforeThePairIsRemoved)
{
    std::vector<IpPair> seen;
    platform.onDeleteLink = [&seen](const std::string &, const std::string &) {
        seen = Array().GetIpParis();
        return 0;
    };
    Answers({{kPair, {8, kUp}}});
    Register(kName, {kIp}, {kPair}).SetWwn(7);
    SetWwnTask(kName, kPair, 0);
    EXPECT_THAT(seen, ElementsAre(kPair));
}

TEST_F(LinkTasksTest, SetWwnTaskOfAnUnknownStorageActsOnTheEmptyRecord)
{
    Answers({{kPair, {7, kUp}}, {kSibling, {8, kUp}}});
    SetWwnTask(kName, kPair, 0);
    EXPECT_EQ(EmptyRecord().GetWwn(), 7U);
    SetWwnTask(kName, kSibling, 0);
    EXPECT_THAT(Timeline(), ElementsAre(Query(kPair), Query(kSibling), Delete(kSibling)));
}

TEST_F(LinkTasksTest, SetWwnTaskOfAnUnknownStorageWithoutWwnEndsTheChain)
{
    SetWwnTask(kName, kPair, 0);
    EXPECT_THAT(Logged(), ElementsAre(Message(kNotice, "RetrySetWwnTask", "retry set wwn task."),
                                      Message(kInfo, "CheckDoRetry", "name array1 not exist."),
                                      Message(kInfo, "RetrySetWwnTask", "do not need retry set wwn task.")));
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, SetWwnTaskFindsTheRecordThatMovedDuringTheQuery)
{
    platform.onLinkInfo = [](const std::string &, const std::string &, OrnLinkInfo &info) {
        MoveRecords();
        info.wwn = 7;
        return 0;
    };
    Register(kName, {kIp}, {kPair});
    SetWwnTask(kName, kPair, 0);
    EXPECT_EQ(Array().GetWwn(), 7U);
}

TEST_F(LinkTasksTest, SetWwnTaskFindsTheRecordThatMovedDuringTheDeletionOfTheLink)
{
    platform.onDeleteLink = [](const std::string &, const std::string &) {
        MoveRecords();
        return 0;
    };
    Answers({{kPair, {8, kUp}}});
    Register(kName, {kIp}, {kPair, kSibling}).SetWwn(7);
    SetWwnTask(kName, kPair, 0);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kSibling));
}

TEST_F(LinkTasksTest, SetWwnTaskSurvivesTheStorageGoingDuringTheDeletionOfTheLink)
{
    platform.onDeleteLink = [](const std::string &, const std::string &) {
        (void)ZefStorageManager::DeleteStorage(kName);
        return 0;
    };
    Answers({{kPair, {8, kUp}}});
    Register(kName, {kIp}, {kPair}).SetWwn(7);
    SetWwnTask(kName, kPair, 0);
    EXPECT_THAT(Names(), IsEmpty());
    EXPECT_THAT(EmptyRecord().GetIpParis(), IsEmpty());
    EXPECT_EQ(EmptyRecord().GetWwn(), kNoWwn);
}

TEST_F(LinkTasksTest, SetWwnTaskPassesItsCountOn)
{
    Answers({{kSibling, {7, kUp}}});
    Register(kName, {kIp}, {kPair, kSibling});
    SetWwnTask(kName, kPair, 14);
    EXPECT_EQ(Queued(), 1U);
    EXPECT_EQ(CountCalls("OrnDeleteTarnLink"), 0U);
    SetWwnTask(kName, kPair, 15);
    EXPECT_EQ(Queued(), 1U);
    EXPECT_EQ(CountCalls("OrnDeleteTarnLink"), 1U);
}

// The WWN lock

TEST_F(LinkTasksTest, SetWwnTaskHoldsTheLockFromItsLookupOn)
{
    int duringQuery = -1;
    int duringDeletion = -1;
    platform.onLinkInfo = [&duringQuery](const std::string &, const std::string &, OrnLinkInfo &info) {
        duringQuery = LockRecorder::Held();
        info.wwn = 8;
        return 0;
    };
    platform.onDeleteLink = [&duringDeletion](const std::string &, const std::string &) {
        duringDeletion = LockRecorder::Held();
        return 0;
    };
    Register(kName, {kIp}, {kPair}).SetWwn(7);
    SetWwnTask(kName, kPair, 0);
    EXPECT_EQ(duringQuery, 0);
    EXPECT_EQ(duringDeletion, 1);
    EXPECT_EQ(LockRecorder::Held(), 0);
}

TEST_F(LinkTasksTest, SetWwnTaskHoldsTheLockWhileItReportsAPairTooMany)
{
    const std::vector<IpPair> pairs = ManyPairs(33);
    Answers({{pairs[0], {7, kUp}}});
    Register(kName, {kIp}, pairs);
    SetWwnTask(kName, pairs[0], 0);
    ASSERT_THAT(platform.logs, SizeIs(1));
    EXPECT_EQ(platform.logs[0].mutexesHeld, 1);
}

// The lock is not recursive: holding it on the way into the retry would be a deadlock, which the recorder turns into an
// exception.
TEST_F(LinkTasksTest, SetWwnTaskDoesNotHoldTheLockOnItsWayToTheRetry)
{
    Register(kName, {kIp}, {kPair});
    EXPECT_NO_THROW(SetWwnTask(kName, kPair, 0));
    ASSERT_THAT(platform.logs, SizeIs(1));
    EXPECT_EQ(platform.logs[0].mutexesHeld, 1) << "the retry's own";
    EXPECT_EQ(Queued(), 1U);
}

TEST_F(LinkTasksTest, RetrySetWwnTaskHoldsTheLockAcrossTheCommitAndTakesTheQueueSecond)
{
    int duringPush = -1;
    int duringWakeUp = -1;
    platform.onPowerOnRead = [&duringPush, this] {
        duringPush = LockRecorder::Held();
        EXPECT_TRUE(LockRecorder::Holds(platform.Pool().mutex.native_handle()));
    };
    LockRecorder::onNotifyOne = [&duringWakeUp, this] {
        duringWakeUp = LockRecorder::Held();
        EXPECT_FALSE(LockRecorder::Holds(platform.Pool().mutex.native_handle()));
    };
    Register(kName, {kIp}, {kPair});
    RetrySetWwnTask(kName, kPair, 0);
    EXPECT_EQ(duringPush, 2);
    EXPECT_EQ(duringWakeUp, 1);
    EXPECT_EQ(LockRecorder::Held(), 0);
}

TEST_F(LinkTasksTest, RetrySetWwnTaskHoldsTheLockForItsWholeLength)
{
    std::vector<int> held;
    platform.onLinkInfo = [&held](const std::string &, const std::string &, OrnLinkInfo &info) {
        held.push_back(LockRecorder::Held());
        info.status = kUp;
        return 0;
    };
    platform.onDeleteLink = [&held](const std::string &, const std::string &) {
        held.push_back(LockRecorder::Held());
        return 0;
    };
    Register(kName, {kIp}, {kPair, kSibling});
    RetrySetWwnTask(kName, kPair, 15);
    RetrySetWwnTask("array2", kPair, 15);
    EXPECT_THAT(held, ElementsAre(1, 1));
    std::vector<int> heldByMessages;
    for (const LogRecord &record : platform.logs) {
        heldByMessages.push_back(record.mutexesHeld);
    }
    EXPECT_THAT(heldByMessages, ElementsAre(1, 1, 1, 1, 1));
    EXPECT_EQ(LockRecorder::Held(), 0);
}

TEST_F(LinkTasksTest, TheWwnLockIsOneForAllStorageObjects)
{
    int queries = 0;
    platform.onLinkInfo = [&queries](const std::string &, const std::string &, OrnLinkInfo &) {
        ++queries;
        EXPECT_THROW(RetrySetWwnTask("array2", kPair, 0), std::system_error) << "would wait for itself";
        return -1;
    };
    Register("array2", {kIp}, {kPair});
    Register(kName, {kIp}, {kPair, kSibling});
    RetrySetWwnTask(kName, kPair, 0);
    EXPECT_EQ(queries, 1);
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("RetrySetWwnTask:array11.1.1.110.0.0.1"));
}

TEST_F(LinkTasksTest, TheOtherStepsTakeNoLockButTheQueues)
{
    std::vector<int> held;
    const auto note = [&held] { held.push_back(LockRecorder::Held()); };
    platform.onHostIps = [note](const std::string &ip) {
        note();
        return ip == kIp ? std::set<std::string>{"1.1.1.1"} : std::set<std::string>();
    };
    platform.onCreateLink = [note](const OrnLinkRequest &) {
        note();
        return -1;
    };
    platform.onLinkInfo = [note](const std::string &, const std::string &, OrnLinkInfo &) {
        note();
        return -1;
    };
    Register(kName, {kIp, "10.0.0.2"}, {kSibling});
    ConnectTask(kName, kIp);
    ConnectTask(kName, "10.0.0.2");
    (void)GetConnectedCnt(kPair, {kSibling});
    (void)CheckDoRetry(kName, "10.0.0.3", kPair);
    EXPECT_THAT(held, ElementsAre(0, 0, 0, 0));
    for (const LogRecord &record : platform.logs) {
        EXPECT_EQ(record.mutexesHeld, 0) << record.text;
    }
    EXPECT_THAT(platform.logs, SizeIs(4));
}

TEST_F(LinkTasksTest, ALockThatCannotBeTakenIsAnException)
{
    Answers({{kPair, {7, kUp}}});
    Register(kName, {kIp}, {kPair});
    LockRecorder::lockErrno = EINVAL;
    EXPECT_THROW(SetWwnTask(kName, kPair, 0), std::system_error);
    EXPECT_EQ(Array().GetWwn(), kNoWwn);
    LockRecorder::lockErrno = EINVAL;
    EXPECT_THROW(RetrySetWwnTask(kName, kPair, 0), std::system_error);
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_EQ(Queued(), 0U);
}

// RetryConnectTask

TEST_F(LinkTasksTest, RetryConnectTaskCommitsAConnectTaskTwoSecondsLater)
{
    Register(kName, {kIp});
    RetryConnectTask(kName, kIp);
    ASSERT_THAT(Logged(), ElementsAre(Message(kNotice, "RetryConnectTask", "retry connect task.")));
    EXPECT_EQ(platform.logs[0].queuedTasks, 0U);
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("RetryConnectTask:array110.0.0.1"));
    EXPECT_THAT(platform.QueuedDueTimes(), ElementsAre(7000));
    platform.logs.clear();
    platform.Advance(2000);
    EXPECT_EQ(platform.RunDue(1), 1);
    EXPECT_THAT(platform.calls, ElementsAre("IpUtil::GetHostIpsCanConnect(10.0.0.1)"));
}

TEST_F(LinkTasksTest, RetryConnectTaskDoesNotLookAtPairs)
{
    Register(kName, {kIp}, {kElsewhere});
    RetryConnectTask(kName, kIp);
    EXPECT_EQ(Queued(), 1U);
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(LinkTasksTest, RetryConnectTaskEndsTheChainWhenTheAddressIsGone)
{
    Register(kName, {"10.0.0.9"}, {kPair});
    RetryConnectTask(kName, kIp);
    EXPECT_THAT(Logged(), ElementsAre(Message(kNotice, "RetryConnectTask", "retry connect task."),
                                      Message(kInfo, "CheckDoRetry", "ip not exist."),
                                      Message(kInfo, "RetryConnectTask", "do not need retry connect task.")));
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, RetryConnectTaskEndsTheChainWhenTheStorageIsGone)
{
    RetryConnectTask(kName, kIp);
    EXPECT_THAT(Logged(), ElementsAre(Message(kNotice, "RetryConnectTask", "retry connect task."),
                                      Message(kInfo, "CheckDoRetry", "name array1 not exist."),
                                      Message(kInfo, "RetryConnectTask", "do not need retry connect task.")));
    EXPECT_EQ(Queued(), 0U);
}

// RetryCreateLinkTask

TEST_F(LinkTasksTest, RetryCreateLinkTaskCommitsACreateLinkTaskTwoSecondsLater)
{
    Register(kName, {kIp}, {kPair});
    RetryCreateLinkTask(kName, kPair);
    ASSERT_THAT(Logged(), ElementsAre(Message(kNotice, "RetryCreateLinkTask", "retry create link task.")));
    EXPECT_EQ(platform.logs[0].queuedTasks, 0U);
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("RetryCreateLinkTask:array11.1.1.110.0.0.1"));
    EXPECT_THAT(platform.QueuedDueTimes(), ElementsAre(7000));
    EXPECT_THAT(platform.calls, IsEmpty());
    platform.Advance(2000);
    EXPECT_EQ(platform.RunDue(1), 1);
    EXPECT_EQ(CountCalls(Create(kPair)), 1U);
}

TEST_F(LinkTasksTest, RetryCreateLinkTaskEndsTheChainWhenThePairIsGone)
{
    Register(kName, {kIp}, {kSibling});
    RetryCreateLinkTask(kName, kPair);
    EXPECT_THAT(Logged(), ElementsAre(Message(kNotice, "RetryCreateLinkTask", "retry create link task."),
                                      Message(kInfo, "CheckDoRetry", "ip pair not exist."),
                                      Message(kInfo, "RetryCreateLinkTask", "do not need retry create link task.")));
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, RetryCreateLinkTaskEndsTheChainWhenTheArrayAddressIsGone)
{
    Register(kName, {"1.1.1.1"}, {kPair});
    RetryCreateLinkTask(kName, kPair);
    EXPECT_THAT(Logged(), ElementsAre(Message(kNotice, "RetryCreateLinkTask", "retry create link task."),
                                      Message(kInfo, "CheckDoRetry", "ip not exist."),
                                      Message(kInfo, "RetryCreateLinkTask", "do not need retry create link task.")));
    EXPECT_EQ(Queued(), 0U);
}

// RetrySetWwnTask

TEST_F(LinkTasksTest, RetrySetWwnTaskCommitsASetWwnTaskTwoSecondsLater)
{
    Register(kName, {kIp}, {kPair});
    RetrySetWwnTask(kName, kPair, 0);
    ASSERT_THAT(Logged(), ElementsAre(Message(kNotice, "RetrySetWwnTask", "retry set wwn task.")));
    EXPECT_EQ(platform.logs[0].queuedTasks, 0U);
    EXPECT_THAT(platform.QueuedNames(), ElementsAre("RetrySetWwnTask:array11.1.1.110.0.0.1"));
    EXPECT_THAT(platform.QueuedDueTimes(), ElementsAre(7000));
    EXPECT_THAT(platform.calls, IsEmpty());
    Answers({{kPair, {7, kUp}}});
    platform.Advance(2000);
    EXPECT_EQ(platform.RunDue(1), 1);
    EXPECT_THAT(platform.calls, ElementsAre(Query(kPair)));
    EXPECT_EQ(Array().GetWwn(), 7U);
}

TEST_F(LinkTasksTest, RetrySetWwnTaskEndsTheChainWhenThePairIsGone)
{
    Answers({{kSibling, {7, kUp}}});
    Register(kName, {kIp}, {kSibling});
    RetrySetWwnTask(kName, kPair, 15);
    EXPECT_THAT(Logged(), ElementsAre(Message(kNotice, "RetrySetWwnTask", "retry set wwn task."),
                                      Message(kInfo, "CheckDoRetry", "ip pair not exist."),
                                      Message(kInfo, "RetrySetWwnTask", "do not need retry set wwn task.")));
    EXPECT_THAT(platform.calls, IsEmpty());
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, RetrySetWwnTaskEndsTheChainWhenTheArrayAddressIsGone)
{
    Register(kName, {}, {kPair});
    RetrySetWwnTask(kName, kPair, 0);
    EXPECT_THAT(Logged(), ElementsAre(Message(kNotice, "RetrySetWwnTask", "retry set wwn task."),
                                      Message(kInfo, "CheckDoRetry", "ip not exist."),
                                      Message(kInfo, "RetrySetWwnTask", "do not need retry set wwn task.")));
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, RetrySetWwnTaskAnnouncesItselfBeforeItAsksForTheOtherLinks)
{
    Answers({{kSibling, {7, kUp}}});
    Register(kName, {kIp}, {kPair, kSibling});
    RetrySetWwnTask(kName, kPair, 14);
    EXPECT_THAT(Timeline(), ElementsAre("ZEF: zef storage controller retry set wwn task.", Query(kSibling)));
    EXPECT_EQ(Queued(), 1U);
}

TEST_F(LinkTasksTest, RetrySetWwnTaskGivesUpAtCountFifteenWhenAnotherLinkIsUp)
{
    Answers({{kSibling, {7, kUp}}});
    Register(kName, {kIp}, {kPair, kSibling, kElsewhere, kPair});
    RetrySetWwnTask(kName, kPair, 15);
    EXPECT_THAT(Logged(), ElementsAre(Message(kNotice, "RetrySetWwnTask", "retry set wwn task."),
                                      Message(kInfo, "RetrySetWwnTask", "retry set wwn over max num 15.")));
    EXPECT_THAT(Timeline(),
                ElementsAre("ZEF: zef storage controller retry set wwn task.", Query(kSibling),
                            "ZEF: zef storage controller retry set wwn over max num 15.", Delete(kPair)));
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kSibling, kElsewhere));
    EXPECT_THAT(Array().GetIpList(), ElementsAre(kIp));
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, RetrySetWwnTaskNeverGivesUpWhileNoOtherLinkIsUp)
{
    Answers({{kSibling, {7, kNotUsable}}});
    Register(kName, {kIp}, {kPair, kSibling});
    RetrySetWwnTask(kName, kPair, 15);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kPair, kSibling));
    EXPECT_THAT(platform.logs, SizeIs(1));
    ASSERT_EQ(Queued(), 1U);

    // The try that was committed has count 16: given up as soon as the other link is up.
    Answers({{kSibling, {7, kUp}}});
    platform.Advance(2000);
    EXPECT_EQ(platform.RunDue(), 1);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kSibling));
    EXPECT_EQ(Queued(), 0U);
}

TEST_F(LinkTasksTest, RetrySetWwnTaskAddsOneToTheCount)
{
    Answers({{kSibling, {7, kUp}}});
    for (const uint32_t count : {0U, 5U, 13U}) {
        ZefStorageManager::Clear();
        Register(kName, {kIp}, {kPair, kSibling});
        RetrySetWwnTask(kName, kPair, count);
        int tries = 0;
        while (Queued() > 0 && tries < 100) {
            ++tries;
            platform.Advance(2000);
            platform.RunDue(1);
        }
        EXPECT_EQ(tries, static_cast<int>(15 - count));
    }
}

TEST_F(LinkTasksTest, TheCountIsComparedWithoutSign)
{
    Answers({{kSibling, {7, kUp}}});
    for (const uint32_t count : {16U, 0x80000000U, 0xFFFFFFFFU}) {
        ZefStorageManager::Clear();
        Register(kName, {kIp}, {kPair, kSibling});
        RetrySetWwnTask(kName, kPair, count);
        EXPECT_THAT(Array().GetIpParis(), ElementsAre(kSibling)) << count;
        EXPECT_EQ(Queued(), 0U) << count;
    }
}

TEST_F(LinkTasksTest, TheCountBeginsAnewAfterItsLargestValue)
{
    Register(kName, {kIp}, {kPair, kSibling});
    RetrySetWwnTask(kName, kPair, 0xFFFFFFFF);
    ASSERT_EQ(Queued(), 1U);
    Answers({{kSibling, {7, kUp}}});
    platform.Advance(2000);
    EXPECT_EQ(platform.RunDue(), 1);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kPair, kSibling));
    EXPECT_EQ(Queued(), 1U);
}

TEST_F(LinkTasksTest, APairIsTriedSixteenTimesBeforeItIsGivenUp)
{
    Answers({{kSibling, {7, kUp}}});
    Register(kName, {kIp}, {kPair, kSibling});
    SetWwnTask(kName, kPair, 0);
    for (int i = 0; i < 100; ++i) {
        platform.Advance(2000);
        platform.RunDue();
    }
    EXPECT_EQ(CountCalls(Query(kPair)), 16U);
    EXPECT_EQ(CountCalls(Delete(kPair)), 1U);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kSibling));
}

TEST_F(LinkTasksTest, RetrySetWwnTaskCountsOnThePairsFromBeforeItsQueries)
{
    const IpPair third("1.1.1.3", kIp);
    platform.onLinkInfo = [](const std::string &, const std::string &, OrnLinkInfo &info) {
        Array().SetIpParis({kElsewhere, kElsewhere, kElsewhere});
        info.status = kUp;
        return 0;
    };
    Register(kName, {kIp}, {kPair, kSibling, third});
    RetrySetWwnTask(kName, kPair, 15);
    EXPECT_THAT(platform.calls, ElementsAre(Query(kSibling), Query(third), Delete(kPair)));
}

TEST_F(LinkTasksTest, RetrySetWwnTaskFindsTheRecordThatMovedDuringItsCalls)
{
    platform.onLinkInfo = [](const std::string &, const std::string &, OrnLinkInfo &info) {
        MoveRecords();
        info.status = kUp;
        return 0;
    };
    platform.onDeleteLink = [](const std::string &, const std::string &) {
        MoveRecords();
        return 0;
    };
    Register(kName, {kIp}, {kPair, kSibling});
    RetrySetWwnTask(kName, kPair, 15);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kSibling));
}

TEST_F(LinkTasksTest, RetrySetWwnTaskSurvivesTheStorageGoingDuringItsCalls)
{
    platform.onLinkInfo = [](const std::string &, const std::string &, OrnLinkInfo &info) {
        ZefStorageManager::Clear();
        info.status = kUp;
        return 0;
    };
    Register(kName, {kIp}, {kPair, kSibling});
    RetrySetWwnTask(kName, kPair, 15);
    EXPECT_THAT(platform.calls, ElementsAre(Query(kSibling), Delete(kPair)));
    EXPECT_THAT(EmptyRecord().GetIpParis(), IsEmpty());
}

// Retries in general

TEST_F(LinkTasksTest, ARetryToAPoolThatIsNotRunningIsDroppedWithoutAMessage)
{
    Register(kName, {kIp}, {kPair});
    platform.Pool().running = false;
    RetryConnectTask(kName, kIp);
    RetryCreateLinkTask(kName, kPair);
    RetrySetWwnTask(kName, kPair, 0);
    EXPECT_EQ(Queued(), 0U);
    EXPECT_THAT(Logged(), ElementsAre(Message(kNotice, "RetryConnectTask", "retry connect task."),
                                      Message(kNotice, "RetryCreateLinkTask", "retry create link task."),
                                      Message(kNotice, "RetrySetWwnTask", "retry set wwn task.")));
}

TEST_F(LinkTasksTest, TheNextRetryAfterADeletionEndsTheChain)
{
    platform.onCreateLink = [](const OrnLinkRequest &) { return -1; };
    Register(kName, {kIp, "10.0.0.2"}, {kPair, kSibling});
    RetryConnectTask(kName, "10.0.0.2");
    RetryCreateLinkTask(kName, kPair);
    RetrySetWwnTask(kName, kSibling, 0);
    ASSERT_EQ(Queued(), 3U);
    EXPECT_EQ(ZefStorageManager::DeleteStorage(kName), 0);
    platform.logs.clear();
    platform.Advance(2000);
    EXPECT_EQ(platform.RunDue(), 3);
    EXPECT_EQ(Queued(), 0U);
    const std::vector<std::string> logged = Logged();
    EXPECT_EQ(std::count(logged.begin(), logged.end(), Message(kInfo, "CheckDoRetry", "name array1 not exist.")), 3);
    for (const char *const kind : {"connect", "create link", "set wwn"}) {
        const std::string message = std::string("do not need retry ") + kind + " task.";
        EXPECT_TRUE(std::any_of(logged.begin(), logged.end(), [&message](const std::string &line) {
            return line.find(message) != std::string::npos;
        })) << message;
    }
}

TEST_F(LinkTasksTest, RetriesHaveTheirOwnCopiesOfTheirArguments)
{
    platform.onHostIps = [](const std::string &) { return std::set<std::string>{"1.1.1.9"}; };
    Register(kName, {kIp}, {kPair});
    {
        std::string name = kName;
        std::string ip = kIp;
        IpPair pair = kPair;
        uint32_t count = 0;
        RetryConnectTask(name, ip);
        RetryCreateLinkTask(name, pair);
        RetrySetWwnTask(name, pair, count);
        name = "another name";
        ip = "9.9.9.9";
        pair = {"8.8.8.8", "9.9.9.9"};
        count = 99;
    }
    Answers({{kPair, {7, kUp}}, {IpPair("1.1.1.9", kIp), {7, kUp}}});
    platform.Advance(2000);
    EXPECT_EQ(platform.RunDue(3), 3);
    EXPECT_EQ(CountCalls("IpUtil::GetHostIpsCanConnect(10.0.0.1)"), 1U);
    EXPECT_EQ(CountCalls(Create(kPair)), 1U);
    EXPECT_EQ(CountCalls(Query(kPair)), 2U);
    EXPECT_EQ(CountCalls("IpUtil") + CountCalls("Orn"), 6U);
}

// CheckDoRetry

TEST_F(LinkTasksTest, CheckDoRetryIsTrueWhileNameAddressAndPairAreThere)
{
    Register("array0");
    Register(kName, {"10.0.0.2", kIp}, {kElsewhere, kPair});
    EXPECT_TRUE(CheckDoRetry(kName, kIp, kPair));
    EXPECT_THAT(platform.logs, IsEmpty());
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(LinkTasksTest, CheckDoRetryReportsAnUnknownName)
{
    Register("array0", {kIp}, {kPair});
    EXPECT_FALSE(CheckDoRetry(kName, kIp, kPair));
    EXPECT_THAT(Logged(), ElementsAre(Message(kInfo, "CheckDoRetry", "name array1 not exist.")));
}

TEST_F(LinkTasksTest, CheckDoRetryTakesARecordWithoutANameForNone)
{
    Register("", {kIp}, {kPair});
    EXPECT_FALSE(CheckDoRetry("", kIp, kPair));
    EXPECT_THAT(Logged(), ElementsAre(Message(kInfo, "CheckDoRetry", "name  not exist.")));
}

TEST_F(LinkTasksTest, CheckDoRetryDoesNotTrustWhatTheEmptyRecordHolds)
{
    EmptyRecord().AddIpList({kIp});
    EmptyRecord().AddIpParis(kPair);
    EXPECT_FALSE(CheckDoRetry(kName, kIp, kPair));
}

TEST_F(LinkTasksTest, CheckDoRetryReportsAnAddressThatIsGone)
{
    Register(kName, {"10.0.0.2"}, {kPair});
    EXPECT_FALSE(CheckDoRetry(kName, kIp, kPair));
    EXPECT_THAT(Logged(), ElementsAre(Message(kInfo, "CheckDoRetry", "ip not exist.")));
}

TEST_F(LinkTasksTest, CheckDoRetryLooksForTheGivenAddressNotThePairs)
{
    Register(kName, {"10.0.0.2"}, {kPair});
    EXPECT_TRUE(CheckDoRetry(kName, "10.0.0.2", kPair));
    EXPECT_FALSE(CheckDoRetry(kName, "", kPair));
}

TEST_F(LinkTasksTest, CheckDoRetryReportsAPairThatIsGone)
{
    ZefStorage &storage = Register(kName, {kIp}, {IpPair("1.1.1.1", "10.0.0.2"), IpPair("1.1.1.2", kIp)});
    storage.AddUnConnIpParis(kPair);
    EXPECT_FALSE(CheckDoRetry(kName, kIp, kPair));
    EXPECT_THAT(Logged(), ElementsAre(Message(kInfo, "CheckDoRetry", "ip pair not exist.")));
}

TEST_F(LinkTasksTest, CheckDoRetryLooksForNoPairWithoutALocalAddress)
{
    Register(kName, {kIp});
    EXPECT_TRUE(CheckDoRetry(kName, kIp, IpPair("", "")));
    EXPECT_TRUE(CheckDoRetry(kName, kIp, IpPair("", "10.0.0.9")));
    EXPECT_FALSE(CheckDoRetry(kName, kIp, IpPair("1.1.1.1", "")));
}

// GetConnectedCnt

TEST_F(LinkTasksTest, GetConnectedCntOfAnEmptyListIsZero)
{
    EXPECT_EQ(GetConnectedCnt(kPair, {}), 0);
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(LinkTasksTest, GetConnectedCntAsksForTheOtherPairsTowardsTheSameAddressOnly)
{
    const IpPair third("1.1.1.3", kIp);
    const IpPair unrelated("1.1.1.2", "10.0.0.2");
    platform.onLinkInfo = [](const std::string &, const std::string &, OrnLinkInfo &info) {
        info.status = kUp;
        return 0;
    };
    EXPECT_EQ(GetConnectedCnt(kPair, {third, kPair, kElsewhere, kSibling, unrelated, kPair}), 2);
    EXPECT_THAT(platform.calls, ElementsAre(Query(third), Query(kSibling)));
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_F(LinkTasksTest, GetConnectedCntCountsEqualEntriesEachTime)
{
    Answers({{kSibling, {kNoWwn, kUp}}});
    EXPECT_EQ(GetConnectedCnt(kPair, {kSibling, kSibling, kSibling}), 3);
}

TEST_F(LinkTasksTest, GetConnectedCntNeedsAnAnswerAndALinkThatIsUp)
{
    for (const int64_t status : {kNotUsable, kEmpty, int64_t{2}, int64_t{0x100000000}}) {
        Answers({{kSibling, {7, status}}});
        EXPECT_EQ(GetConnectedCnt(kPair, {kSibling}), 0) << status;
    }
    for (const int result : {-1, 1, INT_MIN}) {
        Answers({{kSibling, {7, kUp, result}}});
        EXPECT_EQ(GetConnectedCnt(kPair, {kSibling}), 0) << result;
    }
    Answers({{kSibling, {7, kUp, 0}}});
    EXPECT_EQ(GetConnectedCnt(kPair, {kSibling}), 1);
}

TEST_F(LinkTasksTest, GetConnectedCntDoesNotTakeAnEarlierAnswerForALaterOne)
{
    const IpPair third("1.1.1.3", kIp);
    std::vector<int64_t> presets;
    platform.onLinkInfo = [&presets](const std::string &local, const std::string &, OrnLinkInfo &info) {
        presets.push_back(info.status);
        if (local == kSibling.first) {
            info.status = kUp;
        }
        return 0;
    };
    EXPECT_EQ(GetConnectedCnt(kPair, {kSibling, third}), 1);
    EXPECT_THAT(presets, ElementsAre(kEmpty, kEmpty));
}

TEST_F(LinkTasksTest, GetConnectedCntAsksEveryTimeForAPresetRecord)
{
    std::vector<uint64_t> wwns;
    platform.onLinkInfo = [&wwns](const std::string &, const std::string &, OrnLinkInfo &info) {
        wwns.push_back(info.wwn);
        info.wwn = 5;
        return 0;
    };
    (void)GetConnectedCnt(kPair, {kSibling, kSibling});
    EXPECT_THAT(wwns, Each(kNoWwn));
    EXPECT_THAT(wwns, SizeIs(2));
}

// The whole chain

TEST_F(LinkTasksTest, TheChainRecoversFromEveryFailureInTurn)
{
    int attempt = 0;
    platform.onHostIps = [&attempt](const std::string &) {
        return attempt++ < 2 ? std::set<std::string>() : std::set<std::string>{"1.1.1.1"};
    };
    platform.onCreateLink = [&attempt](const OrnLinkRequest &) { return attempt++ < 5 ? -1 : 0; };
    platform.onLinkInfo = [&attempt](const std::string &, const std::string &, OrnLinkInfo &info) {
        info.wwn = 7;
        info.status = attempt++ < 8 ? kNotUsable : kUp;
        return 0;
    };
    Register(kName, {kIp});
    EXPECT_EQ(ZefStorageController::ConnectStorageIps(Array()), 0);
    int tasks = 0;
    for (int i = 0; i < 50; ++i) {
        tasks += platform.RunDue();
        platform.Advance(1000);
    }
    EXPECT_EQ(tasks, 7);
    EXPECT_EQ(Array().GetWwn(), 7U);
    EXPECT_THAT(Array().GetIpParis(), ElementsAre(kPair));
    EXPECT_EQ(Queued(), 0U);
}

}  // namespace
