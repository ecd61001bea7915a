// A save that is cut off at any of its system calls: by the end of the process, or by a disk that fails from then on.
#include "keys/KeyStore.h"

#include "FailingSystem.h"
#include "TestFiles.h"
#include "keys/KeyError.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace zef {

namespace {

constexpr uint32_t kDomain = TestFiles::kDomain;
constexpr std::chrono::milliseconds kNoPatience(0);
constexpr int kMoreCallsThanASaveMakes = 100;

// The status a child ends with that saves the ring and dies before its call with that number.
int SaveInAChildThatDies(const KeyStore &store, const KeyRing &ring, int callNumber)
{
    const pid_t child = fork();
    if (child == 0) {
        const FailingSystem failure(callNumber, FailingSystem::Way::Death);
        (void)store.Save(store.Lock(kNoPatience), ring);
        _exit(0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    return WEXITSTATUS(status);
}

}  // namespace

TEST(KeyStoreCrashTest, HoldsTheOldKeysOrTheNewAfterADeathAtAnyCall)
{
    const TestFiles files;
    KeyRing ring = files.Create();
    const std::string firstText = ring.Seal(Secret("first"));
    int deaths = 0;
    for (int call = 0; call < kMoreCallsThanASaveMakes; ++call) {
        const KeyRing next = call % 2 == 0 ? ring.WithNewMasterKey(2000) : ring.WithNewRootKey(2000);
        const std::string latestText = ring.Seal(Secret("latest"));
        const int status = SaveInAChildThatDies(files.store, next, call);
        const KeyStore::Loaded loaded = files.Load();
        EXPECT_GE(loaded.ring->GetHead().generation, ring.GetHead().generation) << call;
        EXPECT_EQ(loaded.ring->Open(kDomain, firstText), "first") << call;
        EXPECT_EQ(loaded.ring->Open(kDomain, latestText), "latest") << call;
        EXPECT_TRUE(files.Load().warnings.empty()) << call;
        ring = KeyFile(files.primary).Read(kDomain).ring.value();
        if (status == 0) {
            EXPECT_EQ(ring.GetHead().generation, next.GetHead().generation);
            break;
        }
        ASSERT_EQ(status, FailingSystem::kDeathStatus);
        ++deaths;
    }
    EXPECT_EQ(deaths, 14);  // the calls of a save: seven for each file
}

TEST(KeyStoreCrashTest, HoldsTheOldKeysOrTheNewWhenTheDiskFailsFromAnyCallOn)
{
    const TestFiles files;
    KeyRing ring = files.Create();
    bool failed = true;
    for (int call = 0; failed && call < kMoreCallsThanASaveMakes; ++call) {
        const KeyRing next = ring.WithNewMasterKey(2000);
        const std::string oldText = ring.Seal(Secret("old"));
        const std::string newText = next.Seal(Secret("new"));
        bool saved = true;
        {
            const FailingSystem failure(call, FailingSystem::Way::Error);
            try {
                (void)files.store.Save(files.store.Lock(kNoPatience), next);
            } catch (const KeyError &) {
                saved = false;
            }
            failed = failure.HasFailed();
        }
        const KeyStore::Loaded loaded = files.Load();
        EXPECT_EQ(loaded.ring->Open(kDomain, oldText), "old") << call;
        if (saved) {
            EXPECT_EQ(loaded.ring->Open(kDomain, newText), "new") << call;
        }
        ring = KeyFile(files.primary).Read(kDomain).ring.value();
    }
    EXPECT_FALSE(failed);
}

// What a crash between the two files leaves, whichever was written first.
TEST(KeyStoreCrashTest, KeepsAMasterKeyThatOnlyOneFileHas)
{
    const TestFiles files;
    const KeyRing ring = files.Create();
    const std::string oldBytes = BytesOf(files.primary);
    const KeyRing next = ring.WithNewMasterKey(2000);
    const std::string text = next.Seal(Secret("used at once"));
    files.Save(next);
    for (const std::string &path : {files.primary, files.standby}) {
        WriteBytes(path, oldBytes);
        EXPECT_EQ(files.Load().ring->Open(kDomain, text), "used at once") << path;
        EXPECT_EQ(BytesOf(files.primary), BytesOf(files.standby));
    }
}

}  // namespace zef
