#include "keys/KeyStore.h"

#include "FailingSystem.h"
#include "TestFiles.h"
#include "keys/KeyError.h"
#include "keys/KeyFormat.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <utility>

#include <sys/stat.h>

namespace zef {

namespace {

constexpr uint32_t kDomain = TestFiles::kDomain;
constexpr std::chrono::milliseconds kNoPatience(0);

class KeyStoreTest : public testing::Test {
protected:
    std::string WhyNotLoaded() const
    {
        try {
            (void)files.Load();
        } catch (const KeyError &error) {
            return error.what();
        }
        return "loaded";
    }

    void WriteRing(const std::string &path, const KeyRing &ring) const
    {
        WriteBytes(path, BytesOf(KeyFormat::Serialise(ring)));
    }

    // Both files hold `expected`, byte for byte, and load without a word.
    void ExpectBoth(const std::string &expected) const
    {
        EXPECT_EQ(BytesOf(files.primary), expected);
        EXPECT_EQ(BytesOf(files.standby), expected);
        EXPECT_TRUE(files.Load().warnings.empty());
    }

    TestFiles files;
};

}  // namespace

TEST_F(KeyStoreTest, LoadsWhatItHasSaved)
{
    const KeyRing ring = files.Create();
    const KeyStore::Loaded loaded = files.Load();
    EXPECT_TRUE(loaded.warnings.empty());
    EXPECT_EQ(loaded.ring->Open(kDomain, ring.Seal(Secret("password"))), "password");
}

TEST_F(KeyStoreTest, WritesTheSameBytesToBothFiles)
{
    files.Create();
    EXPECT_EQ(BytesOf(files.primary), BytesOf(files.standby));
}

TEST_F(KeyStoreTest, RepairsAMissingFileFromTheOther)
{
    files.Create();
    const std::string bytes = BytesOf(files.primary);
    for (const auto &[missing, other] :
         {std::pair(files.primary, files.standby), std::pair(files.standby, files.primary)}) {
        std::filesystem::remove(missing);
        EXPECT_EQ(files.Load().warnings,
                  std::vector<std::string>{missing + " is missing; it was repaired from " + other});
        ExpectBoth(bytes);
    }
}

TEST_F(KeyStoreTest, RepairsADamagedStandbyFileFromThePrimary)
{
    files.Create();
    const std::string bytes = BytesOf(files.primary);
    WriteBytes(files.standby, "rubbish");
    EXPECT_EQ(files.Load().warnings, std::vector<std::string>{files.standby + " is damaged: it is cut short; it was "
                                                                              "repaired from " + files.primary});
    ExpectBoth(bytes);
}

TEST_F(KeyStoreTest, RepairsAPrimaryFileWithAnyByteChanged)
{
    files.Create();
    const std::string bytes = BytesOf(files.primary);
    for (size_t i = 0; i < bytes.size(); ++i) {
        std::string changed = bytes;
        changed[i] = static_cast<char>(~changed[i]);
        WriteBytes(files.primary, changed);
        ASSERT_EQ(files.Load().warnings.size(), 1u) << i;
        ASSERT_EQ(BytesOf(files.primary), bytes) << i;
    }
}

TEST_F(KeyStoreTest, RepairsAStandbyFileCutAnywhere)
{
    files.Create();
    const std::string bytes = BytesOf(files.standby);
    for (size_t length = 0; length < bytes.size(); ++length) {
        WriteBytes(files.standby, bytes.substr(0, length));
        ASSERT_EQ(files.Load().warnings.size(), 1u) << length;
        ASSERT_EQ(BytesOf(files.standby), bytes) << length;
    }
}

TEST_F(KeyStoreTest, RepairedFilesArePrivate)
{
    files.Create();
    std::filesystem::remove(files.standby);
    files.Load();
    struct stat status = {};
    ASSERT_EQ(stat(files.standby.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(KeyStoreTest, UsesTheGoodFileEvenWhenTheOtherCannotBeRepaired)
{
    const KeyRing ring = files.Create();
    WriteBytes(files.primary, "rubbish");
    std::filesystem::create_directory(files.primary + ".new");
    const KeyStore::Loaded loaded = files.Load();
    EXPECT_EQ(loaded.warnings,
              std::vector<std::string>{files.primary + " is damaged: it is cut short, and it cannot be repaired from " +
                                       files.standby + ": " + files.primary + " cannot be written: File exists"});
    EXPECT_EQ(loaded.ring->Open(kDomain, ring.Seal(Secret("password"))), "password");
    EXPECT_EQ(BytesOf(files.primary), "rubbish");
}

TEST_F(KeyStoreTest, LooksWithoutRepairing)
{
    const KeyRing ring = files.Create();
    std::filesystem::remove(files.standby);
    WriteBytes(files.primary + ".new", "left over");
    const KeyStore::Loaded loaded = files.store.Look(kDomain);
    EXPECT_EQ(loaded.warnings, std::vector<std::string>{files.standby + " is missing"});
    EXPECT_EQ(loaded.ring->Open(kDomain, ring.Seal(Secret("password"))), "password");
    EXPECT_FALSE(std::filesystem::exists(files.standby));
    EXPECT_TRUE(std::filesystem::exists(files.primary + ".new"));
}

TEST_F(KeyStoreTest, RemovesTheLeftoversOfACrash)
{
    files.Create();
    WriteBytes(files.primary + ".new", "left over");
    WriteBytes(files.standby + ".new", "left over");
    files.Load();
    EXPECT_FALSE(std::filesystem::exists(files.primary + ".new"));
    EXPECT_FALSE(std::filesystem::exists(files.standby + ".new"));
}

TEST_F(KeyStoreTest, NamesBothFilesAndTheWayOutWhenBothAreGone)
{
    EXPECT_EQ(WhyNotLoaded(), "there are no keys: " + files.primary + " is missing, and " + files.standby +
                                  " is missing. Restore one of the two files from a backup; or create new keys with "
                                  "'zef_client keys init' and encrypt all passwords anew");
}

TEST_F(KeyStoreTest, SaysForEachOfTwoBadFilesWhatIsWrong)
{
    files.Create();
    WriteBytes(files.primary, "");
    WriteBytes(files.standby, std::string(200, 'x'));
    const std::string why = WhyNotLoaded();
    EXPECT_NE(why.find(files.primary + " is damaged: it is empty, and " + files.standby +
                       " is damaged: it does not begin like a key file"),
              std::string::npos)
        << why;
    EXPECT_THROW((void)files.Load(), NoKeysError);
    EXPECT_EQ(BytesOf(files.primary), "");
}

TEST_F(KeyStoreTest, RefusesToLoadWhenEitherFileIsOpenToOthers)
{
    files.Create();
    for (const std::string &path : {files.primary, files.standby}) {
        ASSERT_EQ(chmod(path.c_str(), 0640), 0);
        EXPECT_EQ(WhyNotLoaded().find(path + " is open to others (mode 0640)"), 0u);
        ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    }
    EXPECT_EQ(WhyNotLoaded(), "loaded");
}

TEST_F(KeyStoreTest, DoesNotReplaceASymbolicLink)
{
    files.Create();
    std::filesystem::rename(files.standby, files.standby + ".real");
    std::filesystem::create_symlink(files.standby + ".real", files.standby);
    EXPECT_EQ(WhyNotLoaded(), files.standby + " is a symbolic link; a key file must be a regular file");
    EXPECT_TRUE(std::filesystem::is_symlink(files.standby));
}

TEST_F(KeyStoreTest, LetsTheNewerFileWinInBothDirections)
{
    const KeyRing older = files.Create();
    const KeyRing newer = older.WithNewMasterKey(2000);
    for (const auto &[newPath, oldPath] :
         {std::pair(files.primary, files.standby), std::pair(files.standby, files.primary)}) {
        WriteRing(newPath, newer);
        WriteRing(oldPath, older);
        const std::string newBytes = BytesOf(newPath);
        const KeyStore::Loaded loaded = files.Load();
        EXPECT_EQ(loaded.warnings, std::vector<std::string>{oldPath + " is older than " + newPath +
                                                            "; it was repaired from " + newPath});
        EXPECT_EQ(loaded.ring->GetHead().generation, 2u);
        ExpectBoth(newBytes);
    }
}

TEST_F(KeyStoreTest, TouchesNeitherOfTwoFilesOfDifferentOrigin)
{
    files.Create();
    const std::string bytes = BytesOf(files.primary);
    WriteRing(files.standby, KeyRing::Create(kDomain, 3000).WithNewMasterKey(4000));
    const std::string otherBytes = BytesOf(files.standby);
    EXPECT_NE(WhyNotLoaded().find(" each hold keys that the other does not. Move the one aside that does not belong "
                                  "here"),
              std::string::npos);
    EXPECT_EQ(BytesOf(files.primary), bytes);
    EXPECT_EQ(BytesOf(files.standby), otherBytes);
}

TEST_F(KeyStoreTest, TouchesNeitherWhenTheNewerLacksAKeyOfTheOlder)
{
    const KeyRing ring = files.Create();
    WriteRing(files.primary, ring.WithNewMasterKey(2000).WithNewMasterKey(2000));
    WriteRing(files.standby, ring.WithNewMasterKey(3000));
    EXPECT_NE(WhyNotLoaded().find(" each hold keys that the other does not"), std::string::npos);
}

TEST_F(KeyStoreTest, WritesTheStandbyFileFirst)
{
    const KeyRing ring = files.Create();
    const std::string before = BytesOf(files.primary);
    std::filesystem::create_directory(files.standby + ".new");
    EXPECT_THROW((void)files.store.Save(files.store.Lock(kNoPatience), ring.WithNewMasterKey(2000)), KeyError);
    ExpectBoth(before);
}

TEST_F(KeyStoreTest, HasSavedWhenOnlyThePrimaryFileFails)
{
    const KeyRing ring = files.Create();
    std::filesystem::create_directory(files.primary + ".new");
    EXPECT_EQ(files.store.Save(files.store.Lock(kNoPatience), ring.WithNewMasterKey(2000)),
              std::vector<std::string>{files.primary + " cannot be written: File exists; the new keys are in " +
                                       files.standby + " alone"});
    std::filesystem::remove(files.primary + ".new");
    EXPECT_EQ(files.Load().ring->GetHead().generation, 2u);
    EXPECT_EQ(BytesOf(files.primary), BytesOf(files.standby));
}

TEST_F(KeyStoreTest, RefusesOneFileForBoth)
{
    EXPECT_THROW(KeyStore(files.primary, files.primary), KeyError);
}

TEST_F(KeyStoreTest, LetsOneAtATimeChangeTheFiles)
{
    {
        const KeyStoreLock lock = files.store.Lock(kNoPatience);
        try {
            const KeyStoreLock second = files.store.Lock(kNoPatience);
            FAIL();
        } catch (const KeyError &error) {
            EXPECT_EQ(error.what(),
                      "another process is changing the key files in " + files.directory.Path());
        }
    }
    EXPECT_NO_THROW(files.store.Lock(kNoPatience));
}

TEST_F(KeyStoreTest, WaitsForAnotherProcessToFinish)
{
    const BusyLock busy(3);
    EXPECT_NO_THROW(files.store.Lock(std::chrono::minutes(1)));
    EXPECT_EQ(busy.CallsLeft(), 0);
}

TEST_F(KeyStoreTest, DoesNotWaitLongerForTheLockThanItWasTold)
{
    const BusyLock busy(100);
    EXPECT_THROW(files.store.Lock(std::chrono::milliseconds(40)), KeyError);
    EXPECT_EQ(busy.CallsLeft(), 97);  // at once, and after each of two pauses of 20 ms
}

TEST_F(KeyStoreTest, CannotLockAMissingDirectory)
{
    std::filesystem::remove_all(files.directory.Path());
    EXPECT_EQ(WhyNotLoaded().find("the directory " + files.directory.Path() + " of the key files is missing"), 0u);
}

TEST_F(KeyStoreTest, KnowsWhatNewKeysWouldLose)
{
    EXPECT_EQ(files.store.WhatNewKeysWouldLose(kDomain), "");
    files.Create();
    EXPECT_EQ(files.store.WhatNewKeysWouldLose(kDomain), files.primary + " holds valid keys");
    WriteBytes(files.primary, "rubbish");
    EXPECT_EQ(files.store.WhatNewKeysWouldLose(kDomain), files.standby + " holds valid keys");
    ASSERT_EQ(chmod(files.standby.c_str(), 0644), 0);
    EXPECT_EQ(files.store.WhatNewKeysWouldLose(kDomain).find(files.standby + " is open to others"), 0u);
    WriteBytes(files.standby, "rubbish");
    EXPECT_EQ(files.store.WhatNewKeysWouldLose(kDomain), "");
}

}  // namespace zef
