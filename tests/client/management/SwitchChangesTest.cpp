#include "management/SwitchChanges.h"

#include "RegistryTest.h"

#include <zef_config/platform/SharedBaseConfig.h>

namespace zef {
namespace {

constexpr int kDeduplicationItem = 69;
constexpr int kCompressionItem = 70;

class SwitchChangesTest : public RegistryTest {
};

TEST_F(SwitchChangesTest, PublishesWhatItSwitches)
{
    EXPECT_EQ(SetSwitch("deduplication", "on"), "deduplication is on");
    EXPECT_EQ(SetSwitch("compression", "on"), "compression is on");
    EXPECT_EQ(ShmBaseCfgGetCfgVal(kDeduplicationItem), 1);
    EXPECT_EQ(ShmBaseCfgGetCfgVal(kCompressionItem), 1);
    EXPECT_EQ(SetSwitch("compression", "off"), "compression is off");
    EXPECT_EQ(SetSwitch("deduplication", "off"), "deduplication is off");
    EXPECT_EQ(ShmBaseCfgGetCfgVal(kDeduplicationItem), 0);
    EXPECT_EQ(ShmBaseCfgGetCfgVal(kCompressionItem), 0);
}

TEST_F(SwitchChangesTest, RefusesWhatTheNextStartWouldRefuse)
{
    const char *const rule =
        "compression needs deduplication: the client would not start like that; nothing was changed";
    EXPECT_REFUSED(SetSwitch("compression", "on"), ExitCode::Failed, rule);
    EXPECT_EQ(ShmBaseCfgGetCfgVal(kCompressionItem), 0);
    (void)SetSwitch("deduplication", "on");
    (void)SetSwitch("compression", "on");
    EXPECT_REFUSED(SetSwitch("deduplication", "off"), ExitCode::Failed, rule);
    EXPECT_EQ(ShmBaseCfgGetCfgVal(kDeduplicationItem), 1);
}

TEST_F(SwitchChangesTest, RefusesOtherNamesAndValues)
{
    EXPECT_REFUSED(SetSwitch("encryption", "on"), ExitCode::Usage, "there is no switch \"encryption\"");
    EXPECT_REFUSED(SetSwitch("deduplication", "ON"), ExitCode::Usage, "\"ON\" is neither on nor off");
}

}  // namespace
}  // namespace zef
