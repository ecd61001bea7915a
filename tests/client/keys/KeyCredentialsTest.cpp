// Keys that the service manager hands over as credentials.
#include "keys/PlatformKeys.h"

#include "FakeKeyClock.h"
#include "RecordedLog.h"
#include "TestFiles.h"
#include "keys/KeyManager.h"

#include <zef_config/platform/KeyManagement.h>

#include <gtest/gtest.h>

#include <filesystem>

#include <cstdlib>

#include <sys/stat.h>

namespace zef {

namespace {

using Lines = std::vector<std::string>;

constexpr uint32_t kDomain = TestFiles::kDomain;

// Other keys are at the paths that Init is given, so that it shows which ones are used.
class KeyCredentialsTest : public testing::Test {
protected:
    KeyCredentialsTest()
    {
        RecordedLog::Clear();
        usual.Create();
    }

    // Lets the removal of the directory succeed.
    ~KeyCredentialsTest() override { (void)chmod(credentials.Path().c_str(), 0700); }

    // As the service manager does it.
    void Give(const char *name, const std::string &bytes)
    {
        ASSERT_EQ(chmod(credentials.Path().c_str(), 0700), 0);
        const std::string path = File(name);
        std::filesystem::remove(path);
        WriteBytes(path, bytes);
        ASSERT_EQ(chmod(path.c_str(), 0400), 0);
        ASSERT_EQ(chmod(credentials.Path().c_str(), 0500), 0);
    }

    std::string File(const char *name) const { return credentials.Path() + "/" + name; }

    // What a key file with this ring holds.
    static std::string BytesWith(const KeyRing &ring)
    {
        const TestFiles files;
        files.Save(ring);
        return BytesOf(files.primary);
    }

    int32_t Init()
    {
        manager.SetCredentialDirectory(credentials.Path());
        return manager.Init(kDomain, usual.primary, usual.standby);
    }

    TestFiles usual;
    TemporaryDirectory credentials;
    KeyRing ring = KeyRing::Create(kDomain, TestFiles::kCreated);
    std::string text = ring.Seal(Secret("password"));
    FakeKeyClock clock{TestFiles::kCreated};
    KeyManager manager{clock};
};

}  // namespace

TEST_F(KeyCredentialsTest, OneCredentialSuffices)
{
    for (const char *name : {"wox_pri.dat", "wox_std.dat"}) {
        Give(name, BytesWith(ring));
        RecordedLog::Clear();
        ASSERT_EQ(Init(), 0);
        EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
        EXPECT_EQ(RecordedLog::Lines("info"),
                  (Lines{"info keys: the keys are those of the credentials in " + credentials.Path() +
                             "; the usual key files are not used",
                         "info keys: keys of domain 2 loaded, 1 of them for passwords"}));
        EXPECT_TRUE(RecordedLog::Lines("warn").empty());
        ASSERT_EQ(chmod(credentials.Path().c_str(), 0700), 0);
        std::filesystem::remove(File(name));
    }
}

TEST_F(KeyCredentialsTest, WritesAndRepairsNothing)
{
    Give("wox_pri.dat", BytesWith(ring));
    Give("wox_std.dat", "rubbish");
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
    EXPECT_EQ(RecordedLog::Lines("warn"),
              Lines{"warn keys: " + File("wox_std.dat") + " is damaged: it is cut short"});
    EXPECT_EQ(BytesOf(File("wox_std.dat")), "rubbish");
}

TEST_F(KeyCredentialsTest, AreNotRenewed)
{
    const std::string before = BytesWith(ring);
    Give("wox_pri.dat", before);
    ASSERT_EQ(Init(), 0);
    RecordedLog::Clear();
    clock.SetWallClock(TestFiles::kCreated + 1'000'000);
    EXPECT_EQ(manager.UpdateRootKey(1, 1), 0);
    EXPECT_EQ(manager.UpdateMasterKey(kDomain, 1, 1), 0);
    EXPECT_EQ(manager.UpdateMasterKey(3, 1, 1), -1);
    EXPECT_EQ(RecordedLog::Lines("info"),
              (Lines{"info keys: the root key comes from a credential and is not renewed here: 'zef_client keys "
                     "rotate' renews the files that it comes from",
                     "info keys: the master key comes from a credential and is not renewed here: 'zef_client keys "
                     "rotate' renews the files that it comes from"}));
    manager.Finish();
    EXPECT_EQ(BytesOf(File("wox_pri.dat")), before);
}

TEST_F(KeyCredentialsTest, AreLookedAtAgainForAKeyThatIsNotHeld)
{
    Give("wox_pri.dat", BytesWith(ring));
    ASSERT_EQ(Init(), 0);
    const KeyRing next = ring.WithNewMasterKey(TestFiles::kCreated);
    Give("wox_pri.dat", BytesWith(next));
    EXPECT_EQ(manager.Decrypt(kDomain, next.Seal(Secret("newer"))), "newer");
}

TEST_F(KeyCredentialsTest, AreRefusedWhenOthersMayReadThem)
{
    Give("wox_pri.dat", BytesWith(ring));
    ASSERT_EQ(chmod(File("wox_pri.dat").c_str(), 0444), 0);
    EXPECT_EQ(Init(), -1);
    EXPECT_TRUE(RecordedLog::Holds(File("wox_pri.dat") + " is open to others (mode 0444)"));
}

TEST_F(KeyCredentialsTest, AreNotReplacedByTheUsualFilesWhenTheyAreMissing)
{
    EXPECT_EQ(Init(), -1);
    EXPECT_TRUE(RecordedLog::Holds("the keys cannot be loaded: there are no keys: " + File("wox_pri.dat")));
    manager.SetCredentialDirectory("");
    EXPECT_EQ(manager.Init(kDomain, usual.primary, usual.standby), 0);
}

TEST_F(KeyCredentialsTest, AreFoundWhereTheServiceManagerSays)
{
    ASSERT_EQ(unsetenv("CREDENTIALS_DIRECTORY"), 0);
    EXPECT_EQ(FindCredentialDirectory(), "");
    ASSERT_EQ(setenv("CREDENTIALS_DIRECTORY", credentials.Path().c_str(), 1), 0);
    EXPECT_EQ(FindCredentialDirectory(), "");
    Give("something-else", "");
    EXPECT_EQ(FindCredentialDirectory(), "");
    Give("wox_std.dat", "");
    EXPECT_EQ(FindCredentialDirectory(), credentials.Path());
    ASSERT_EQ(unsetenv("CREDENTIALS_DIRECTORY"), 0);
}

TEST_F(KeyCredentialsTest, AreThePlatformsKeysOnceItIsTold)
{
    Give("wox_pri.dat", BytesWith(ring));
    SetCredentialDirectory(credentials.Path());
    EXPECT_EQ(WoxUtil::Init(kDomain, usual.primary, usual.standby), 0);
    EXPECT_EQ(WoxUtil::WoxDecryptData(kDomain, text), "password");
    EXPECT_EQ(WoxUtil::WoxPeriodUpdateRootKey(1, 1), 0);
    WoxUtil::Finish();
    SetCredentialDirectory("");
}

}  // namespace zef
