#include "app/ConfigLock.h"

#include "control/ControlError.h"
#include "support/Files.h"

#include <gtest/gtest.h>

#include <optional>

namespace zef {
namespace {

TEST(ConfigLockTest, KeepsASecondClientAway)
{
    const ScratchFolder folder;
    std::optional<ConfigLock> first(std::in_place, folder.File("zef_config.xml"));
    try {
        const ConfigLock second(folder.File("zef_config.xml"));
        FAIL() << "two clients hold it";
    } catch (const ControlError &error) {
        EXPECT_EQ(error.GetCode(), ExitCode::Failed);
        EXPECT_EQ(std::string(error.what()), "another zef_client runs with the configuration in " + folder.Path() +
                                                 "; zef_client status asks it");
    }
    first.reset();
    EXPECT_NO_THROW(ConfigLock(folder.File("zef_config.xml")));
}

TEST(ConfigLockTest, LeavesAMissingFolderToWhoeverReadsTheFile)
{
    EXPECT_NO_THROW(ConfigLock("/nowhere/zef_config.xml"));
}

}  // namespace
}  // namespace zef
