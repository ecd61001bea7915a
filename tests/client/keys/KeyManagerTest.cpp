#include "keys/KeyManager.h"

#include "FailingSystem.h"
#include "FakeKeyClock.h"
#include "RecordedLog.h"
#include "TestFiles.h"
#include "keys/KeyFormat.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include <sys/stat.h>

namespace zef {

namespace {

using std::chrono::hours;
using Lines = std::vector<std::string>;

constexpr uint32_t kDomain = TestFiles::kDomain;
constexpr hours kDay(24);

// A day after the keys in `files` were made; nothing is loaded yet.
class KeyManagerTest : public testing::Test {
protected:
    KeyManagerTest() { RecordedLog::Clear(); }

    int32_t Init() { return manager.Init(kDomain, files.primary, files.standby); }

    // Lets that much time pass, and the check that falls due in it.
    void Pass(hours duration)
    {
        clock.Advance(duration);
        AwaitCheck();
    }

    void AwaitCheck() { ASSERT_TRUE(clock.AwaitWait(++waits)); }

    KeyRing RingOnDisk() const { return KeyFile(files.primary).Read(kDomain).ring.value(); }

    TestFiles files;
    FakeKeyClock clock{TestFiles::kCreated + std::chrono::seconds(kDay).count()};
    int waits = 0;
    KeyRing ring = files.Create();
    std::string text = ring.Seal(Secret("password"));
    KeyManager manager{clock};
};

}  // namespace

TEST_F(KeyManagerTest, DecryptsAfterInit)
{
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
    EXPECT_EQ(RecordedLog::Lines("info"), Lines{"info keys: keys of domain 2 loaded, 1 of them for passwords"});
    EXPECT_TRUE(RecordedLog::Lines("warn").empty());
}

TEST_F(KeyManagerTest, SaysWhyKeysCannotBeLoaded)
{
    WriteBytes(files.primary, "");
    std::filesystem::remove(files.standby);
    EXPECT_EQ(Init(), -1);
    EXPECT_EQ(RecordedLog::Lines("error"),
              Lines{"error keys: the keys cannot be loaded: there are no keys: " + files.primary +
                    " is damaged: it is empty, and " + files.standby +
                    " is missing. Restore one of the two files from a backup; or create new keys with 'zef_client keys "
                    "init' and encrypt all passwords anew"});
    EXPECT_EQ(manager.Decrypt(kDomain, text), "");
}

TEST_F(KeyManagerTest, WarnsOfARepair)
{
    std::filesystem::remove(files.standby);
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(RecordedLog::Lines("warn"),
              Lines{"warn keys: " + files.standby + " is missing; it was repaired from " + files.primary});
    EXPECT_EQ(BytesOf(files.standby), BytesOf(files.primary));
}

TEST_F(KeyManagerTest, FailsForOneFileAsBoth)
{
    EXPECT_EQ(manager.Init(kDomain, files.primary, files.primary), -1);
}

TEST_F(KeyManagerTest, FailsForAnotherDomain)
{
    EXPECT_EQ(manager.Init(3, files.primary, files.standby), -1);
    EXPECT_TRUE(RecordedLog::Holds(files.primary + " holds keys of domain 2, not 3"));
}

TEST_F(KeyManagerTest, WorksWithoutLockedMemoryAndSaysSo)
{
    const NoLockedMemory noLockedMemory;
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
    EXPECT_EQ(RecordedLog::Lines("warn"),
              Lines{"warn keys: the keys cannot be locked in memory and may be swapped to disk: raise the limit for "
                    "locked memory (RLIMIT_MEMLOCK)"});
}

TEST_F(KeyManagerTest, DecryptsNothingWithoutInit)
{
    EXPECT_EQ(manager.Decrypt(kDomain, text), "");
    EXPECT_EQ(RecordedLog::Lines("error"), Lines{"error keys: a password cannot be decrypted: no keys are loaded"});
}

TEST_F(KeyManagerTest, SaysWhyAPasswordDoesNotDecrypt)
{
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(manager.Decrypt(kDomain, "password"), "");
    EXPECT_EQ(manager.Decrypt(kDomain, KeyRing::Create(kDomain, 1).Seal(Secret("password"))), "");
    EXPECT_EQ(manager.Decrypt(3, text), "");
    EXPECT_EQ(RecordedLog::Lines("error"),
              (Lines{"error keys: a password cannot be decrypted: it is not a sealed password: it does not begin with "
                     "\"zef1:\"",
                     "error keys: a password cannot be decrypted: it was sealed with a key that the key files do not "
                     "hold",
                     "error keys: a password cannot be decrypted: domain 3 was asked for, the keys are those of domain "
                     "2"}));
}

TEST_F(KeyManagerTest, SaysOnceWhyAPasswordDoesNotDecryptThatIsAskedForAgainAndAgain)
{
    ASSERT_EQ(Init(), 0);
    for (int login = 0; login < 100; ++login) {
        EXPECT_EQ(manager.Decrypt(kDomain, "password"), "");
    }
    EXPECT_EQ(RecordedLog::Lines("error").size(), 1U);
    EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
    EXPECT_EQ(manager.Decrypt(kDomain, "password"), "");
    EXPECT_EQ(RecordedLog::Lines("error").size(), 2U) << "a new failure after a success";
}

TEST_F(KeyManagerTest, PutsNeitherPlainNorCipherTextIntoTheLog)
{
    ASSERT_EQ(Init(), 0);
    manager.Decrypt(kDomain, text);
    manager.Decrypt(kDomain, text + "A");
    manager.Decrypt(kDomain, "zef1:plain-secret");
    EXPECT_FALSE(RecordedLog::Lines("error").empty());
    EXPECT_FALSE(RecordedLog::Holds(text.substr(5, 16)));
    EXPECT_FALSE(RecordedLog::Holds(text.substr(22)));
    EXPECT_FALSE(RecordedLog::Holds("plain-secret"));
}

TEST_F(KeyManagerTest, FinishForgetsTheKeys)
{
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(manager.Finish(), 0);
    EXPECT_EQ(manager.Decrypt(kDomain, text), "");
}

TEST_F(KeyManagerTest, FinishIsHarmlessWithoutInit)
{
    EXPECT_EQ(manager.Finish(), 0);
    EXPECT_EQ(manager.Finish(), 0);
    EXPECT_TRUE(RecordedLog::Lines("error").empty());
}

TEST_F(KeyManagerTest, StartsAgainAfterFinish)
{
    ASSERT_EQ(Init(), 0);
    manager.Finish();
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
}

TEST_F(KeyManagerTest, AnInitThatFailsLeavesNoKeysOfAnEarlierOne)
{
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(manager.Init(kDomain, files.directory.Path() + "/a", files.directory.Path() + "/b"), -1);
    EXPECT_EQ(manager.Decrypt(kDomain, text), "");
    EXPECT_EQ(manager.UpdateRootKey(1, 1), -1);
}

TEST_F(KeyManagerTest, RenewsNothingWithoutInit)
{
    EXPECT_EQ(manager.UpdateRootKey(1, 1), -1);
    EXPECT_EQ(manager.UpdateMasterKey(kDomain, 1, 1), -1);
    EXPECT_EQ(RecordedLog::Lines("error"), (Lines{"error keys: the root key cannot be renewed: no keys are loaded",
                                                  "error keys: the master key cannot be renewed: no keys are loaded"}));
}

TEST_F(KeyManagerTest, RenewsNoMasterKeyOfAnotherDomain)
{
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(manager.UpdateMasterKey(3, 1, 1), -1);
    EXPECT_EQ(RecordedLog::Lines("error"),
              Lines{"error keys: the master keys of domain 3 cannot be renewed: the keys are those of domain 2"});
}

TEST_F(KeyManagerTest, RenewsARootKeyThatIsTooOldAtOnce)
{
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateRootKey(1, 6), 0);
    AwaitCheck();
    const KeyRing renewed = RingOnDisk();
    EXPECT_EQ(renewed.GetHead().generation, 2u);
    EXPECT_EQ(renewed.GetHead().rootCreated, clock.NowSeconds());
    EXPECT_EQ(renewed.GetMasterKeys().size(), 1u);
    EXPECT_EQ(BytesOf(files.primary), BytesOf(files.standby));
    EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
    EXPECT_EQ(RecordedLog::Lines("info").back(), "info keys: the root key was renewed");
}

TEST_F(KeyManagerTest, AddsAMasterKeyWhenTheNewestIsTooOld)
{
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateMasterKey(kDomain, 1, 6), 0);
    AwaitCheck();
    const KeyRing renewed = RingOnDisk();
    EXPECT_EQ(renewed.GetHead().generation, 2u);
    EXPECT_EQ(renewed.GetHead().rootCreated, TestFiles::kCreated);
    ASSERT_EQ(renewed.GetMasterKeys().size(), 2u);
    EXPECT_EQ(renewed.GetMasterKeys()[1].created, clock.NowSeconds());
    EXPECT_EQ(BytesOf(files.primary), BytesOf(files.standby));
    EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
    EXPECT_EQ(manager.Decrypt(kDomain, renewed.Seal(Secret("newer"))), "newer");
    EXPECT_EQ(RecordedLog::Lines("info").back(), "info keys: a new master key was added, 2 are held");
}

TEST_F(KeyManagerTest, RenewsNoKeyBeforeItsAge)
{
    const std::string before = BytesOf(files.primary);
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateRootKey(2, 6), 0);
    AwaitCheck();
    ASSERT_EQ(manager.UpdateMasterKey(kDomain, 2, 6), 0);
    AwaitCheck();
    for (int i = 0; i < 3; ++i) {
        Pass(hours(6));
    }
    EXPECT_EQ(BytesOf(files.primary), before);
    Pass(hours(6));
    EXPECT_EQ(RingOnDisk().GetHead().generation, 3u);
}

TEST_F(KeyManagerTest, RenewsAgainEachTimeTheAgeHasPassed)
{
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateMasterKey(kDomain, 1, 24), 0);
    AwaitCheck();
    Pass(kDay);
    Pass(kDay);
    EXPECT_EQ(RingOnDisk().GetMasterKeys().size(), 4u);
}

TEST_F(KeyManagerTest, RenewsNothingForZeroDaysOrHours)
{
    const std::string before = BytesOf(files.primary);
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(manager.UpdateRootKey(0, 6), 0);
    EXPECT_EQ(manager.UpdateMasterKey(kDomain, 1, 0), 0);
    manager.Finish();
    EXPECT_EQ(BytesOf(files.primary), before);
}

TEST_F(KeyManagerTest, RenewsNothingWhileTheKeyIsFromTheFuture)
{
    const std::string before = BytesOf(files.primary);
    clock.SetWallClock(TestFiles::kCreated - 1);
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateRootKey(1, 1), 0);
    AwaitCheck();
    EXPECT_EQ(BytesOf(files.primary), before);
}

TEST_F(KeyManagerTest, OpensOldTextsAfterManyRenewalsAndARestart)
{
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateRootKey(3, 24), 0);
    AwaitCheck();
    ASSERT_EQ(manager.UpdateMasterKey(kDomain, 1, 24), 0);
    AwaitCheck();
    std::vector<std::string> texts;
    for (int i = 0; i < 40; ++i) {
        texts.push_back(RingOnDisk().Seal(Secret("password " + std::to_string(i))));
        Pass(kDay);
    }
    EXPECT_EQ(RingOnDisk().GetMasterKeys().size(), 42u);
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(manager.Decrypt(kDomain, texts[static_cast<size_t>(i)]), "password " + std::to_string(i));
    }
}

TEST_F(KeyManagerTest, KeepsTheOldKeysAndTriesAgainWhenTheyCannotBeWritten)
{
    std::filesystem::create_directory(files.standby + ".new");
    const std::string before = BytesOf(files.primary);
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateMasterKey(kDomain, 1, 6), 0);
    AwaitCheck();
    EXPECT_EQ(BytesOf(files.primary), before);
    EXPECT_EQ(BytesOf(files.standby), before);
    EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
    EXPECT_EQ(RecordedLog::Lines("error"),
              Lines{"error keys: the keys cannot be checked or renewed, the present ones stay in force: " +
                    files.standby + " cannot be written: File exists"});
    std::filesystem::remove(files.standby + ".new");
    Pass(hours(6));
    EXPECT_EQ(RingOnDisk().GetMasterKeys().size(), 2u);
}

TEST_F(KeyManagerTest, MakesUpLaterForASecondFileThatCouldNotBeWritten)
{
    std::filesystem::create_directory(files.primary + ".new");
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateMasterKey(kDomain, 1, 6), 0);
    AwaitCheck();
    const KeyRing inStandby = KeyFile(files.standby).Read(kDomain).ring.value();
    EXPECT_EQ(inStandby.GetMasterKeys().size(), 2u);
    EXPECT_EQ(RingOnDisk().GetMasterKeys().size(), 1u);
    EXPECT_EQ(manager.Decrypt(kDomain, inStandby.Seal(Secret("newer"))), "newer");
    std::filesystem::remove(files.primary + ".new");
    Pass(hours(6));
    EXPECT_EQ(BytesOf(files.primary), BytesOf(files.standby));
    EXPECT_EQ(RingOnDisk().GetMasterKeys().size(), 2u);
}

TEST_F(KeyManagerTest, RepairsAFileThatIsDamagedWhileItRuns)
{
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateRootKey(100, 6), 0);
    AwaitCheck();
    WriteBytes(files.primary, "rubbish");
    Pass(hours(6));
    EXPECT_EQ(BytesOf(files.primary), BytesOf(files.standby));
    EXPECT_EQ(RecordedLog::Lines("warn").size(), 1u);
}

TEST_F(KeyManagerTest, WritesTheKeysAgainWhenBothFilesAreLost)
{
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateRootKey(100, 6), 0);
    AwaitCheck();
    std::filesystem::remove(files.primary);
    std::filesystem::remove(files.standby);
    Pass(hours(6));
    EXPECT_EQ(RingOnDisk().Open(kDomain, text), "password");
    EXPECT_EQ(BytesOf(files.primary), BytesOf(files.standby));
    EXPECT_TRUE(RecordedLog::Holds("both files were written again from the keys in memory"));
}

TEST_F(KeyManagerTest, WritesTheKeysAgainWhenTheFilesWereSetBack)
{
    const std::string oldBytes = BytesOf(files.primary);
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateMasterKey(kDomain, 1, 6), 0);
    AwaitCheck();
    WriteBytes(files.primary, oldBytes);
    WriteBytes(files.standby, oldBytes);
    Pass(hours(6));
    EXPECT_EQ(RingOnDisk().GetMasterKeys().size(), 2u);
    EXPECT_EQ(RecordedLog::Lines("warn"),
              Lines{"warn keys: the key files are older than the keys in memory, which are written to them again"});
}

TEST_F(KeyManagerTest, TakesOverWhatAnotherProcessHasRenewed)
{
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateRootKey(100, 6), 0);
    AwaitCheck();
    const KeyRing next = ring.WithNewMasterKey(clock.NowSeconds());
    files.Save(next);
    Pass(hours(6));
    EXPECT_EQ(manager.Decrypt(kDomain, next.Seal(Secret("newer"))), "newer");
    EXPECT_EQ(RingOnDisk().GetHead().generation, 2u);
}

TEST_F(KeyManagerTest, LeavesFilesAloneThatWereCreatedAnew)
{
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateRootKey(1, 6), 0);
    AwaitCheck();
    files.Save(KeyRing::Create(kDomain, TestFiles::kCreated));
    const std::string newBytes = BytesOf(files.primary);
    Pass(hours(6));
    EXPECT_EQ(BytesOf(files.primary), newBytes);
    EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
    EXPECT_TRUE(RecordedLog::Holds("the key files hold other keys than those in use; restart to use them"));
}

TEST_F(KeyManagerTest, RenewsNothingWhenTheFilesHaveBecomeOpenToOthers)
{
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(chmod(files.primary.c_str(), 0644), 0);
    ASSERT_EQ(manager.UpdateRootKey(1, 6), 0);
    AwaitCheck();
    EXPECT_TRUE(RecordedLog::Holds(files.primary + " is open to others (mode 0644)"));
    EXPECT_EQ(KeyFile(files.standby).Read(kDomain).ring->GetHead().generation, 1u);
}

TEST_F(KeyManagerTest, FinishEndsAWaitForTheNextCheck)
{
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(manager.UpdateRootKey(100, 1000), 0);
    AwaitCheck();
    EXPECT_EQ(manager.Finish(), 0);
}

TEST_F(KeyManagerTest, LooksForAKeyThatAnotherProcessHasAdded)
{
    ASSERT_EQ(Init(), 0);
    const KeyRing next = ring.WithNewMasterKey(clock.NowSeconds());
    files.Save(next);
    EXPECT_EQ(manager.Decrypt(kDomain, next.Seal(Secret("newer"))), "newer");
    EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
    EXPECT_TRUE(RecordedLog::Lines("error").empty());
    EXPECT_EQ(RecordedLog::Lines("info").back(),
              "info keys: newer keys were taken over from the key files, 2 of them for passwords");
}

TEST_F(KeyManagerTest, LooksForAKeyInTheFileThatIsGood)
{
    ASSERT_EQ(Init(), 0);
    const KeyRing next = ring.WithNewMasterKey(clock.NowSeconds());
    files.Save(next);
    WriteBytes(files.primary, "rubbish");
    EXPECT_EQ(manager.Decrypt(kDomain, next.Seal(Secret("newer"))), "newer");
    EXPECT_EQ(BytesOf(files.primary), "rubbish");
}

TEST_F(KeyManagerTest, LooksAtUnchangedFilesNoMoreThanOnceInAWhile)
{
    ASSERT_EQ(Init(), 0);
    const std::string foreign = KeyRing::Create(kDomain, 1).Seal(Secret("password"));
    EXPECT_EQ(manager.Decrypt(kDomain, foreign), "");
    const int64_t looked = clock.NowSeconds();
    const FailingSystem nextLook(0, FailingSystem::Way::Error);
    EXPECT_EQ(manager.Decrypt(kDomain, foreign), "");
    clock.SetWallClock(looked + KeyManager::kLookPauseSeconds - 1);
    EXPECT_EQ(manager.Decrypt(kDomain, foreign), "");
    EXPECT_FALSE(nextLook.HasFailed()) << "a second look within the pause";
    clock.SetWallClock(looked + KeyManager::kLookPauseSeconds);
    EXPECT_EQ(manager.Decrypt(kDomain, foreign), "");
    EXPECT_TRUE(nextLook.HasFailed()) << "no look after the pause";
    EXPECT_EQ(RecordedLog::Lines("error").size(), 1u) << "four failures of one cause";
}

TEST_F(KeyManagerTest, LooksAtOnceAtFilesThatHaveChanged)
{
    ASSERT_EQ(Init(), 0);
    const KeyRing next = ring.WithNewMasterKey(clock.NowSeconds());
    files.Save(next);
    EXPECT_EQ(manager.Decrypt(kDomain, next.Seal(Secret("newer"))), "newer");
    const KeyRing newest = next.WithNewMasterKey(clock.NowSeconds());
    files.Save(newest);
    EXPECT_EQ(manager.Decrypt(kDomain, newest.Seal(Secret("newest"))), "newest");
    EXPECT_TRUE(RecordedLog::Lines("error").empty());
}

TEST_F(KeyManagerTest, LooksAtOnceWhenOneFileHasChanged)
{
    for (const std::string &changed : {files.primary, files.standby}) {
        ASSERT_EQ(Init(), 0);
        EXPECT_EQ(manager.Decrypt(kDomain, KeyRing::Create(kDomain, 1).Seal(Secret("password"))), "");
        const KeyRing next = RingOnDisk().WithNewMasterKey(clock.NowSeconds());
        KeyFile(changed).Write(KeyFormat::Serialise(next));
        EXPECT_EQ(manager.Decrypt(kDomain, next.Seal(Secret("newer"))), "newer") << changed;
    }
}

TEST_F(KeyManagerTest, LooksForAKeyWhenTheClockWasSetBack)
{
    ASSERT_EQ(Init(), 0);
    const std::string foreign = KeyRing::Create(kDomain, 1).Seal(Secret("password"));
    EXPECT_EQ(manager.Decrypt(kDomain, foreign), "");
    clock.SetWallClock(clock.NowSeconds() - 1000);
    const FailingSystem nextLook(0, FailingSystem::Way::Error);
    EXPECT_EQ(manager.Decrypt(kDomain, foreign), "");
    EXPECT_TRUE(nextLook.HasFailed());
}

TEST_F(KeyManagerTest, TakesNoKeysOverThatWouldLoseOnesHeld)
{
    ASSERT_EQ(Init(), 0);
    const KeyRing other = KeyRing::Create(kDomain, clock.NowSeconds());
    files.Save(other);
    EXPECT_EQ(manager.Decrypt(kDomain, other.Seal(Secret("other"))), "");
    EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
    EXPECT_EQ(RecordedLog::Lines("warn"),
              Lines{"warn keys: the key files hold other keys than those in use; restart to use them"});
}

TEST_F(KeyManagerTest, KeepsItsKeysWhenTheFilesCannotBeReadAgain)
{
    ASSERT_EQ(Init(), 0);
    std::filesystem::remove(files.primary);
    std::filesystem::remove(files.standby);
    EXPECT_EQ(manager.Decrypt(kDomain, KeyRing::Create(kDomain, 1).Seal(Secret("password"))), "");
    EXPECT_EQ(manager.Decrypt(kDomain, text), "password");
    const Lines warnings = RecordedLog::Lines("warn");
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(warnings[0].find("warn keys: the key files cannot be read again: there are no keys: "), 0u);
    EXPECT_FALSE(std::filesystem::exists(files.primary));
}

TEST_F(KeyManagerTest, LooksForNoKeyWhenTheTextIsDamagedOrOfAnotherDomain)
{
    ASSERT_EQ(Init(), 0);
    const KeyRing next = ring.WithNewMasterKey(clock.NowSeconds());
    files.Save(next);
    EXPECT_EQ(manager.Decrypt(kDomain, "zef1:"), "");
    EXPECT_EQ(manager.Decrypt(kDomain, text + "A"), "");
    EXPECT_EQ(manager.Decrypt(3, next.Seal(Secret("newer"))), "");
    EXPECT_EQ(RecordedLog::Lines("info").size(), 1u);
    EXPECT_EQ(manager.Decrypt(kDomain, next.Seal(Secret("newer"))), "newer");
}

TEST_F(KeyManagerTest, AllThreadsThatMissAKeyAtOnceGetIt)
{
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(Init(), 0);
        clock.SetWallClock(clock.NowSeconds() + KeyManager::kLookPauseSeconds);
        const KeyRing next = RingOnDisk().WithNewMasterKey(clock.NowSeconds());
        files.Save(next);
        const std::string newer = next.Seal(Secret("newer"));
        std::atomic<int> opened{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] { opened += manager.Decrypt(kDomain, newer) == "newer" ? 1 : 0; });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        EXPECT_EQ(opened, 4);
    }
}

TEST_F(KeyManagerTest, ForgetsTheKeysForGoodWhileAnotherThreadLooksForOne)
{
    const KeyRing next = ring.WithNewMasterKey(clock.NowSeconds());
    const std::string newer = next.Seal(Secret("newer"));
    for (int round = 0; round < 50; ++round) {
        ASSERT_EQ(Init(), 0);
        files.Save(next);
        clock.SetWallClock(clock.NowSeconds() + KeyManager::kLookPauseSeconds);
        std::thread looker([&] { (void)manager.Decrypt(kDomain, newer); });
        manager.Finish();
        looker.join();
        EXPECT_EQ(manager.Decrypt(kDomain, text), "");
        std::filesystem::remove(files.standby);
        files.Save(ring);
    }
}

TEST_F(KeyManagerTest, DecryptsOnManyThreadsWhileKeysAreRenewedAndForgotten)
{
    ASSERT_EQ(Init(), 0);
    std::atomic<bool> stopped{false};
    std::atomic<int> opened{0};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            while (!stopped) {
                const std::string plain = manager.Decrypt(kDomain, text);
                opened += plain == "password" ? 1 : 0;
                wrong += plain != "password" && !plain.empty() ? 1 : 0;
            }
        });
    }
    EXPECT_EQ(manager.UpdateRootKey(1, 24), 0);
    AwaitCheck();
    EXPECT_EQ(manager.UpdateMasterKey(kDomain, 1, 24), 0);
    AwaitCheck();
    for (int i = 0; i < 20; ++i) {
        Pass(kDay);
    }
    while (opened < 100) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(RecordedLog::Lines("error").empty());  // up to here every call has given the password
    EXPECT_EQ(RingOnDisk().GetMasterKeys().size(), 22u);
    manager.Finish();
    stopped = true;
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

}  // namespace zef
