#include "support/HeldUuid.h"
#include "support/LibraryTest.h"

#include <zef_config/ZefConfig.h>

#include <string>
#include <vector>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include <malloc.h>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kRecords = 128;
const std::string kAllLinks = "OrnGetAllLinkInfoByEngine(128,0,1)";
const std::string kShardCards = "ProcessShardCardLinkInfo(128)";
const std::string kUuid = "0123abcd-ABCD-0a1B-9f9F-00112233aabb";

// What a query wrote, and its result.
struct Answer {
    int32_t result;
    std::string text;
    bool touched;
};

bool operator==(const Answer &a, const Answer &b)
{
    return a.result == b.result && a.text == b.text && a.touched == b.touched;
}

std::ostream &operator<<(std::ostream &stream, const Answer &answer)
{
    return stream << answer.result << " \"" << answer.text << "\"" << (answer.touched ? "" : " untouched");
}

// Asks with a buffer of this size, filled with a mark before and guarded behind.
Answer Ask(int32_t (*query)(char *, uint32_t), uint32_t size)
{
    constexpr char kMark = '#';
    std::vector<char> buffer(size + 8U, kMark);
    const int32_t result = query(buffer.data(), size);
    EXPECT_EQ(std::string(buffer.data() + size, 8), std::string(8, kMark)) << "written behind the buffer";
    const bool touched = std::string(buffer.data(), size) != std::string(size, kMark);
    buffer.back() = '\0';
    return {result, touched ? buffer.data() : "", touched};
}

const Answer kRefused = {-1, "", false};

Answer Text(const std::string &text)
{
    return {0, text, true};
}

void FillRecord(OrnLinkInfo &record, const std::string &wwn, int64_t status = 0)
{
    record.status = status;
    std::strncpy(record.initiatorWwn, wwn.c_str(), sizeof record.initiatorWwn - 1);
}

class ZefConfigQueriesTest : public LibraryTest {
protected:
    static void Register(const std::vector<IpPair> &pairs, StorageLinkType linkType = StorageLinkType::kIp)
    {
        ZefStorage storage;
        storage.SetName("array" + std::to_string(ZefStorageManager::GetStorageAll().size()));
        storage.SetIpParis(pairs);
        storage.SetLinkType(linkType);
        ZefStorageManager::GetStorageAll().push_back(storage);
    }

    // The gateway answers with links of these initiator WWNs.
    void AnswerWith(const std::vector<std::string> &wwns)
    {
        platform.onAllLinkInfo = [wwns](OrnLinkInfo *records, uint32_t, uint32_t *) {
            for (size_t i = 0; i < wwns.size(); ++i) {
                FillRecord(records[i], wwns[i]);
            }
            return 0;
        };
    }

    void ExpectOneError(const std::string &function, const std::string &text, size_t callsBefore)
    {
        ASSERT_EQ(platform.logs.size(), 1U);
        const LogRecord &record = platform.logs[0];
        EXPECT_EQ(record.module, 873);
        EXPECT_EQ(record.level, 3);
        EXPECT_EQ(record.file, "ZefConfig");
        EXPECT_EQ(record.function, function);
        EXPECT_EQ(record.reserved, 0);
        EXPECT_EQ(record.format, "%s: " + text);
        EXPECT_EQ(record.text, "ZEF: " + text);
        EXPECT_EQ(record.callsBefore, callsBefore);
    }
};

// UUID

TEST_F(ZefConfigQueriesTest, GetUuidNeedsRoomForTheTextAndItsEnd)
{
    HoldUuid(kUuid);
    EXPECT_EQ(Ask(ZefConfigGetUuid, 36).result, -1);
    EXPECT_EQ(Ask(ZefConfigGetUuid, 37), Text(kUuid));
    EXPECT_EQ(Ask(ZefConfigGetUuid, 40), Text(kUuid));
    EXPECT_EQ(Ask(ZefConfigGetUuid, 0).result, -1);
    EXPECT_TRUE(platform.OrdinaryTexts().empty());
}

TEST_F(ZefConfigQueriesTest, GetUuidWithoutAUuidLeavesTheBufferAlone)
{
    HoldUuid("");
    EXPECT_EQ(Ask(ZefConfigGetUuid, 40), kRefused);
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(ZefConfigQueriesTest, GetUuidFailsWhenTheCopyDoes)
{
    HoldUuid(kUuid);
    platform.copiesUntilFailure = 0;
    EXPECT_EQ(Ask(ZefConfigGetUuid, 40).result, -1);
}

// Local IP address

TEST_F(ZefConfigQueriesTest, GetIpFindsNothingInAnEmptyRegistryAndSaysNothing)
{
    EXPECT_EQ(Ask(ZefConfigGetIP, 64), kRefused);
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(ZefConfigQueriesTest, GetIpGivesTheLocalAddressOfTheFirstPairOfTheFirstRecord)
{
    Register({{"192.0.2.1", "10.0.0.1"}, {"192.0.2.2", "10.0.0.2"}});
    Register({{"192.0.2.3", "10.0.0.3"}});
    EXPECT_EQ(Ask(ZefConfigGetIP, 64), Text("192.0.2.1"));
    EXPECT_TRUE(platform.logs.empty());
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(ZefConfigQueriesTest, GetIpNeedsRoomForTheTextAndItsEnd)
{
    Register({{"192.0.2.1", "10.0.0.1"}});
    EXPECT_EQ(Ask(ZefConfigGetIP, 9), kRefused);
    EXPECT_EQ(Ask(ZefConfigGetIP, 10), Text("192.0.2.1"));
}

TEST_F(ZefConfigQueriesTest, GetIpEndsAtTheFirstRecordWithoutPairs)
{
    Register({});
    Register({{"192.0.2.3", "10.0.0.3"}});
    EXPECT_EQ(Ask(ZefConfigGetIP, 64), kRefused);
    ExpectOneError("ZefConfigGetIP", "storage object not ip pair.", 0);
}

TEST_F(ZefConfigQueriesTest, GetIpIgnoresUnconnectedPairs)
{
    Register({});
    ZefStorageManager::GetStorageAll()[0].AddUnConnIpParis({"192.0.2.3", "10.0.0.3"});
    EXPECT_EQ(Ask(ZefConfigGetIP, 64), kRefused);
}

TEST_F(ZefConfigQueriesTest, GetIpTriesTheNextRecordWhenTheFirstDoesNotFit)
{
    Register({{"192.0.2.100", "10.0.0.1"}, {"1.1.1.1", "10.0.0.1"}});
    Register({{"192.0.2.1", "10.0.0.3"}});
    EXPECT_EQ(Ask(ZefConfigGetIP, 10), Text("192.0.2.1"));
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(ZefConfigQueriesTest, GetIpEndsAtARecordWithoutPairsBehindOneThatDoesNotFit)
{
    Register({{"192.0.2.100", "10.0.0.1"}});
    Register({});
    Register({{"192.0.2.1", "10.0.0.3"}});
    EXPECT_EQ(Ask(ZefConfigGetIP, 10).result, -1);
    ExpectOneError("ZefConfigGetIP", "storage object not ip pair.", 0);
}

TEST_F(ZefConfigQueriesTest, GetIpSaysNothingWhenNoRecordFits)
{
    Register({{"192.0.2.100", "10.0.0.1"}});
    Register({{"192.0.2.101", "10.0.0.3"}});
    EXPECT_EQ(Ask(ZefConfigGetIP, 10).result, -1);
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(ZefConfigQueriesTest, GetIpLeavesTheRegistryAsItWas)
{
    Register({{"192.0.2.1", "10.0.0.1"}});
    EXPECT_EQ(Ask(ZefConfigGetIP, 64), Text("192.0.2.1"));
    ASSERT_EQ(ZefStorageManager::GetStorageAll().size(), 1U);
    EXPECT_EQ(ZefStorageManager::GetStorageAll()[0].GetIpParis().size(), 1U);
}

// Initiator WWN

TEST_F(ZefConfigQueriesTest, GetFcIniWwnAsksTheGatewayAndCorrectsItsAnswer)
{
    AnswerWith({"2100000e1e000001"});
    EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 64), Text("2100000e1e000001"));
    EXPECT_THAT(platform.calls, ElementsAre(kAllLinks, kShardCards));
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(ZefConfigQueriesTest, GetFcIniWwnPresetsEveryRecordAsEmpty)
{
    std::vector<OrnLinkInfo> seen;
    platform.onAllLinkInfo = [&seen](OrnLinkInfo *records, uint32_t count, uint32_t *) {
        seen.assign(records, records + count);
        return 0;
    };
    EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 64), kRefused);
    ASSERT_EQ(seen.size(), kRecords);
    OrnLinkInfo empty = {};
    empty.status = -1;
    for (const OrnLinkInfo &record : seen) {
        EXPECT_EQ(std::memcmp(&record, &empty, sizeof record), 0);
    }
    ASSERT_EQ(platform.wiped.size(), 1U);
    EXPECT_EQ(platform.wiped[0].size(), 68608U);
}

TEST_F(ZefConfigQueriesTest, GetFcIniWwnFindsNothingWhenTheGatewayFillsNoRecordAndSaysNothing)
{
    EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 64), kRefused);
    EXPECT_THAT(platform.calls, ElementsAre(kAllLinks, kShardCards));
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(ZefConfigQueriesTest, GetFcIniWwnFreesItsRecords)
{
    EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 64), kRefused);  // whatever is allocated only once
    const size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 64), kRefused);
        platform.wiped.clear();
    }
    EXPECT_LT(mallinfo2().uordblks, before + 1000000) << "the records take three megabytes in all";
}

TEST_F(ZefConfigQueriesTest, GetFcIniWwnFailsWithoutMemoryBeforeItAsks)
{
    system.mallocErrno = ENOMEM;
    EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 64), kRefused);
    EXPECT_THAT(platform.calls, IsEmpty());
    ExpectOneError("ZefConfigGetFcIniWwn", "malloc linkInfo failed.", 0);
}

TEST_F(ZefConfigQueriesTest, GetFcIniWwnFailsWhenTheGatewayDoes)
{
    for (const int code : {1, -1}) {
        platform.calls.clear();
        platform.logs.clear();
        platform.onAllLinkInfo = [code](OrnLinkInfo *records, uint32_t, uint32_t *) {
            FillRecord(records[0], "2100000e1e000001");
            return code;
        };
        EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 64), kRefused);
        EXPECT_THAT(platform.calls, ElementsAre(kAllLinks));
        ExpectOneError("ZefConfigGetFcIniWwn", "storage object not fc info.", 1);
    }
}

TEST_F(ZefConfigQueriesTest, GetFcIniWwnLooksAtTheRecordsAsCorrected)
{
    AnswerWith({"before"});
    platform.onShardCards = [](OrnLinkInfo *records, uint32_t) {
        EXPECT_STREQ(records[0].initiatorWwn, "before");
        FillRecord(records[0], "after!");
        return -1;
    };
    EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 64), Text("after!"));
}

TEST_F(ZefConfigQueriesTest, GetFcIniWwnIgnoresTheCountThatTheGatewayGives)
{
    platform.onAllLinkInfo = [](OrnLinkInfo *records, uint32_t, uint32_t *countOut) {
        FillRecord(records[0], "2100000e1e000001");
        *countOut = 0;
        return 0;
    };
    EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 64), Text("2100000e1e000001"));
    platform.onAllLinkInfo = [](OrnLinkInfo *, uint32_t, uint32_t *countOut) {
        *countOut = 128;
        return 0;
    };
    EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 64), kRefused);
}

TEST_F(ZefConfigQueriesTest, GetFcIniWwnTakesALinkInAnyStateButEmpty)
{
    for (const int64_t status : {int64_t{0}, int64_t{1}, int64_t{-2}, INT64_MAX, int64_t{0xFFFFFFFF}}) {
        platform.onAllLinkInfo = [status](OrnLinkInfo *records, uint32_t, uint32_t *) {
            FillRecord(records[0], "2100000e1e000001", status);
            return 0;
        };
        EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 64), Text("2100000e1e000001")) << status;
    }
}

TEST_F(ZefConfigQueriesTest, GetFcIniWwnStopsAtTheFirstEmptyRecord)
{
    platform.onAllLinkInfo = [](OrnLinkInfo *records, uint32_t, uint32_t *) {
        FillRecord(records[0], "much too long for the buffer");
        FillRecord(records[2], "short");
        return 0;
    };
    EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 10), kRefused);
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(ZefConfigQueriesTest, GetFcIniWwnGivesTheFirstTextThatFits)
{
    AnswerWith({"much too long for the buffer", "exactly 10", "nine char", "short"});
    EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 10), Text("nine char"));
}

TEST_F(ZefConfigQueriesTest, GetFcIniWwnTriesAll128Records)
{
    std::vector<std::string> wwns(kRecords, "much too long for the buffer");
    AnswerWith(wwns);
    EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 10).result, -1);
    EXPECT_TRUE(platform.logs.empty());
    wwns.back() = "last";
    AnswerWith(wwns);
    EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 10), Text("last"));
}

// A copy that fails for another reason than its length: exactly 128 are tried.
TEST_F(ZefConfigQueriesTest, GetFcIniWwnCopiesOncePerRecord)
{
    AnswerWith(std::vector<std::string>(kRecords, "wwn"));
    platform.copiesUntilFailure = 0;
    EXPECT_EQ(Ask(ZefConfigGetFcIniWwn, 10).result, -1);
}

// Local endpoint

TEST_F(ZefConfigQueriesTest, GetLocalAddrReportsAnEmptyRegistry)
{
    EXPECT_EQ(Ask(ZefConfigGetLocalAddr, 64), kRefused);
    EXPECT_THAT(platform.calls, IsEmpty());
    ExpectOneError("ZefConfigGetLocalAddr", "can not find storage object.", 0);
}

TEST_F(ZefConfigQueriesTest, GetLocalAddrGivesTheWwnWhenTheFirstRecordIsOverFibreChannel)
{
    Register({{"192.0.2.1", "10.0.0.1"}}, StorageLinkType::kFibreChannel);
    Register({{"192.0.2.2", "10.0.0.2"}});
    AnswerWith({"2100000e1e000001"});
    EXPECT_EQ(Ask(ZefConfigGetLocalAddr, 64), Text("2100000e1e000001"));
    EXPECT_THAT(platform.calls, ElementsAre(kAllLinks, kShardCards));
}

TEST_F(ZefConfigQueriesTest, GetLocalAddrGivesTheAddressWhenTheFirstRecordIsOverIp)
{
    Register({{"192.0.2.1", "10.0.0.1"}});
    Register({}, StorageLinkType::kFibreChannel);
    EXPECT_EQ(Ask(ZefConfigGetLocalAddr, 64), Text("192.0.2.1"));
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(ZefConfigQueriesTest, GetLocalAddrTreatsEveryOtherLinkTypeAsIp)
{
    for (const uint32_t linkType : {2U, 0xFFFFFFFFU, 0x101U}) {
        ZefStorageManager::Clear();
        Register({{"192.0.2.1", "10.0.0.1"}}, static_cast<StorageLinkType>(linkType));
        EXPECT_EQ(Ask(ZefConfigGetLocalAddr, 64), Text("192.0.2.1")) << linkType;
    }
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(ZefConfigQueriesTest, GetLocalAddrPassesFailuresOn)
{
    Register({});
    EXPECT_EQ(Ask(ZefConfigGetLocalAddr, 64), kRefused);
    ExpectOneError("ZefConfigGetIP", "storage object not ip pair.", 0);

    platform.logs.clear();
    ZefStorageManager::GetStorageAll()[0].SetLinkType(StorageLinkType::kFibreChannel);
    platform.onAllLinkInfo = [](OrnLinkInfo *, uint32_t, uint32_t *) { return 5; };
    EXPECT_EQ(Ask(ZefConfigGetLocalAddr, 64), kRefused);
    ExpectOneError("ZefConfigGetFcIniWwn", "storage object not fc info.", 1);
}

TEST_F(ZefConfigQueriesTest, GetLocalAddrPassesTheSizeOfTheBufferOn)
{
    Register({{"192.0.2.1", "10.0.0.1"}});
    EXPECT_EQ(Ask(ZefConfigGetLocalAddr, 9).result, -1);
    EXPECT_EQ(Ask(ZefConfigGetLocalAddr, 10), Text("192.0.2.1"));
    ZefStorageManager::GetStorageAll()[0].SetLinkType(StorageLinkType::kFibreChannel);
    AnswerWith({"123456789"});
    EXPECT_EQ(Ask(ZefConfigGetLocalAddr, 9).result, -1);
    EXPECT_EQ(Ask(ZefConfigGetLocalAddr, 10), Text("123456789"));
}

}  // namespace
