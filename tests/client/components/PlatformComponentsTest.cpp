#include "components/ClientComponents.h"

#include <zef_config/platform/ClientComponents.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using ::testing::HasSubstr;
using zef::ClientComponents;

constexpr const char *kUuid = "0f8fad5b-d9cb-469f-a165-70867728950e";

class PlatformComponentsTest : public ::testing::Test {
protected:
    PlatformComponentsTest() { ::testing::internal::CaptureStderr(); }

    ~PlatformComponentsTest() override
    {
        if (!logTaken) {
            Log();
        }
    }

    std::string Log()
    {
        logTaken = true;
        return ::testing::internal::GetCapturedStderr();
    }

    ClientComponents &components = ClientComponents::Instance();

private:
    bool logTaken = false;
};

TEST_F(PlatformComponentsTest, ClientInformationKeepsAndShowsTheUuid)
{
    EXPECT_EQ(ZefClientInfoSetUuid(kUuid), 0);
    EXPECT_EQ(components.InfoUuid(), kUuid);
    EXPECT_THAT(Log(), HasSubstr(std::string("info    [info] client UUID is ") + kUuid + "\n"));
}

TEST_F(PlatformComponentsTest, HibKeepsAndShowsTheUuid)
{
    EXPECT_EQ(HibSetClientUuid(kUuid), 0);
    EXPECT_EQ(components.HibUuid(), kUuid);
    EXPECT_THAT(Log(), HasSubstr(std::string("info    [hib] client UUID is ") + kUuid + "\n"));
}

TEST_F(PlatformComponentsTest, TheTwoUuidsAreSeparate)
{
    ZefClientInfoSetUuid("one");
    HibSetClientUuid("two");
    EXPECT_EQ(components.InfoUuid(), "one");
    EXPECT_EQ(components.HibUuid(), "two");
}

TEST_F(PlatformComponentsTest, RefusesToTakeNoUuid)
{
    ZefClientInfoSetUuid(kUuid);
    HibSetClientUuid(kUuid);
    EXPECT_EQ(ZefClientInfoSetUuid(nullptr), -1);
    EXPECT_EQ(ZefClientInfoSetUuid(""), -1);
    EXPECT_EQ(HibSetClientUuid(nullptr), -1);
    EXPECT_EQ(HibSetClientUuid(""), -1);
    EXPECT_EQ(components.InfoUuid(), kUuid);
    EXPECT_EQ(components.HibUuid(), kUuid);
    EXPECT_THAT(Log(), HasSubstr("error   [hib] there is no client UUID\n"));
}

TEST_F(PlatformComponentsTest, CountsTheStartsOfFibreChannel)
{
    const uint32_t before = components.FibreChannelStarts();
    EXPECT_EQ(ZefAddThreadForFc(), 0);
    EXPECT_EQ(components.FibreChannelStarts(), before + 1);
    EXPECT_THAT(Log(), HasSubstr("info    [fc] ready for Fibre Channel storage\n"));
}

TEST_F(PlatformComponentsTest, LeavesLinkRecordsAsTheyAreAndCountsThoseInUse)
{
    std::vector<OrnLinkInfo> records(4, OrnLinkInfo{0x5006016000000000ULL, -1, 7, "21:00:00:24:ff:12:34:56"});
    records[0].status = 0;
    records[2].status = 1;
    const std::vector<OrnLinkInfo> before = records;
    EXPECT_EQ(ZEF_CLI::StorageObjectCommand::ProcessShardCardLinkInfo(records.data(), 4), 0);
    EXPECT_EQ(std::memcmp(records.data(), before.data(), 4 * sizeof(OrnLinkInfo)), 0);
    EXPECT_EQ(components.SeenLinkRecords(), 2U);
}

TEST_F(PlatformComponentsTest, ShowsTheNumberOfLinksWhenItChanges)
{
    std::vector<OrnLinkInfo> records(3, OrnLinkInfo{});
    components.SetSeenLinkRecords(0);
    ZEF_CLI::StorageObjectCommand::ProcessShardCardLinkInfo(records.data(), 3);
    ZEF_CLI::StorageObjectCommand::ProcessShardCardLinkInfo(records.data(), 3);
    const std::string log = Log();
    const std::string line = "info    [fc] link table has 3 links, none behind a shard card\n";
    EXPECT_THAT(log, HasSubstr(line));
    EXPECT_EQ(log.find(line), log.rfind(line));
}

TEST_F(PlatformComponentsTest, RefusesNoLinkTable)
{
    EXPECT_EQ(ZEF_CLI::StorageObjectCommand::ProcessShardCardLinkInfo(nullptr, 128), -1);
    EXPECT_THAT(Log(), HasSubstr("error   [fc] there is no link table\n"));
}

}  // namespace
