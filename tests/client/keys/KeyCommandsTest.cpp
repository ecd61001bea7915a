#include "keys/KeyCommands.h"

#include "TestFiles.h"
#include "common/FileDescriptor.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zef {

namespace {

class KeyCommandsTest : public testing::Test {
protected:
    int Init(bool force = false) { return KeysInit(files.primary, files.standby, force, output, errors); }

    // With that text on standard input, which is a file here.
    int Encrypt(const std::string &input)
    {
        const std::string path = files.directory.Path() + "/input";
        WriteBytes(path, input);
        const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        return PasswordEncrypt(files.primary, files.standby, file.Get(), output, errors);
    }

    std::string Decrypted() const
    {
        std::string text = output.str();
        EXPECT_EQ(text.back(), '\n');
        text.pop_back();
        return files.Load().ring->Open(TestFiles::kDomain, text);
    }

    TestFiles files;
    std::ostringstream output;
    std::ostringstream errors;
};

}  // namespace

TEST_F(KeyCommandsTest, InitCreatesKeysInBothFiles)
{
    EXPECT_EQ(Init(), 0);
    EXPECT_EQ(output.str(), "New keys are in " + files.primary + " and " + files.standby + ".\n");
    EXPECT_EQ(errors.str(), "");
    EXPECT_TRUE(files.Load().warnings.empty());
    EXPECT_GT(files.Load().ring->GetHead().rootCreated, 1'600'000'000);
}

TEST_F(KeyCommandsTest, InitCreatesTheDirectoryForTheOwnerAlone)
{
    const std::string directory = files.directory.Path() + "/WOX";
    EXPECT_EQ(KeysInit(directory + "/pri.dat", directory + "/std.dat", false, output, errors), 0);
    struct stat status = {};
    ASSERT_EQ(stat(directory.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700u);
}

TEST_F(KeyCommandsTest, InitCreatesNoMoreThanOneDirectory)
{
    const std::string directory = files.directory.Path() + "/not/there";
    EXPECT_EQ(KeysInit(directory + "/pri.dat", directory + "/std.dat", false, output, errors), 1);
    EXPECT_EQ(errors.str(), "Error: the directory " + directory +
                                " of the key files cannot be created: No such file or directory\n");
}

TEST_F(KeyCommandsTest, InitKeepsValidKeys)
{
    files.Create();
    const std::string before = BytesOf(files.primary);
    EXPECT_EQ(Init(), 1);
    EXPECT_EQ(errors.str(), "Error: " + files.primary +
                                " holds valid keys. New keys would make every password that was encrypted with the "
                                "present ones useless. Nothing was changed; to have new keys all the same, use "
                                "--force\n");
    EXPECT_EQ(output.str(), "");
    EXPECT_EQ(BytesOf(files.primary), before);
    EXPECT_EQ(BytesOf(files.standby), before);
}

TEST_F(KeyCommandsTest, InitKeepsValidKeysThatOnlyOneFileHolds)
{
    files.Create();
    std::filesystem::remove(files.primary);
    EXPECT_EQ(Init(), 1);
    EXPECT_NE(errors.str().find(files.standby + " holds valid keys"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(files.primary));
}

TEST_F(KeyCommandsTest, InitKeepsAFileThatItMustNotJudge)
{
    files.Create();
    ASSERT_EQ(chmod(files.primary.c_str(), 0644), 0);
    ASSERT_EQ(chmod(files.standby.c_str(), 0644), 0);
    const std::string before = BytesOf(files.primary);
    EXPECT_EQ(Init(), 1);
    EXPECT_NE(errors.str().find(files.primary + " is open to others (mode 0644)"), std::string::npos);
    EXPECT_EQ(BytesOf(files.primary), before);
}

TEST_F(KeyCommandsTest, InitReplacesFilesThatHoldNothing)
{
    WriteBytes(files.primary, "");
    WriteBytes(files.standby, "rubbish");
    EXPECT_EQ(Init(), 0);
    EXPECT_TRUE(files.Load().warnings.empty());
}

TEST_F(KeyCommandsTest, InitReplacesValidKeysWhenForced)
{
    const std::string text = files.Create().Seal(Secret("password"));
    EXPECT_EQ(Init(true), 0);
    EXPECT_TRUE(files.Load().warnings.empty());
    EXPECT_ANY_THROW(files.Load().ring->Open(TestFiles::kDomain, text));
}

TEST_F(KeyCommandsTest, InitSaysWhenOnlyOneFileCouldBeWritten)
{
    std::filesystem::create_directory(files.primary + ".new");
    EXPECT_EQ(Init(), 0);
    EXPECT_EQ(errors.str(), "Warning: " + files.primary + " cannot be written: File exists; the new keys are in " +
                                files.standby + " alone\n");
}

TEST_F(KeyCommandsTest, InitFailsWhenNothingCanBeWritten)
{
    std::filesystem::create_directory(files.standby + ".new");
    EXPECT_EQ(Init(), 1);
    EXPECT_EQ(errors.str(), "Error: " + files.standby + " cannot be written: File exists\n");
    EXPECT_FALSE(std::filesystem::exists(files.primary));
}

TEST_F(KeyCommandsTest, EncryptWritesTheSealedTextAlone)
{
    files.Create();
    EXPECT_EQ(Encrypt("pass word\n"), 0);
    EXPECT_EQ(errors.str(), "");
    EXPECT_EQ(Decrypted(), "pass word");
}

TEST_F(KeyCommandsTest, EncryptNeedsNoNewline)
{
    files.Create();
    EXPECT_EQ(Encrypt("password"), 0);
    EXPECT_EQ(Decrypted(), "password");
}

TEST_F(KeyCommandsTest, EncryptTakesTheFirstLine)
{
    files.Create();
    EXPECT_EQ(Encrypt(" first \nsecond\n"), 0);
    EXPECT_EQ(Decrypted(), " first ");
}

TEST_F(KeyCommandsTest, EncryptUsesTheNewestMasterKey)
{
    const KeyRing ring = files.Create().WithNewMasterKey(2000);
    files.Save(ring);
    EXPECT_EQ(Encrypt("password\n"), 0);
    char keyId[17];
    std::snprintf(keyId, sizeof(keyId), "%016lx", ring.GetMasterKeys()[1].id);
    EXPECT_EQ(output.str().substr(5, 16), keyId);
}

TEST_F(KeyCommandsTest, EncryptTakesTheLongestPassword)
{
    files.Create();
    EXPECT_EQ(Encrypt(std::string(511, 'p') + "\n"), 0);
    EXPECT_EQ(Decrypted(), std::string(511, 'p'));
}

TEST_F(KeyCommandsTest, EncryptRefusesUnusablePasswords)
{
    files.Create();
    EXPECT_EQ(Encrypt(""), 1);
    EXPECT_EQ(Encrypt("\n"), 1);
    EXPECT_EQ(Encrypt(std::string(512, 'p')), 1);
    EXPECT_EQ(Encrypt(std::string(1'000'000, 'p') + "\n"), 1);
    EXPECT_EQ(Encrypt(std::string("a\0b\n", 4)), 1);
    EXPECT_EQ(output.str(), "");
    EXPECT_EQ(errors.str(), "Error: the password is empty\n"
                            "Error: the password is empty\n"
                            "Error: the password is longer than 511 bytes\n"
                            "Error: the password is longer than 511 bytes\n"
                            "Error: the password holds a zero byte\n");
}

TEST_F(KeyCommandsTest, EncryptFailsWithoutKeysBeforeItAsksForAnything)
{
    constexpr int kNoDescriptor = -1;
    EXPECT_EQ(PasswordEncrypt(files.primary, files.standby, kNoDescriptor, output, errors), 1);
    EXPECT_EQ(errors.str().find("Error: there are no keys: " + files.primary + " is missing"), 0u);
    EXPECT_EQ(output.str(), "");
}

TEST_F(KeyCommandsTest, EncryptFailsWhenNothingCanBeRead)
{
    files.Create();
    constexpr int kClosedDescriptor = 1'000'000;
    EXPECT_EQ(PasswordEncrypt(files.primary, files.standby, kClosedDescriptor, output, errors), 1);
    EXPECT_EQ(errors.str(), "Error: the password cannot be read: Bad file descriptor\n");
}

TEST_F(KeyCommandsTest, EncryptFailsWhenTheTextCannotBeWritten)
{
    files.Create();
    output.setstate(std::ios::badbit);
    EXPECT_EQ(Encrypt("password\n"), 1);
    EXPECT_EQ(errors.str(), "Error: the output cannot be written\n");
}

TEST_F(KeyCommandsTest, EncryptWarnsOfABadFileAndLeavesItAlone)
{
    files.Create();
    WriteBytes(files.standby, "");
    EXPECT_EQ(Encrypt("password\n"), 0);
    EXPECT_EQ(errors.str(), "Warning: " + files.standby + " is damaged: it is empty\n");
    EXPECT_EQ(BytesOf(files.standby), "");
}

}  // namespace zef
