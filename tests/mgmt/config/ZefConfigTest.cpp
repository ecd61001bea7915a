#include "support/HeldUuid.h"
#include "support/LibraryTest.h"
#include "support/OptFolder.h"

#include <zef_config/DeduplicationConfig.h>
#include <zef_config/UuidConfig.h>
#include <zef_config/ZefConfig.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include <cerrno>
#include <climits>
#include <cstdint>

#include <regex.h>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kUuid = "0123abcd-ABCD-0a1B-9f9F-00112233aabb";
const std::string kSetGateway = "OrnSetClientUuid(" + kUuid + ")";
const std::string kSetClientInfo = "ZefClientInfoSetUuid(" + kUuid + ")";
const std::string kSetHib = "HibSetClientUuid(" + kUuid + ")";
const std::string kInitKeys = "WoxUtil::Init(2,/opt/quenlar/vextramo/conf/WOX/wox_pri.dat,"
                              "/opt/quenlar/vextramo/conf/WOX/wox_std.dat)";

const std::string kUuidElement = "<Uuid type='string'>" + kUuid + "</Uuid>";
const std::string kStorageElement = "<StorageObject><Name>array</Name><User>admin</User><LinkType>0</LinkType>"
                                    "<Password>sealed:secret</Password><Ips>10.0.0.1</Ips></StorageObject>";

std::string Switches(const std::string &deduplication, const std::string &compression)
{
    return "<Deduplication type='string'>" + deduplication + "</Deduplication><Compression type='string'>" +
           compression + "</Compression>";
}

std::string Document(const std::string &children)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Config>" + children + "</Config>\n";
}

// A message of the lifecycle functions, with the calls that went before it.
struct Message {
    int level;
    std::string function;
    std::string format;
    std::string text;
    size_t callsBefore;
};

Message Info(const std::string &function, const std::string &text, size_t callsBefore)
{
    return {5, function, "%s: " + text, "ZEF: " + text, callsBefore};
}

Message Error(const std::string &function, const std::string &text, size_t callsBefore)
{
    return {3, function, "%s: " + text, "ZEF: " + text, callsBefore};
}

// With one number in place of the format's "%d".
Message Error(const std::string &function, const std::string &format, int number, size_t callsBefore)
{
    std::string text = format;
    text.replace(text.find("%d"), 2, std::to_string(number));
    return {3, function, "%s: " + format, "ZEF: " + text, callsBefore};
}

const Message kInitBegin = Info("ZefConfigInit", "zef config init begin.", 0);
const Message kStartBegin = Info("ZefConfigStart", "zef config start begin.", 0);

// Every case begins with a whole configuration file, no UUID held and both switches off.
class ZefConfigTest : public LibraryTest {
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(OptFolder::RequirePrivate());
        OptFolder::WriteConfig(Document(kUuidElement + Switches("ON", "OFF") + kStorageElement));
        HoldUuid("");
        HoldSwitches(0, 0);
        platform.onGetItem = [](int item) { return item * 10; };
        platform.calls.clear();
        platform.logs.clear();
    }

    void TearDown() override
    {
        if (OptFolder::IsPrivate()) {
            OptFolder::Clear();
        }
    }

    static void HoldSwitches(int deduplication, int compression)
    {
        EXPECT_EQ(DeduplicationConfig::GetInstance().SetDeduplicationStatus(deduplication), 0);
        EXPECT_EQ(DeduplicationConfig::GetInstance().SetCompression(compression), 0);
    }

    // Expects exactly these messages of the lifecycle functions, in this order.
    void ExpectMessages(const std::vector<Message> &messages)
    {
        std::vector<LogRecord> records = platform.logs;
        records.erase(std::remove_if(records.begin(), records.end(),
                                     [](const LogRecord &record) { return record.file != "ZefConfig"; }),
                      records.end());
        ASSERT_EQ(records.size(), messages.size()) << ::testing::PrintToString(platform.OrdinaryTexts());
        for (size_t i = 0; i < messages.size(); ++i) {
            EXPECT_EQ(records[i].module, 873) << i;
            EXPECT_EQ(records[i].level, messages[i].level) << i;
            EXPECT_GT(records[i].line, 0) << i;
            EXPECT_EQ(records[i].function, messages[i].function) << i;
            EXPECT_EQ(records[i].reserved, 0) << i;
            EXPECT_EQ(records[i].format, messages[i].format) << i;
            EXPECT_EQ(records[i].text, messages[i].text) << i;
            EXPECT_EQ(records[i].callsBefore, messages[i].callsBefore) << i;
        }
    }

    // The calls of a start with the whole file, the given switches, and key updates up to the given number of calls.
    static std::vector<std::string> StartCalls(size_t keyUpdateCalls)
    {
        std::vector<std::string> calls = {
            "WoxUtil::WoxDecryptData(2,sealed:secret)", "IpUtil::IsIpV4Valid(10.0.0.1)",
            "ShmBaseCfgSetCfgVal(69,1)",                "ShmBaseCfgSetCfgVal(70,0)",
            "ShmBaseCfgGetCfgVal(67)",                  "ShmBaseCfgGetCfgVal(65)",
            "ShmBaseCfgGetCfgVal(66)",                  "WoxUtil::WoxPeriodUpdateRootKey(650,670)",
            "WoxUtil::WoxPeriodUpdateMasterKey(2,660,670)",
        };
        calls.resize(4 + keyUpdateCalls);
        return calls;
    }

    // Runs the work once for each of its allocations, which fails, until it succeeds; returns how often it failed. Each
    // failure must reach this caller, with no file left open.
    static int FailEachAllocation(const std::function<int32_t()> &work, const std::function<void()> &prepare)
    {
        constexpr int kMaxAllocations = 5000;
        for (int failures = 0; failures < kMaxAllocations; ++failures) {
            prepare();
            const size_t descriptors = OpenDescriptors();
            FakeSystem::newsUntilFailure = failures;
            try {
                EXPECT_EQ(work(), 0);
                FakeSystem::newsUntilFailure = -1;
                return failures;
            } catch (const std::bad_alloc &) {
                EXPECT_EQ(OpenDescriptors(), descriptors) << failures;
            }
        }
        return -1;
    }
};

// Process-wide objects

TEST_F(ZefConfigTest, ThePoolIsMadeWithOneWorker)
{
    EXPECT_EQ(platform.poolWorkers, 1);
}

TEST_F(ZefConfigTest, PoolEmptyRecordAndListAreBuiltInThisOrder)
{
    const std::vector<void *> objects = FakeSystem::StaticObjects();
    const auto pool = std::find(objects.begin(), objects.end(), static_cast<void *>(&platform.Pool()));
    ASSERT_NE(pool, objects.end());
    const auto emptyRecord = std::find(pool, objects.end(), static_cast<void *>(&ZefStorageManager::GetByName("")));
    ASSERT_NE(emptyRecord, objects.end());
    EXPECT_NE(std::find(emptyRecord, objects.end(), static_cast<void *>(&ZefStorageManager::GetStorageAll())),
              objects.end());
}

// Init

TEST_F(ZefConfigTest, InitHandsTheUuidToGatewayClientInformationAndHib)
{
    EXPECT_EQ(ZefConfigInit(), 0);
    EXPECT_EQ(UuidConfig::GetInstance().GetUuid(), kUuid);
    EXPECT_THAT(platform.calls, ElementsAre(kSetGateway, kInitKeys, kSetClientInfo, kSetHib));
    ExpectMessages({kInitBegin, Info("ZefConfigInit", "zef config init success.", 4)});
    EXPECT_EQ(platform.logs.size(), 2U);
}

TEST_F(ZefConfigTest, InitReportsWhyTheFileCannotBeOpened)
{
    OptFolder::Clear();
    EXPECT_EQ(ZefConfigInit(), -1);
    EXPECT_THAT(platform.calls, IsEmpty());
    ExpectMessages({kInitBegin, Error("ZefConfigInit", "zef config read config error. %d", ENOENT, 0)});
}

TEST_F(ZefConfigTest, InitReportsTheCodeOfTheRead)
{
    OptFolder::Clear();
    std::filesystem::create_directories("/opt/quenlar/vextramo");
    WriteFile(OptFolder::kConfFolder, "a file where a folder should be");
    EXPECT_EQ(ZefConfigInit(), -1);
    ExpectMessages({kInitBegin, Error("ZefConfigInit", "zef config read config error. %d", ENOTDIR, 0)});
}

TEST_F(ZefConfigTest, InitFailsAtTheUuidOfAFileWithoutOne)
{
    for (const std::string &content :
         {std::string(), std::string("no document"), Document(""), Document(Switches("ON", "ON")),
          Document("<SystemUuid>" + kUuid + "</SystemUuid>"), std::string("<?xml version=\"1.0\"?><Other/>"),
          "<?xml version=\"1.0\"?><Other>" + kUuidElement + "</Other>",
          "<?xml version=\"1.0\"?><config>" + kUuidElement + "</config>"}) {
        platform.logs.clear();
        OptFolder::WriteConfig(content);
        EXPECT_EQ(ZefConfigInit(), -1) << content;
        EXPECT_THAT(platform.calls, IsEmpty()) << content;
        ExpectMessages({kInitBegin, Error("ZefConfigInit", "zef config uuid init error.", 0)});
        EXPECT_EQ(platform.logs.size(), 2U);
    }
}

TEST_F(ZefConfigTest, InitFallsBackToTheSystemUuid)
{
    OptFolder::WriteConfig(Document("<Uuid>none</Uuid><SystemUuid>" + kUuid + "</SystemUuid>"));
    EXPECT_EQ(ZefConfigInit(), 0);
    EXPECT_THAT(platform.calls, ElementsAre(kSetGateway, kInitKeys, kSetClientInfo, kSetHib));
}

TEST_F(ZefConfigTest, InitHidesTheCodeOfTheGateway)
{
    platform.setGatewayUuidResult = 17;
    EXPECT_EQ(ZefConfigInit(), -1);
    EXPECT_THAT(platform.calls, ElementsAre(kSetGateway));
    ExpectMessages({kInitBegin, Error("ZefConfigInit", "zef config uuid init error.", 1)});
    EXPECT_EQ(UuidConfig::GetInstance().GetUuid(), kUuid);
}

TEST_F(ZefConfigTest, InitThatKeyManagementRefusesFinishesNoKeys)
{
    for (const int code : {-1, 5}) {
        platform.calls.clear();
        platform.logs.clear();
        platform.keyInitResult = code;
        EXPECT_EQ(ZefConfigInit(), -1);
        EXPECT_THAT(platform.calls, ElementsAre(kSetGateway, kInitKeys));
        ExpectMessages({kInitBegin, Error("ZefConfigInit", "zef config init wox error!", 2)});
    }
}

TEST_F(ZefConfigTest, InitThatClientInformationRefusesFinishesTheKeys)
{
    platform.clientInfoResult = 3;
    EXPECT_EQ(ZefConfigInit(), -1);
    EXPECT_THAT(platform.calls, ElementsAre(kSetGateway, kInitKeys, kSetClientInfo, "WoxUtil::Finish()"));
    ExpectMessages({kInitBegin, Error("ZefConfigSetUuid", "zef config set uuid error.", 3),
                    Error("ZefConfigInit", "zef config set uuid error!", 3)});
    EXPECT_EQ(UuidConfig::GetInstance().GetUuid(), kUuid);
}

TEST_F(ZefConfigTest, InitThatHibRefusesFinishesTheKeys)
{
    platform.hibResult = -3;
    EXPECT_EQ(ZefConfigInit(), -1);
    EXPECT_THAT(platform.calls, ElementsAre(kSetGateway, kInitKeys, kSetClientInfo, kSetHib, "WoxUtil::Finish()"));
    ExpectMessages({kInitBegin, Error("ZefConfigSetUuid", "zef config set uuid in Hib error.", 4),
                    Error("ZefConfigInit", "zef config set uuid error!", 4)});
}

TEST_F(ZefConfigTest, InitReadsTheFileEachTimeAndKeepsNothingOpen)
{
    const size_t descriptors = OpenDescriptors();
    EXPECT_EQ(ZefConfigInit(), 0);
    const std::string other = "ffffffff-eeee-dddd-cccc-bbbbbbbbbbbb";
    OptFolder::WriteConfig(Document("<Uuid>" + other + "</Uuid>"));
    EXPECT_EQ(ZefConfigInit(), 0);
    EXPECT_EQ(UuidConfig::GetInstance().GetUuid(), other);
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(ZefConfigTest, InitLeavesStorageAndSwitchesAlone)
{
    EXPECT_EQ(ZefConfigInit(), 0);
    EXPECT_TRUE(ZefStorageManager::GetStorageAll().empty());
    EXPECT_EQ(DeduplicationConfig::GetInstance().GetDeduplication(), 0);
    EXPECT_THAT(platform.QueuedNames(), IsEmpty());
}

TEST_F(ZefConfigTest, ALackOfMemoryInInitReachesTheCaller)
{
    EXPECT_GT(FailEachAllocation([] { return ZefConfigInit(); }, [] {}), 0);
}

// The other one would be that of another client.
TEST_F(ZefConfigTest, ALackOfMemoryDoesNotMakeTheUuidMalformed)
{
    system.regcompResult = REG_ESPACE;
    EXPECT_THROW((void)ZefConfigInit(), std::bad_alloc);
    EXPECT_THAT(platform.calls, IsEmpty());
}

// Start

TEST_F(ZefConfigTest, StartLoadsStorageSwitchesAndKeyUpdatesInThisOrder)
{
    EXPECT_EQ(ZefConfigStart(), 0);
    EXPECT_EQ(platform.calls, StartCalls(5));
    ExpectMessages({kStartBegin, Info("ZefConfigStart", "zef config start success.", 9)});
    EXPECT_TRUE(ZefStorageManager::StorageExist("array"));
    EXPECT_EQ(platform.QueuedNames().size(), 1U);
    EXPECT_EQ(DeduplicationConfig::GetInstance().GetDeduplication(), 1);
}

TEST_F(ZefConfigTest, StartWithoutStorageObjectsSucceeds)
{
    OptFolder::WriteConfig(Document(Switches("OFF", "OFF")));
    EXPECT_EQ(ZefConfigStart(), 0);
    EXPECT_TRUE(ZefStorageManager::GetStorageAll().empty());
    EXPECT_THAT(platform.QueuedNames(), IsEmpty());
}

TEST_F(ZefConfigTest, StartDoesNotTouchTheUuid)
{
    EXPECT_EQ(ZefConfigStart(), 0);
    EXPECT_EQ(UuidConfig::GetInstance().GetUuid(), "");
}

TEST_F(ZefConfigTest, StartThatCannotOpenTheFileReachesNothingElse)
{
    ZefStorageManager::GetStorageAll().resize(1);
    OptFolder::Clear();
    EXPECT_EQ(ZefConfigStart(), -1);
    EXPECT_THAT(platform.calls, IsEmpty());
    ExpectMessages({kStartBegin, Error("ZefConfigStart", "zef config read config error. %d", ENOENT, 0)});
    EXPECT_EQ(platform.logs.size(), 2U);
    EXPECT_EQ(ZefStorageManager::GetStorageAll().size(), 1U);
}

TEST_F(ZefConfigTest, StartReportsTheCodeOfTheRead)
{
    OptFolder::Clear();
    std::filesystem::create_directories(OptFolder::kConfFolder);
    std::filesystem::create_symlink("zef_config.xml", OptFolder::kConfigFile);
    EXPECT_EQ(ZefConfigStart(), -1);
    ExpectMessages({kStartBegin, Error("ZefConfigStart", "zef config read config error. %d", ELOOP, 0)});
}

TEST_F(ZefConfigTest, StartWithAFileThatDoesNotParseFailsAtTheSwitches)
{
    OptFolder::WriteConfig("no document");
    EXPECT_EQ(ZefConfigStart(), -1);
    EXPECT_THAT(platform.calls, IsEmpty());
    EXPECT_THAT(platform.ProtocolTexts(), ElementsAre("PROTOCOL: zef config err not found Compression ."));
    ExpectMessages({kStartBegin,
                    {3, "ZefConfigStart", "%s: zef config Deduplication[%d] Compression[%d] init error.",
                     "ZEF: zef config Deduplication[0] Compression[0] init error.", 0}});
}

TEST_F(ZefConfigTest, StartThatRefusesTheStorageEmptiesRegistryAndPool)
{
    ZefStorageManager::GetStorageAll().resize(1);
    OptFolder::WriteConfig(Document(Switches("ON", "ON") + kStorageElement + kStorageElement));
    EXPECT_EQ(ZefConfigStart(), -1);
    EXPECT_THAT(platform.calls, ElementsAre("ThreadPool::Clear()"));
    ExpectMessages({kStartBegin, Error("ZefConfigStart", "zef config storage start error.", 0)});
    EXPECT_EQ(platform.logs.back().text, "ZEF: zef config storage start error.");
    EXPECT_TRUE(ZefStorageManager::GetStorageAll().empty());
    EXPECT_EQ(DeduplicationConfig::GetInstance().GetDeduplication(), 0);
}

TEST_F(ZefConfigTest, StartWithAPasswordThatDoesNotDecryptStartsNothing)
{
    platform.onDecrypt = [](uint32_t, const std::string &) { return std::string(); };
    EXPECT_EQ(ZefConfigStart(), -1);
    EXPECT_THAT(platform.calls, ElementsAre("WoxUtil::WoxDecryptData(2,sealed:secret)", "ThreadPool::Clear()"));
    EXPECT_THAT(platform.QueuedNames(), IsEmpty());
}

TEST_F(ZefConfigTest, StartThatRefusesTheSwitchesKeepsStorageAndTasks)
{
    OptFolder::WriteConfig(Document(Switches("OFF", "ON") + kStorageElement));
    EXPECT_EQ(ZefConfigStart(), -1);
    EXPECT_THAT(platform.calls,
                ElementsAre("WoxUtil::WoxDecryptData(2,sealed:secret)", "IpUtil::IsIpV4Valid(10.0.0.1)"));
    ExpectMessages({kStartBegin,
                    {3, "ZefConfigStart", "%s: zef config Deduplication[%d] Compression[%d] init error.",
                     "ZEF: zef config Deduplication[0] Compression[1] init error.", 2}});
    EXPECT_TRUE(ZefStorageManager::StorageExist("array"));
    EXPECT_EQ(platform.QueuedNames().size(), 1U);
    EXPECT_TRUE(platform.Pool().running);
}

TEST_F(ZefConfigTest, StartShowsTheSwitchesThatCouldNotBePublished)
{
    platform.onSetItem = [](int item, int64_t) { return item == 70 ? 44 : 0; };
    EXPECT_EQ(ZefConfigStart(), -1);
    EXPECT_EQ(platform.calls, StartCalls(0));
    ExpectMessages({kStartBegin,
                    {3, "ZefConfigStart", "%s: zef config Deduplication[%d] Compression[%d] init error.",
                     "ZEF: zef config Deduplication[1] Compression[0] init error.", 4}});
}

TEST_F(ZefConfigTest, StartThatCannotUpdateTheRootKeyLeavesTheRest)
{
    platform.rootKeyUpdateResult = 17;
    EXPECT_EQ(ZefConfigStart(), -1);
    EXPECT_EQ(platform.calls, StartCalls(4));
    ExpectMessages({kStartBegin,
                    Error("ZefWoxUpdateTask", "zef config start wox root key update task error! ret:%d", 17, 8),
                    Error("ZefConfigStart", "zef config wox update task start err, ret:%d", -1, 8)});
    EXPECT_TRUE(ZefStorageManager::StorageExist("array"));
    EXPECT_EQ(platform.QueuedNames().size(), 1U);
}

TEST_F(ZefConfigTest, StartThatCannotUpdateTheMasterKeyLeavesTheRest)
{
    platform.masterKeyUpdateResult = -18;
    EXPECT_EQ(ZefConfigStart(), -1);
    EXPECT_EQ(platform.calls, StartCalls(5));
    ExpectMessages({kStartBegin,
                    Error("ZefWoxUpdateTask", "zef config start wox master key update task error! ret:%d", -18, 9),
                    Error("ZefConfigStart", "zef config wox update task start err, ret:%d", -1, 9)});
    EXPECT_TRUE(ZefStorageManager::StorageExist("array"));
    EXPECT_EQ(platform.QueuedNames().size(), 1U);
}

TEST_F(ZefConfigTest, ASecondStartIsNotHeldBackAndFindsTheNameTaken)
{
    EXPECT_EQ(ZefConfigStart(), 0);
    EXPECT_EQ(ZefConfigStart(), -1);
    EXPECT_TRUE(ZefStorageManager::GetStorageAll().empty());
}

TEST_F(ZefConfigTest, StartKeepsNoFileOpen)
{
    const size_t descriptors = OpenDescriptors();
    EXPECT_EQ(ZefConfigStart(), 0);
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST_F(ZefConfigTest, ALackOfMemoryInStartReachesTheCaller)
{
    EXPECT_GT(FailEachAllocation([] { return ZefConfigStart(); },
                                 [this] {
                                     ZefStorageManager::Clear();
                                     platform.Pool().tasks.clear();
                                 }),
              0);
}

// Finish

TEST_F(ZefConfigTest, FinishClearsThePoolAndFinishesTheKeysWithoutAWord)
{
    EXPECT_EQ(ZefConfigInit(), 0);
    EXPECT_EQ(ZefConfigStart(), 0);
    platform.calls.clear();
    platform.logs.clear();
    ZefConfigFinish();
    EXPECT_THAT(platform.calls, ElementsAre("ThreadPool::Clear()", "WoxUtil::Finish()"));
    EXPECT_TRUE(platform.logs.empty());
    EXPECT_TRUE(ZefStorageManager::GetStorageAll().empty());
    EXPECT_THAT(platform.QueuedNames(), IsEmpty());
}

TEST_F(ZefConfigTest, FinishEmptiesTheRegistryBeforeItClearsThePool)
{
    ZefStorageManager::GetStorageAll().resize(2);
    size_t registered = 99;
    platform.onPoolClear = [&registered] { registered = ZefStorageManager::GetStorageAll().size(); };
    ZefConfigFinish();
    EXPECT_EQ(registered, 0U);
}

TEST_F(ZefConfigTest, FinishKeepsUuidSwitchesAndFile)
{
    EXPECT_EQ(ZefConfigInit(), 0);
    EXPECT_EQ(ZefConfigStart(), 0);
    const std::string content = ReadFile(OptFolder::kConfigFile);
    ZefConfigFinish();
    EXPECT_EQ(UuidConfig::GetInstance().GetUuid(), kUuid);
    EXPECT_EQ(DeduplicationConfig::GetInstance().GetDeduplication(), 1);
    EXPECT_EQ(ReadFile(OptFolder::kConfigFile), content);
}

TEST_F(ZefConfigTest, FinishIsHarmlessBeforeInitAndWhenRepeated)
{
    ZefConfigFinish();
    ZefConfigFinish();
    EXPECT_THAT(platform.calls, ElementsAre("ThreadPool::Clear()", "WoxUtil::Finish()", "ThreadPool::Clear()",
                                            "WoxUtil::Finish()"));
    EXPECT_TRUE(platform.logs.empty());
}

// Key updates

TEST_F(ZefConfigTest, KeyUpdatesTakeTheLow32BitsOfTheirItems)
{
    platform.onGetItem = [](int item) {
        return item == 67 ? int64_t{-1} : (int64_t{1} << 32) * item + (item == 65 ? 0x80000001 : 7);
    };
    EXPECT_EQ(ZefWoxUpdateTask(), 0);
    EXPECT_THAT(platform.calls,
                ElementsAre("ShmBaseCfgGetCfgVal(67)", "ShmBaseCfgGetCfgVal(65)", "ShmBaseCfgGetCfgVal(66)",
                            "WoxUtil::WoxPeriodUpdateRootKey(2147483649,4294967295)",
                            "WoxUtil::WoxPeriodUpdateMasterKey(2,7,4294967295)"));
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(ZefConfigTest, ARootKeyThatCannotBeUpdatedEndsTheKeyUpdates)
{
    platform.rootKeyUpdateResult = 9;
    EXPECT_EQ(ZefWoxUpdateTask(), -1);
    EXPECT_EQ(platform.calls.size(), 4U);
    ExpectMessages({Error("ZefWoxUpdateTask", "zef config start wox root key update task error! ret:%d", 9, 4)});
}

TEST_F(ZefConfigTest, AMasterKeyThatCannotBeUpdatedFailsTheKeyUpdates)
{
    platform.masterKeyUpdateResult = 9;
    EXPECT_EQ(ZefWoxUpdateTask(), -1);
    EXPECT_EQ(platform.calls.size(), 5U);
    ExpectMessages({Error("ZefWoxUpdateTask", "zef config start wox master key update task error! ret:%d", 9, 5)});
}

// Handing the UUID out

TEST_F(ZefConfigTest, SetUuidTellsClientInformationAndThenHib)
{
    HoldUuid(kUuid);
    platform.calls.clear();
    EXPECT_EQ(ZefConfigSetUuid(), 0);
    EXPECT_THAT(platform.calls, ElementsAre(kSetClientInfo, kSetHib));
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(ZefConfigTest, SetUuidWithoutAUuidTellsNobody)
{
    EXPECT_EQ(ZefConfigSetUuid(), -1);
    EXPECT_THAT(platform.calls, IsEmpty());
    ExpectMessages({Error("ZefConfigSetUuid", "zef config get uuid error.", 0)});
}

TEST_F(ZefConfigTest, SetUuidTakesATextOf39CharactersAndNoMore)
{
    HoldUuid(std::string(39, 'x'));
    EXPECT_EQ(ZefConfigSetUuid(), 0);
    EXPECT_THAT(platform.calls, ElementsAre("ZefClientInfoSetUuid(" + std::string(39, 'x') + ")",
                                            "HibSetClientUuid(" + std::string(39, 'x') + ")"));
    platform.calls.clear();
    HoldUuid(std::string(40, 'x'));
    EXPECT_EQ(ZefConfigSetUuid(), -1);
    EXPECT_THAT(platform.calls, IsEmpty());
    ExpectMessages({Error("ZefConfigSetUuid", "zef config get uuid error.", 0)});
}

TEST_F(ZefConfigTest, SetUuidZeroesItsWholeBufferFirst)
{
    HoldUuid(kUuid);
    platform.wiped.clear();
    EXPECT_EQ(ZefConfigSetUuid(), 0);
    ASSERT_EQ(platform.wiped.size(), 1U);
    EXPECT_EQ(platform.wiped[0].size(), 40U);
}

TEST_F(ZefConfigTest, SetUuidThatClientInformationRefusesDoesNotTellHib)
{
    HoldUuid(kUuid);
    platform.calls.clear();
    platform.clientInfoResult = -9;
    EXPECT_EQ(ZefConfigSetUuid(), -1);
    EXPECT_THAT(platform.calls, ElementsAre(kSetClientInfo));
    ExpectMessages({Error("ZefConfigSetUuid", "zef config set uuid error.", 1)});
}

TEST_F(ZefConfigTest, SetUuidThatHibRefusesFails)
{
    HoldUuid(kUuid);
    platform.calls.clear();
    platform.hibResult = 9;
    EXPECT_EQ(ZefConfigSetUuid(), -1);
    EXPECT_THAT(platform.calls, ElementsAre(kSetClientInfo, kSetHib));
    ExpectMessages({Error("ZefConfigSetUuid", "zef config set uuid in Hib error.", 2)});
}

// Trace points

TEST_F(ZefConfigTest, TracePointsAreEmpty)
{
    EXPECT_EQ(ZefConfigInitTracePoint(), 0);
    ZefConfigExitTracePoint();
    EXPECT_THAT(platform.calls, IsEmpty());
    EXPECT_TRUE(platform.logs.empty());
}

// What the trace points' control path makes of a text.
int32_t TracePointValue(const char *text)
{
    int32_t value = 77;
    ZefCtrlTpSetInt32Value(text, &value);
    return value;
}

TEST_F(ZefConfigTest, ATracePointsValueIsAnUnsignedDecimalNumber)
{
    EXPECT_EQ(TracePointValue("42"), 42);
    EXPECT_EQ(TracePointValue("0"), 0);
    EXPECT_EQ(TracePointValue(" 12 34"), 12);
    EXPECT_EQ(TracePointValue("010"), 10);
    EXPECT_EQ(TracePointValue("0x10"), 0);
    EXPECT_EQ(TracePointValue("abc"), 0);
    EXPECT_EQ(TracePointValue(""), 0);
}

TEST_F(ZefConfigTest, ATracePointsValueIsCutTo32Bits)
{
    EXPECT_EQ(TracePointValue("2147483647"), INT_MAX);
    EXPECT_EQ(TracePointValue("2147483648"), INT_MIN);
    EXPECT_EQ(TracePointValue("4294967295"), -1);
    EXPECT_EQ(TracePointValue("4294967296"), 0);
    EXPECT_EQ(TracePointValue("4294967338"), 42);
    // Read as unsigned, so what exceeds even 64 bits has all of them set.
    EXPECT_EQ(TracePointValue("18446744073709551615"), -1);
    EXPECT_EQ(TracePointValue("9223372036854775850"), 42);
    EXPECT_EQ(TracePointValue("99999999999999999999999"), -1);
}

TEST_F(ZefConfigTest, WithoutAPlaceForATracePointsValueNothingHappens)
{
    ZefCtrlTpSetInt32Value("42", nullptr);
    ZefCtrlTpSetInt32Value(nullptr, nullptr);
    EXPECT_THAT(platform.calls, IsEmpty());
}

}  // namespace
