#include "keys/KeyCommands.h"

#include "TestFiles.h"
#include "common/ExitCode.h"
#include "common/FileDescriptor.h"
#include "support/WithoutFileCapabilities.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zef {

namespace {

constexpr int kCredential = ToStatus(ExitCode::Credential);
constexpr int kNotPermitted = ToStatus(ExitCode::NotPermitted);

// The root key for 0, then the master keys.
std::string Bytes(const KeyRing &ring, size_t index)
{
    const uint8_t *const key = index == 0 ? ring.RootKey() : ring.MasterKeyBytes(index - 1);
    return {reinterpret_cast<const char *>(key), KeyRing::kKeyBytes};
}

class KeyCommandsTest : public testing::Test {
protected:
    int Init(bool force = false) { return KeysInit(files.primary, files.standby, force, output, errors); }

    // With that text on standard input, which is a file here.
    int Encrypt(const std::string &input)
    {
        return PasswordEncrypt(files.primary, files.standby, Input(input).Get(), output, errors);
    }

    int Verify() { return KeysVerify(files.primary, files.standby, output, errors); }

    int Rotate(KeysToRotate which) { return KeysRotate(files.primary, files.standby, which, output, errors); }

    int VerifyPassword(const std::string &sealed)
    {
        constexpr int kNoDescriptor = -1;
        return PasswordVerify(files.primary, files.standby, sealed, false, kNoDescriptor, output, errors);
    }

    int ComparePassword(const std::string &sealed, const std::string &input)
    {
        return PasswordVerify(files.primary, files.standby, sealed, true, Input(input).Get(), output, errors);
    }

    FileDescriptor Input(const std::string &input) const
    {
        const std::string path = files.directory.Path() + "/input";
        WriteBytes(path, input);
        return FileDescriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    }

    // What is in the table's line of a file, with single spaces; "" when the table does not have the file.
    std::string TableLine(const std::string &path) const
    {
        std::istringstream lines(output.str());
        for (std::string line; std::getline(lines, line);) {
            if (line.compare(0, path.size() + 1, path + " ") == 0) {
                std::istringstream words(line.substr(path.size()));
                std::string text;
                for (std::string word; words >> word;) {
                    text += (text.empty() ? "" : " ") + word;
                }
                return text;
            }
        }
        return "";
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
    EXPECT_EQ(Encrypt(""), kCredential);
    EXPECT_EQ(Encrypt("\n"), kCredential);
    EXPECT_EQ(Encrypt(std::string(512, 'p')), kCredential);
    EXPECT_EQ(Encrypt(std::string(1'000'000, 'p') + "\n"), kCredential);
    EXPECT_EQ(Encrypt(std::string("a\0b\n", 4)), kCredential);
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
    EXPECT_EQ(PasswordEncrypt(files.primary, files.standby, kNoDescriptor, output, errors), kCredential);
    EXPECT_EQ(errors.str().find("Error: there are no keys: " + files.primary + " is missing"), 0u);
    EXPECT_EQ(output.str(), "");
}

TEST_F(KeyCommandsTest, EncryptFailsWhenNothingCanBeRead)
{
    files.Create();
    constexpr int kClosedDescriptor = 1'000'000;
    EXPECT_EQ(PasswordEncrypt(files.primary, files.standby, kClosedDescriptor, output, errors), kCredential);
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

TEST_F(KeyCommandsTest, SaysWhenTheSystemDoesNotPermit)
{
    const std::string text = files.Create().Seal(Secret("password"));
    ASSERT_EQ(chmod(files.primary.c_str(), 0), 0);
    const WithoutFileCapabilities bound;
    EXPECT_EQ(Init(), kNotPermitted);
    EXPECT_EQ(Encrypt("password\n"), kNotPermitted);
    EXPECT_EQ(Rotate(KeysToRotate::Both), kNotPermitted);
    EXPECT_EQ(Verify(), kNotPermitted);
    EXPECT_EQ(VerifyPassword(text), kNotPermitted);
    const std::string line = "Error: " + files.primary + " cannot be opened: Permission denied\n";
    EXPECT_EQ(errors.str(), line + line + line + line + line);
}

TEST_F(KeyCommandsTest, SaysWhenTheDirectoryIsNotPermitted)
{
    files.Create();
    ASSERT_EQ(chmod(files.directory.Path().c_str(), 0), 0);
    {
        const WithoutFileCapabilities bound;
        EXPECT_EQ(Init(), kNotPermitted);
        EXPECT_EQ(Rotate(KeysToRotate::Both), kNotPermitted);
        EXPECT_EQ(Verify(), kNotPermitted);
    }
    ASSERT_EQ(chmod(files.directory.Path().c_str(), 0700), 0);
    const std::string line =
        "Error: the directory " + files.directory.Path() + " of the key files cannot be opened: Permission denied\n";
    EXPECT_EQ(errors.str(), line + line + line);
}

TEST_F(KeyCommandsTest, SaysWhenNothingMayBeWritten)
{
    files.Create();
    ASSERT_EQ(chmod(files.directory.Path().c_str(), 0500), 0);
    {
        const WithoutFileCapabilities bound;
        EXPECT_EQ(Rotate(KeysToRotate::Both), kNotPermitted);
    }
    ASSERT_EQ(chmod(files.directory.Path().c_str(), 0700), 0);
    EXPECT_EQ(errors.str(), "Error: " + files.standby + " cannot be written: Permission denied\n");
    EXPECT_EQ(output.str(), "");
}

TEST_F(KeyCommandsTest, VerifyFindsTwoGoodFiles)
{
    ASSERT_EQ(Init(), 0);
    output.str("");
    EXPECT_EQ(Verify(), 0);
    EXPECT_EQ(errors.str(), "");
    EXPECT_EQ(output.str().substr(0, 5), "FILE ");
    EXPECT_EQ(TableLine(files.primary), "valid 1 1 0 0");
    EXPECT_EQ(TableLine(files.standby), "valid 1 1 0 0");
    EXPECT_NE(output.str().find("\nBoth files are valid and alike.\n"), std::string::npos);
}

TEST_F(KeyCommandsTest, VerifyFindsWhatTheClientWouldRepair)
{
    files.Create();
    std::filesystem::remove(files.standby);
    EXPECT_EQ(Verify(), kCredential);
    EXPECT_EQ(TableLine(files.primary).substr(0, 9), "valid 1 1");
    EXPECT_EQ(TableLine(files.standby), "missing - - - - " + files.standby + " is missing");
    EXPECT_EQ(errors.str(), "Error: " + files.standby +
                                " is missing. The other file suffices: the client repairs this one from it at its "
                                "start and whenever it checks the age of its keys\n");
    EXPECT_FALSE(std::filesystem::exists(files.standby));
}

TEST_F(KeyCommandsTest, VerifyFindsAnOlderFileAndLeavesItAsItIs)
{
    const KeyRing ring = files.Create();
    const std::string before = BytesOf(files.standby);
    files.Save(ring.WithNewMasterKey(2000));
    WriteBytes(files.standby, before);
    EXPECT_EQ(Verify(), kCredential);
    EXPECT_EQ(TableLine(files.primary).substr(0, 9), "valid 2 2");
    EXPECT_EQ(TableLine(files.standby).substr(0, 9), "valid 1 1");
    EXPECT_EQ(errors.str().find("Error: " + files.standby + " is older than " + files.primary + ". "), 0u);
    EXPECT_EQ(BytesOf(files.standby), before);
}

TEST_F(KeyCommandsTest, VerifyFindsFilesThatCannotBeUsed)
{
    files.Create();
    WriteBytes(files.primary, "rubbish, and enough of it that it could be a key file by its length");
    ASSERT_EQ(chmod(files.standby.c_str(), 0644), 0);
    EXPECT_EQ(Verify(), kCredential);
    EXPECT_EQ(TableLine(files.primary),
              "damaged - - - - " + files.primary + " is damaged: it does not begin like a key file");
    EXPECT_EQ(TableLine(files.standby).find("refused - - - - " + files.standby + " is open to others"), 0u);
    EXPECT_EQ(errors.str().find("Error: " + files.standby + " is open to others (mode 0644)"), 0u);
}

TEST_F(KeyCommandsTest, VerifyFindsNoFilesAndNoDirectory)
{
    EXPECT_EQ(Verify(), kCredential);
    EXPECT_EQ(errors.str().find("Error: there are no keys: "), 0u);
    const std::string directory = files.directory.Path() + "/not";
    errors.str("");
    EXPECT_EQ(KeysVerify(directory + "/a", directory + "/b", output, errors), kCredential);
    EXPECT_EQ(errors.str().find("Error: the directory " + directory + " of the key files is missing."), 0u);
}

TEST_F(KeyCommandsTest, RotateReplacesTheRootKeyAlone)
{
    const KeyRing ring = files.Create();
    EXPECT_EQ(Rotate(KeysToRotate::Root), 0);
    const KeyStore::Loaded loaded = files.Load();
    EXPECT_TRUE(loaded.warnings.empty());
    EXPECT_EQ(loaded.ring->GetHead().generation, 2u);
    EXPECT_NE(Bytes(*loaded.ring, 0), Bytes(ring, 0));
    EXPECT_EQ(Bytes(*loaded.ring, 1), Bytes(ring, 1));
    EXPECT_EQ(loaded.ring->GetMasterKeys().size(), 1u);
    EXPECT_GT(loaded.ring->GetHead().rootCreated, 1'600'000'000);
    EXPECT_EQ(output.str(), "The root key was replaced; it encrypts the master keys.\n"
                            "Every password that was encrypted before can still be decrypted. A running client takes "
                            "the new keys over at its next request that needs them.\n");
    EXPECT_EQ(errors.str(), "");
}

TEST_F(KeyCommandsTest, RotateAddsAMasterKeyAlone)
{
    const KeyRing ring = files.Create();
    EXPECT_EQ(Rotate(KeysToRotate::Master), 0);
    const KeyStore::Loaded loaded = files.Load();
    EXPECT_TRUE(loaded.warnings.empty());
    EXPECT_EQ(Bytes(*loaded.ring, 0), Bytes(ring, 0));
    ASSERT_EQ(loaded.ring->GetMasterKeys().size(), 2u);
    EXPECT_EQ(Bytes(*loaded.ring, 1), Bytes(ring, 1));
    EXPECT_EQ(output.str(), "A new master key was added, 2 are held; it encrypts passwords from now on.\n"
                            "Every password that was encrypted before can still be decrypted. A running client takes "
                            "the new keys over at its next request that needs them.\n");
}

TEST_F(KeyCommandsTest, RotateSaysWhatHandsNewKeysOfAnotherFolderToTheClient)
{
    files.Create();
    EXPECT_EQ(KeysRotate(files.primary, files.standby, KeysToRotate::Root, output, errors, KeyOwner::Somebody), 0);
    EXPECT_EQ(output.str(), "The root key was replaced; it encrypts the master keys.\n"
                            "Every password that was encrypted before can still be decrypted. A running client takes "
                            "the new keys over once they were handed to it again and it was restarted.\n");
}

TEST_F(KeyCommandsTest, OneCredentialSuffices)
{
    const std::string text = files.Create().Seal(Secret("password"));
    std::filesystem::remove(files.standby);
    EXPECT_EQ(KeysVerify(files.primary, files.standby, output, errors, KeyOwner::ServiceManager), 0);
    EXPECT_EQ(TableLine(files.standby), "missing - - - - " + files.standby + " is missing");
    EXPECT_NE(output.str().find("\nThe file that was handed over is valid.\n"), std::string::npos);
    EXPECT_EQ(PasswordEncrypt(files.primary, files.standby, Input("password\n").Get(), output, errors,
                              KeyOwner::ServiceManager),
              0);
    EXPECT_EQ(PasswordVerify(files.primary, files.standby, text, true, Input("password\n").Get(), output, errors,
                             KeyOwner::ServiceManager),
              0);
    EXPECT_EQ(errors.str(), "");
}

TEST_F(KeyCommandsTest, VerifyFindsTwoGoodCredentials)
{
    files.Create();
    EXPECT_EQ(KeysVerify(files.primary, files.standby, output, errors, KeyOwner::ServiceManager), 0);
    EXPECT_NE(output.str().find("\nBoth files are valid and alike.\n"), std::string::npos);
}

TEST_F(KeyCommandsTest, VerifySaysWhoRepairsAFile)
{
    files.Create();
    WriteBytes(files.standby, "");
    const std::string complaint = "Error: " + files.standby + " is damaged: it is empty. The other file suffices: ";
    EXPECT_EQ(KeysVerify(files.primary, files.standby, output, errors, KeyOwner::ServiceManager), kCredential);
    EXPECT_EQ(errors.str(), complaint + "this one is a copy, which nothing repairs; look at the file that it was made "
                                        "from\n");
    errors.str("");
    EXPECT_EQ(KeysVerify(files.primary, files.standby, output, errors, KeyOwner::Somebody), kCredential);
    EXPECT_EQ(errors.str(), complaint + "zef_client keys rotate repairs this one from it\n");
}

TEST_F(KeyCommandsTest, RotateLosesNoPassword)
{
    std::vector<std::string> texts = {files.Create().Seal(Secret("password"))};
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(Rotate(KeysToRotate::Both), 0);
        texts.push_back(files.Load().ring->Seal(Secret("password")));
    }
    EXPECT_EQ(files.Load().ring->GetHead().generation, 11u);
    for (const std::string &text : texts) {
        EXPECT_EQ(files.Load().ring->Open(TestFiles::kDomain, text), "password");
    }
}

TEST_F(KeyCommandsTest, RotateRepairsWhatItFindsAndSaysSo)
{
    files.Create();
    std::filesystem::remove(files.primary);
    EXPECT_EQ(Rotate(KeysToRotate::Both), 0);
    EXPECT_EQ(errors.str(), "Warning: " + files.primary + " is missing; it was repaired from " + files.standby + "\n");
    EXPECT_EQ(BytesOf(files.primary), BytesOf(files.standby));
    EXPECT_EQ(files.Load().ring->GetMasterKeys().size(), 2u);
}

TEST_F(KeyCommandsTest, RotateChangesNothingItCannotUse)
{
    EXPECT_EQ(Rotate(KeysToRotate::Both), kCredential);
    EXPECT_EQ(errors.str().find("Error: there are no keys: "), 0u);
    files.Create();
    ASSERT_EQ(chmod(files.primary.c_str(), 0644), 0);
    const std::string before = BytesOf(files.standby);
    EXPECT_EQ(Rotate(KeysToRotate::Both), kCredential);
    EXPECT_EQ(BytesOf(files.primary), before);
    EXPECT_EQ(BytesOf(files.standby), before);
    EXPECT_EQ(output.str(), "");
}

TEST_F(KeyCommandsTest, RotateKeepsTheOldKeysWhenNewOnesCannotBeWritten)
{
    files.Create();
    const std::string before = BytesOf(files.primary);
    std::filesystem::create_directory(files.standby + ".new");
    EXPECT_EQ(Rotate(KeysToRotate::Both), 1);
    EXPECT_EQ(errors.str(), "Error: " + files.standby + " cannot be written: File exists\n");
    EXPECT_EQ(output.str(), "");
    EXPECT_EQ(BytesOf(files.primary), before);
    EXPECT_EQ(BytesOf(files.standby), before);
}

TEST_F(KeyCommandsTest, PasswordVerifySaysWhetherTheKeysOpenAText)
{
    const std::string text = files.Create().Seal(Secret("password"));
    ASSERT_EQ(Rotate(KeysToRotate::Both), 0);
    output.str("");
    EXPECT_EQ(VerifyPassword(text), 0);
    EXPECT_EQ(output.str(), "The encrypted password can be decrypted with the present keys.\n");
    output.str("");
    EXPECT_EQ(VerifyPassword(KeyRing::Create(TestFiles::kDomain, 1).Seal(Secret("password"))), kCredential);
    EXPECT_EQ(VerifyPassword(""), kCredential);
    EXPECT_EQ(output.str(), "");
    EXPECT_EQ(errors.str(), "Error: the encrypted password cannot be decrypted: it was sealed with a key that the key "
                            "files do not hold\n"
                            "Error: the encrypted password cannot be decrypted: it is not a sealed password: it does "
                            "not begin with \"zef1:\"\n");
}

TEST_F(KeyCommandsTest, PasswordVerifyComparesWithAPassword)
{
    const std::string text = files.Create().Seal(Secret("Secret_9"));
    EXPECT_EQ(ComparePassword(text, "Secret_9\n"), 0);
    EXPECT_EQ(output.str(), "The encrypted password can be decrypted with the present keys.\n"
                            "The password that was given is the encrypted one.\n");
    for (const char *other : {"Secret_8\n", "Secret_\n", "Secret_99\n", "\n", ""}) {
        errors.str("");
        EXPECT_EQ(ComparePassword(text, other), kCredential);
        EXPECT_EQ(errors.str(), "Error: the password that was given is not the encrypted one\n");
    }
    EXPECT_EQ(output.str().find("Secret"), std::string::npos);
}

TEST_F(KeyCommandsTest, PasswordVerifyNeedsKeysAndAnOutput)
{
    const std::string text = KeyRing::Create(TestFiles::kDomain, 1).Seal(Secret("password"));
    EXPECT_EQ(VerifyPassword(text), kCredential);
    EXPECT_EQ(errors.str().find("Error: there are no keys: "), 0u);
    const std::string sealed = files.Create().Seal(Secret("password"));
    output.setstate(std::ios::badbit);
    EXPECT_EQ(VerifyPassword(sealed), 1);
}

}  // namespace zef
