#include "RecordedLog.h"
#include "TestFiles.h"

#include <zef_config/platform/KeyManagement.h>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace zef {

namespace {

constexpr uint32_t kDomain = TestFiles::kDomain;

// Each test begins and ends without loaded keys.
class PlatformKeysTest : public testing::Test {
protected:
    ~PlatformKeysTest() override { WoxUtil::Finish(); }

    // False when the file does not come to hold that generation within half a minute.
    bool AwaitGeneration(uint64_t generation) const
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (KeyFile(files.primary).Read(kDomain).ring.value().GetHead().generation != generation) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }

    TestFiles files;
    std::string text = files.Create().Seal(Secret("password"));
};

}  // namespace

TEST_F(PlatformKeysTest, DecryptsBetweenInitAndFinish)
{
    EXPECT_EQ(WoxUtil::WoxDecryptData(kDomain, text), "");
    ASSERT_EQ(WoxUtil::Init(kDomain, files.primary, files.standby), 0);
    EXPECT_EQ(WoxUtil::WoxDecryptData(kDomain, text), "password");
    EXPECT_EQ(WoxUtil::WoxDecryptData(3, text), "");
    EXPECT_EQ(WoxUtil::Finish(), 0);
    EXPECT_EQ(WoxUtil::WoxDecryptData(kDomain, text), "");
}

TEST_F(PlatformKeysTest, FailsWithoutFiles)
{
    EXPECT_EQ(WoxUtil::Init(kDomain, files.directory.Path() + "/a", files.directory.Path() + "/b"), -1);
}

TEST_F(PlatformKeysTest, FinishIsHarmlessWithoutInit)
{
    EXPECT_EQ(WoxUtil::Finish(), 0);
    EXPECT_EQ(WoxUtil::Finish(), 0);
}

TEST_F(PlatformKeysTest, RenewsBothKindsOfOldKeys)
{
    ASSERT_EQ(WoxUtil::Init(kDomain, files.primary, files.standby), 0);
    EXPECT_EQ(WoxUtil::WoxPeriodUpdateRootKey(1, 1), 0);
    ASSERT_TRUE(AwaitGeneration(2));
    EXPECT_EQ(KeyFile(files.primary).Read(kDomain).ring->GetMasterKeys().size(), 1u);
    EXPECT_EQ(WoxUtil::WoxPeriodUpdateMasterKey(kDomain, 1, 1), 0);
    ASSERT_TRUE(AwaitGeneration(3));
    EXPECT_EQ(KeyFile(files.primary).Read(kDomain).ring->GetMasterKeys().size(), 2u);
    EXPECT_EQ(WoxUtil::WoxDecryptData(kDomain, text), "password");
}

TEST_F(PlatformKeysTest, TakesASettingOfZeroAsNever)
{
    ASSERT_EQ(WoxUtil::Init(kDomain, files.primary, files.standby), 0);
    EXPECT_EQ(WoxUtil::WoxPeriodUpdateRootKey(0, 0), 0);
    EXPECT_EQ(WoxUtil::WoxPeriodUpdateMasterKey(kDomain, 0, 0), 0);
    WoxUtil::Finish();
    EXPECT_EQ(KeyFile(files.primary).Read(kDomain).ring->GetHead().generation, 1u);
}

TEST_F(PlatformKeysTest, RenewsNothingWithoutInitOrForAnotherDomain)
{
    EXPECT_EQ(WoxUtil::WoxPeriodUpdateRootKey(1, 1), -1);
    EXPECT_EQ(WoxUtil::WoxPeriodUpdateMasterKey(kDomain, 1, 1), -1);
    ASSERT_EQ(WoxUtil::Init(kDomain, files.primary, files.standby), 0);
    EXPECT_EQ(WoxUtil::WoxPeriodUpdateMasterKey(3, 1, 1), -1);
}

}  // namespace zef
