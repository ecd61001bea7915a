#include "baseconfig/PlatformSharedBaseConfig.h"

#include "SegmentTest.h"
#include "baseconfig/SharedBaseConfig.h"

#include <zef_config/platform/SharedBaseConfig.h>

#include <gmock/gmock.h>

#include <optional>
#include <thread>

namespace {

using ::testing::HasSubstr;
using zef::SharedBaseConfig;

class PlatformSharedBaseConfigTest : public SegmentTest {
protected:
    PlatformSharedBaseConfigTest()
    {
        zef::CloseSharedBaseConfig();
        EXPECT_TRUE(zef::UseSharedBaseConfig(name));
        ::testing::internal::CaptureStderr();
    }

    ~PlatformSharedBaseConfigTest() override
    {
        zef::CloseSharedBaseConfig();
        if (!logTaken) {
            Log();
        }
    }

    std::string Log()
    {
        logTaken = true;
        return ::testing::internal::GetCapturedStderr();
    }

private:
    bool logTaken = false;
};

TEST_F(PlatformSharedBaseConfigTest, ReadsTheDefaultsOfANewSegment)
{
    EXPECT_EQ(ShmBaseCfgGetCfgVal(65), 365);
    EXPECT_EQ(ShmBaseCfgGetCfgVal(66), 90);
    EXPECT_EQ(ShmBaseCfgGetCfgVal(67), 24);
    EXPECT_EQ(ShmBaseCfgGetCfgVal(69), 0);
}

TEST_F(PlatformSharedBaseConfigTest, PublishesAValueForOtherProcesses)
{
    EXPECT_EQ(ShmBaseCfgSetCfgVal(69, 1), 0);
    EXPECT_EQ(ShmBaseCfgGetCfgVal(69), 1);
    const auto config = SharedBaseConfig::OpenReadOnly(name, error);
    ASSERT_TRUE(config.has_value()) << error;
    EXPECT_EQ(config->Get(69), 1);
    EXPECT_THAT(Log(), HasSubstr("[baseconfig] item 69 is set to 1\n"));
}

TEST_F(PlatformSharedBaseConfigTest, ReadsWhatAnotherProcessHasSet)
{
    EXPECT_EQ(ShmBaseCfgGetCfgVal(65), 365);
    auto config = SharedBaseConfig::OpenOrCreate(name, error);
    ASSERT_TRUE(config.has_value()) << error;
    EXPECT_TRUE(config->Set(65, 30, error));
    EXPECT_EQ(ShmBaseCfgGetCfgVal(65), 30);
}

TEST_F(PlatformSharedBaseConfigTest, ReportsAnItemThatDoesNotExist)
{
    EXPECT_EQ(ShmBaseCfgSetCfgVal(256, 1), -1);
    EXPECT_EQ(ShmBaseCfgGetCfgVal(-1), 0);
    const std::string log = Log();
    EXPECT_THAT(log, HasSubstr("error   [baseconfig] there is no item 256\n"));
    EXPECT_THAT(log, HasSubstr("error   [baseconfig] there is no item -1\n"));
}

TEST_F(PlatformSharedBaseConfigTest, ReportsASegmentThatItCannotUse)
{
    Make("something else");
    EXPECT_EQ(ShmBaseCfgGetCfgVal(65), 0);
    EXPECT_EQ(ShmBaseCfgSetCfgVal(69, 1), -1);
    EXPECT_THAT(Log(), HasSubstr("error   [baseconfig] shared memory " + name + ": has 14 bytes instead of 2064\n"));
}

TEST_F(PlatformSharedBaseConfigTest, TriesAgainAfterAFailure)
{
    Make("something else");
    EXPECT_EQ(ShmBaseCfgSetCfgVal(69, 1), -1);
    shm_unlink(name.c_str());
    EXPECT_EQ(ShmBaseCfgSetCfgVal(69, 1), 0);
    EXPECT_EQ(ShmBaseCfgGetCfgVal(69), 1);
}

TEST_F(PlatformSharedBaseConfigTest, KeepsItsNameOnceItIsOpen)
{
    EXPECT_EQ(ShmBaseCfgGetCfgVal(65), 365);
    EXPECT_FALSE(zef::UseSharedBaseConfig("/another"));
    zef::CloseSharedBaseConfig();
    EXPECT_TRUE(zef::UseSharedBaseConfig(name));
}

TEST_F(PlatformSharedBaseConfigTest, KeepsValuesWhenItIsClosed)
{
    EXPECT_EQ(ShmBaseCfgSetCfgVal(70, 1), 0);
    zef::CloseSharedBaseConfig();
    EXPECT_TRUE(zef::UseSharedBaseConfig(name));
    EXPECT_EQ(ShmBaseCfgGetCfgVal(70), 1);
}

TEST_F(PlatformSharedBaseConfigTest, ServesSeveralThreads)
{
    constexpr int kRounds = 200;
    std::thread other([] {
        for (int round = 0; round < kRounds; ++round) {
            EXPECT_EQ(ShmBaseCfgGetCfgVal(66), 90);
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        EXPECT_EQ(ShmBaseCfgGetCfgVal(67), 24);
    }
    other.join();
}

}  // namespace
