#include "check/KeysAtHand.h"

#include "support/Files.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace zef {
namespace {

class KeysAtHandTest : public ::testing::Test {
protected:
    KeysAtHandTest() { setenv("CREDENTIALS_DIRECTORY", folder.Path().c_str(), 1); }

    ~KeysAtHandTest() override { unsetenv("CREDENTIALS_DIRECTORY"); }

    const ScratchFolder folder;
};

TEST_F(KeysAtHandTest, AreTheServicesOwnUnlessCredentialsWereHandedOver)
{
    EXPECT_EQ(KeysAtHand().primary, kPrimaryKeyFile) << "the credential directory holds other things";
    unsetenv("CREDENTIALS_DIRECTORY");
    EXPECT_EQ(KeysAtHand().standby, kStandbyKeyFile);
    EXPECT_FALSE(KeysAtHand().oneSuffices);
}

TEST_F(KeysAtHandTest, AreTheCredentialsWhenOneKeyFileIsAmongThem)
{
    WriteFile(folder.File("wox_std.dat"), "keys");
    EXPECT_EQ(KeysAtHand().primary, folder.File("wox_pri.dat"));
    EXPECT_EQ(KeysAtHand().standby, folder.File("wox_std.dat"));
    EXPECT_TRUE(KeysAtHand().oneSuffices);
}

TEST_F(KeysAtHandTest, AFolderHoldsBothFiles)
{
    EXPECT_EQ(KeysIn("/a").primary, "/a/wox_pri.dat");
    EXPECT_EQ(KeysIn("/a").standby, "/a/wox_std.dat");
    EXPECT_FALSE(KeysIn("/a").oneSuffices);
}

}  // namespace
}  // namespace zef
