#include "keys/KeyFile.h"

#include "FailingSystem.h"
#include "TestFiles.h"
#include "keys/KeyError.h"
#include "keys/KeyFormat.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

namespace zef {

namespace {

using State = KeyFile::State;

constexpr uint32_t kDomain = 2;
constexpr uid_t kOtherUser = 12345;

// A directory with one valid key file.
class KeyFileTest : public testing::Test {
protected:
    KeyFileTest() { file.Write(bytes); }

    std::string WhyRefused(const KeyFile &judged) const
    {
        const KeyFile::Contents contents = judged.Read(kDomain);
        EXPECT_EQ(contents.state, State::Refused);
        EXPECT_FALSE(contents.ring.has_value());
        return contents.reason;
    }

    std::string WhyDirectoryRefused() const
    {
        try {
            (void)file.Read(kDomain);
        } catch (const KeyError &error) {
            return error.what();
        }
        return "accepted";
    }

    mode_t Mode() const
    {
        struct stat status = {};
        return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
    }

    TemporaryDirectory directory;
    std::string path = directory.Path() + "/keys.dat";
    KeyFile file{path};
    SecretBuffer bytes = KeyFormat::Serialise(KeyRing::Create(kDomain, 1000));
};

}  // namespace

TEST_F(KeyFileTest, ReadsWhatItHasWritten)
{
    const KeyFile::Contents contents = file.Read(kDomain);
    EXPECT_EQ(contents.state, State::Valid);
    EXPECT_EQ(contents.reason, "");
    EXPECT_EQ(BytesOf(contents.bytes), BytesOf(bytes));
    ASSERT_TRUE(contents.ring.has_value());
    EXPECT_EQ(contents.ring->GetHead().rootCreated, 1000);
}

TEST_F(KeyFileTest, WritesForItsOwnerAloneWhateverTheUmask)
{
    for (const mode_t mask : {0u, 077u, 0777u}) {
        const mode_t before = umask(mask);
        file.Write(bytes);
        umask(before);
        EXPECT_EQ(Mode(), 0600u) << mask;
    }
}

TEST_F(KeyFileTest, LeavesNothingButTheFile)
{
    file.Write(bytes);
    const auto entries = std::filesystem::directory_iterator(directory.Path());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
}

TEST_F(KeyFileTest, WritesOverALeftoverOfACrash)
{
    WriteBytes(path + ".new", "half a f");
    file.Write(bytes);
    EXPECT_EQ(file.Read(kDomain).state, State::Valid);
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}

TEST_F(KeyFileTest, RemovesALeftoverOfACrash)
{
    WriteBytes(path + ".new", "half a f");
    file.RemoveLeftover();
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
    EXPECT_EQ(file.Read(kDomain).state, State::Valid);
}

TEST_F(KeyFileTest, DoesNotWriteThroughALinkUnderTheTemporaryName)
{
    const std::string victim = directory.Path() + "/victim";
    WriteBytes(victim, "untouched");
    std::filesystem::create_symlink(victim, path + ".new");
    file.Write(bytes);
    EXPECT_EQ(BytesOf(victim), "untouched");
    EXPECT_EQ(file.Read(kDomain).state, State::Valid);
}

TEST_F(KeyFileTest, KeepsTheOldFileWhenTheNewOneCannotBeWritten)
{
    // unlinkat, openat, fchmod, write, fsync and renameat
    for (int call = 1; call < 6; ++call) {
        const std::string before = BytesOf(path);
        {
            const FailingSystem failure(call, FailingSystem::Way::Error);
            EXPECT_THROW(file.Write(KeyFormat::Serialise(KeyRing::Create(kDomain, 2000))), KeyError) << call;
            EXPECT_TRUE(failure.HasFailed());
        }
        EXPECT_EQ(BytesOf(path), before) << call;
        file.RemoveLeftover();
    }
}

TEST_F(KeyFileTest, NamesTheFileAndTheCauseWhenItCannotBeWritten)
{
    const FailingSystem failure(2, FailingSystem::Way::Error);
    try {
        file.Write(bytes);
        FAIL();
    } catch (const KeyError &error) {
        EXPECT_EQ(error.what(), path + " cannot be written: No space left on device");
    }
}

TEST_F(KeyFileTest, TellsAMissingFile)
{
    std::filesystem::remove(path);
    const KeyFile::Contents contents = file.Read(kDomain);
    EXPECT_EQ(contents.state, State::Absent);
    EXPECT_EQ(contents.reason, path + " is missing");
}

TEST_F(KeyFileTest, TellsADamagedFile)
{
    WriteBytes(path, "rubbish");
    const KeyFile::Contents contents = file.Read(kDomain);
    EXPECT_EQ(contents.state, State::Damaged);
    EXPECT_EQ(contents.reason, path + " is damaged: it is cut short");
}

TEST_F(KeyFileTest, TellsAnEmptyFile)
{
    WriteBytes(path, "");
    EXPECT_EQ(file.Read(kDomain).reason, path + " is damaged: it is empty");
}

TEST_F(KeyFileTest, DoesNotReadAHugeFile)
{
    WriteBytes(path, "ZEFKEYS");
    ASSERT_EQ(truncate(path.c_str(), off_t{1} << 40), 0);
    const KeyFile::Contents contents = file.Read(kDomain);
    EXPECT_EQ(contents.state, State::Damaged);
    EXPECT_EQ(contents.reason, path + " is damaged: it is too long for a key file");
}

TEST_F(KeyFileTest, RefusesAFileThatCannotBeOpened)
{
    const FailingSystem failure(0, FailingSystem::Way::Error);
    EXPECT_EQ(WhyRefused(file), path + " cannot be opened: No space left on device");
}

TEST_F(KeyFileTest, TakesAFileThatTheDiskDoesNotGiveBackForDamaged)
{
    const FailingSystem failure(1, FailingSystem::Way::Error);
    const KeyFile::Contents contents = file.Read(kDomain);
    EXPECT_EQ(contents.state, State::Damaged);
    EXPECT_EQ(contents.reason, path + " is damaged: it cannot be read: No space left on device");
}

TEST_F(KeyFileTest, RefusesEveryPermissionOfOthers)
{
    for (const mode_t mode : {0604u, 0602u, 0601u, 0640u, 0620u, 0610u, 0700u, 04600u, 0644u, 0666u, 0777u}) {
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        EXPECT_NE(WhyRefused(file).find(" is open to others (mode "), std::string::npos) << mode;
    }
}

TEST_F(KeyFileTest, SaysHowToMakeAnOpenFilePrivate)
{
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    EXPECT_EQ(WhyRefused(file), path + " is open to others (mode 0644): its keys may be known to them. Make it private "
                                       "with: chmod 600 " + path);
}

TEST_F(KeyFileTest, AcceptsAFileThatNobodyMayWrite)
{
    ASSERT_EQ(chmod(path.c_str(), 0400), 0);
    EXPECT_EQ(file.Read(kDomain).state, State::Valid);
}

TEST_F(KeyFileTest, RefusesASymbolicLink)
{
    std::filesystem::create_symlink(path, directory.Path() + "/link.dat");
    EXPECT_EQ(WhyRefused(KeyFile(directory.Path() + "/link.dat")),
              directory.Path() + "/link.dat is a symbolic link; a key file must be a regular file");
}

TEST_F(KeyFileTest, RefusesADirectoryInTheFilesPlace)
{
    std::filesystem::create_directory(directory.Path() + "/directory.dat");
    EXPECT_EQ(WhyRefused(KeyFile(directory.Path() + "/directory.dat")),
              directory.Path() + "/directory.dat is not a regular file");
}

TEST_F(KeyFileTest, RefusesAPipeWithoutWaitingForIt)
{
    const std::string pipePath = directory.Path() + "/pipe.dat";
    ASSERT_EQ(mkfifo(pipePath.c_str(), 0600), 0);
    EXPECT_EQ(WhyRefused(KeyFile(pipePath)), pipePath + " is not a regular file");
}

TEST_F(KeyFileTest, RefusesAnotherUsersFile)
{
    // Root can give the file away; anybody else has to be another user.
    const bool isRoot = getuid() == 0;
    const PretendedUser user(isRoot ? 0 : kOtherUser);
    const uid_t owner = isRoot ? kOtherUser : getuid();
    ASSERT_EQ(chown(path.c_str(), owner, static_cast<gid_t>(-1)), 0);
    EXPECT_EQ(WhyRefused(file), path + " belongs to the user with id " + std::to_string(owner) +
                                    ", not to the one who runs this program");
}

TEST_F(KeyFileTest, AcceptsRootsFileForAnyUser)
{
    if (getuid() != 0) {
        GTEST_SKIP() << "only root can make a file of root's";
    }
    const PretendedUser user(kOtherUser);
    EXPECT_EQ(file.Read(kDomain).state, State::Valid);
}

TEST_F(KeyFileTest, RootWorksForTheOwnerOfTheDirectory)
{
    if (getuid() != 0) {
        GTEST_SKIP() << "only root can give a directory away";
    }
    ASSERT_EQ(chown(directory.Path().c_str(), kOtherUser, static_cast<gid_t>(-1)), 0);
    file.Write(bytes);
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, kOtherUser) << "the service could not read it otherwise";
    EXPECT_EQ(file.Read(kDomain).state, State::Valid) << "and neither could root";
}

TEST_F(KeyFileTest, RootMakesADirectoryForTheOwnerOfTheOneAbove)
{
    if (getuid() != 0) {
        GTEST_SKIP() << "only root can give a directory away";
    }
    ASSERT_EQ(chown(directory.Path().c_str(), kOtherUser, static_cast<gid_t>(-1)), 0);
    KeyFile(directory.Path() + "/made/keys.dat").CreateDirectory();
    struct stat status = {};
    ASSERT_EQ(stat((directory.Path() + "/made").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, kOtherUser);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
}

TEST_F(KeyFileTest, RefusesTheKeysOfAnotherDomain)
{
    const KeyFile::Contents contents = file.Read(3);
    EXPECT_EQ(contents.state, State::Refused);
    EXPECT_EQ(contents.reason, path + " holds keys of domain 2, not 3");
    EXPECT_FALSE(contents.ring.has_value());
}

TEST_F(KeyFileTest, TellsAMissingDirectory)
{
    std::filesystem::remove_all(directory.Path());
    EXPECT_EQ(WhyDirectoryRefused(), "the directory " + directory.Path() +
                                         " of the key files is missing. Restore it from a backup; or create new keys "
                                         "with 'zef_client keys init' and encrypt all passwords anew");
}

TEST_F(KeyFileTest, TellsWhatIsNoDirectory)
{
    std::filesystem::remove_all(directory.Path());
    WriteBytes(directory.Path(), "");
    EXPECT_EQ(WhyDirectoryRefused(),
              "the directory " + directory.Path() + " of the key files cannot be opened: Not a directory");
}

TEST_F(KeyFileTest, RefusesADirectoryThatOthersCanWriteTo)
{
    for (const mode_t mode : {0720u, 0702u, 01777u}) {
        ASSERT_EQ(chmod(directory.Path().c_str(), mode), 0);
        EXPECT_NE(WhyDirectoryRefused().find("others can write to the directory " + directory.Path()),
                  std::string::npos)
            << mode;
    }
}

TEST_F(KeyFileTest, AcceptsADirectoryThatOthersCanRead)
{
    ASSERT_EQ(chmod(directory.Path().c_str(), 0755), 0);
    EXPECT_EQ(file.Read(kDomain).state, State::Valid);
}

TEST_F(KeyFileTest, CreatesAPrivateDirectory)
{
    const KeyFile inside(directory.Path() + "/inside/keys.dat");
    inside.CreateDirectory();
    inside.CreateDirectory();  // nothing to do any more
    struct stat status = {};
    ASSERT_EQ(stat((directory.Path() + "/inside").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700u);
}

TEST_F(KeyFileTest, CreatesNoParentOfADirectory)
{
    EXPECT_THROW(KeyFile(directory.Path() + "/not/there/keys.dat").CreateDirectory(), KeyError);
}

TEST_F(KeyFileTest, FindsItsDirectory)
{
    EXPECT_EQ(KeyFile("/a/b.dat").GetDirectory(), "/a");
    EXPECT_EQ(KeyFile("/b.dat").GetDirectory(), "/");
    EXPECT_EQ(KeyFile("b.dat").GetDirectory(), ".");
}

}  // namespace zef
