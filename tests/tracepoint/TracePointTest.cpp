// The trace-point hooks of the library are empty, so nothing shows whether and when it calls them. The loader lets a
// host replace exported functions; this program is such a host, and its hooks can be seen.
#include "support/FakePlatform.h"
#include "support/OptFolder.h"

#include <zef_config/ZefConfig.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;

constexpr const char *kConfig = R"(<?xml version="1.0" encoding="utf-8"?>
<Config>
    <Uuid type="string">0123abcd-ABCD-0a1B-9f9F-00112233aabb</Uuid>
</Config>
)";

int32_t initTracePointResult = 0;

const std::string kSetGateway = "OrnSetClientUuid(0123abcd-ABCD-0a1B-9f9F-00112233aabb)";
const std::string kSetClientInfo = "ZefClientInfoSetUuid(0123abcd-ABCD-0a1B-9f9F-00112233aabb)";
const std::string kSetHib = "HibSetClientUuid(0123abcd-ABCD-0a1B-9f9F-00112233aabb)";
const std::string kInitKeys = "WoxUtil::Init(2,/opt/quenlar/vextramo/conf/WOX/wox_pri.dat,"
                              "/opt/quenlar/vextramo/conf/WOX/wox_std.dat)";

class TracePointTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(OptFolder::RequirePrivate());
        OptFolder::WriteConfig(kConfig);
        platform.Reset();
        initTracePointResult = 0;
    }

    FakePlatform &platform = FakePlatform::Get();
};

TEST_F(TracePointTest, InitRegistersBetweenTheUuidAndKeyManagement)
{
    EXPECT_EQ(ZefConfigInit(), 0);
    EXPECT_THAT(platform.calls,
                ElementsAre(kSetGateway, "ZefConfigInitTracePoint()", kInitKeys, kSetClientInfo, kSetHib));
}

TEST_F(TracePointTest, ARefusedRegistrationFailsInitAndUndoesNothing)
{
    initTracePointResult = 4;
    EXPECT_EQ(ZefConfigInit(), -1);
    EXPECT_THAT(platform.calls, ElementsAre(kSetGateway, "ZefConfigInitTracePoint()"));
    EXPECT_THAT(platform.OrdinaryTexts(),
                ElementsAre("ZEF: zef config init begin.", "ZEF: zef config init trace point error!"));
    EXPECT_EQ(platform.logs.back().level, 3);
    EXPECT_EQ(platform.logs.back().function, "ZefConfigInit");
    EXPECT_EQ(platform.logs.back().file, "ZefConfig");
}

TEST_F(TracePointTest, ARefusalByKeyManagementExitsTracePointsButFinishesNoKeys)
{
    platform.keyInitResult = 1;
    EXPECT_EQ(ZefConfigInit(), -1);
    EXPECT_THAT(platform.calls,
                ElementsAre(kSetGateway, "ZefConfigInitTracePoint()", kInitKeys, "ZefConfigExitTracePoint()"));
    EXPECT_EQ(platform.logs.back().text, "ZEF: zef config init wox error!");
    EXPECT_EQ(platform.logs.back().callsBefore, 3U);
}

TEST_F(TracePointTest, ARefusedUuidFinishesKeysAndThenExitsTracePoints)
{
    platform.hibResult = 1;
    EXPECT_EQ(ZefConfigInit(), -1);
    EXPECT_THAT(platform.calls, ElementsAre(kSetGateway, "ZefConfigInitTracePoint()", kInitKeys, kSetClientInfo,
                                            kSetHib, "WoxUtil::Finish()", "ZefConfigExitTracePoint()"));
    EXPECT_EQ(platform.logs.back().text, "ZEF: zef config set uuid error!");
    EXPECT_EQ(platform.logs.back().callsBefore, 5U);
}

TEST_F(TracePointTest, AFailureBeforeTheRegistrationCallsNoHook)
{
    platform.setGatewayUuidResult = 1;
    EXPECT_EQ(ZefConfigInit(), -1);
    EXPECT_THAT(platform.calls, ElementsAre(kSetGateway));
}

TEST_F(TracePointTest, FinishExitsTracePointsLast)
{
    ZefConfigFinish();
    EXPECT_THAT(platform.calls,
                ElementsAre("ThreadPool::Clear()", "WoxUtil::Finish()", "ZefConfigExitTracePoint()"));
}

}  // namespace

int32_t ZefConfigInitTracePoint()
{
    FakePlatform::Get().Record("ZefConfigInitTracePoint()");
    return initTracePointResult;
}

void ZefConfigExitTracePoint()
{
    FakePlatform::Get().Record("ZefConfigExitTracePoint()");
}
