// A host whose own trace-point hooks take the place of the library's empty ones.
#include "host/HostPlatform.h"
#include "host/PrivateConfig.h"

#include <zef_config/ZefConfig.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;

namespace {

int32_t initResult = 0;

std::vector<std::string> MessageTexts(int module, int level)
{
    std::vector<std::string> texts;
    for (const HostPlatform::Message &message : HostPlatform::Get().messages) {
        if (message.module == module && message.level == level) {
            texts.push_back(message.text);
        }
    }
    return texts;
}

}  // namespace

int32_t ZefConfigInitTracePoint()
{
    HostPlatform::Get().calls.emplace_back("ZefConfigInitTracePoint");
    return initResult;
}

void ZefConfigExitTracePoint()
{
    HostPlatform::Get().calls.emplace_back("ZefConfigExitTracePoint");
}

class TracePointTest : public ::testing::Test {
protected:
    TracePointTest()
    {
        WritePrivateConfig();
        platform.calls.clear();
        platform.messages.clear();
        initResult = 0;
    }

    HostPlatform &platform = HostPlatform::Get();
};

TEST_F(TracePointTest, AFailingInitHookFailsTheInitialisationBeforeKeyManagementIsTouched)
{
    initResult = 7;
    EXPECT_EQ(ZefConfigInit(), -1);
    EXPECT_THAT(MessageTexts(873, 3), ElementsAre("ZEF: zef config init trace point error!"));
    // Nothing is undone: the exit hook is not called either.
    EXPECT_THAT(platform.calls, ElementsAre("OrnSetClientUuid", "ZefConfigInitTracePoint"));
}

TEST_F(TracePointTest, AnInitHookThatSucceedsLetsTheInitialisationGoOn)
{
    EXPECT_EQ(ZefConfigInit(), 0);
    EXPECT_THAT(MessageTexts(873, 3), ElementsAre());
    EXPECT_THAT(platform.calls, ElementsAre("OrnSetClientUuid", "ZefConfigInitTracePoint", "WoxUtil::Init",
                                            "ZefClientInfoSetUuid", "HibSetClientUuid"));
}

TEST_F(TracePointTest, TheExitHookIsCalledLastWhenTheLibraryIsFinished)
{
    ZefConfigFinish();
    EXPECT_THAT(platform.calls, ElementsAre("ThreadPool::Clear", "WoxUtil::Finish", "ZefConfigExitTracePoint"));
}
