#include "mgmt/config/storage/StorageTest.h"

#include <zef_config/ZefStorageController.h>

#include <ostream>

#include <cstring>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Values;

struct Callback {
    OrnCredentialCb function;
    const char *name;
};

// For GoogleTest, which would show addresses.
void PrintTo(const Callback &callback, std::ostream *output)
{
    *output << callback.name;
}

// Both callbacks do the same; only the function that their messages name differs.
class CredentialCallbacksTest : public StorageTest, public ::testing::WithParamInterface<Callback> {
protected:
    CredentialCallbacksTest() { std::memset(&credential, kUntouched, sizeof credential); }

    int Ask(const char *first = "1.1.1.1", const char *second = "10.0.0.1")
    {
        return GetParam().function(first, second, &credential);
    }

    static ZefStorage &RegisterWith(const std::string &user, const std::string &password)
    {
        ZefStorage &storage = Register("array1");
        storage.SetUser(user);
        storage.SetPassword(password);
        return storage;
    }

    std::string Message(const std::string &message) const
    {
        return Line(kError, "CredentialCallbacks", GetParam().name, "zef storage controller " + message + "\n");
    }

    // Whether the field was not written.
    template <size_t kSize>
    static bool Untouched(const char (&field)[kSize])
    {
        return std::string(field, kSize) == std::string(kSize, kUntouched);
    }

    static constexpr char kUntouched = 'x';
    OrnCredential credential = {};
};

INSTANTIATE_TEST_SUITE_P(Both, CredentialCallbacksTest,
                         Values(Callback{ZefStorageGetCredentialCb, "ZefStorageGetCredentialCb"},
                                Callback{ZefStorageGetBilCredentialCb, "ZefStorageGetBilCredentialCb"}),
                         [](const auto &callback) { return std::string(callback.param.name); });

TEST_P(CredentialCallbacksTest, SuppliesUserAndDecryptedPassword)
{
    RegisterWith("admin", "sealed:secret");
    EXPECT_EQ(Ask(), 0);
    EXPECT_STREQ(credential.user, "admin");
    EXPECT_STREQ(credential.password, "secret");
    EXPECT_THAT(platform.calls, ElementsAre("WoxUtil::WoxDecryptData(2,sealed:secret)"));
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_P(CredentialCallbacksTest, SuppliesTheFirstStoragesCredentialForAnyLink)
{
    RegisterWith("first", "sealed:one");
    RegisterWith("second", "sealed:two").SetName("array2");
    for (const char *const text : {"array2", "10.0.0.2", "", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(Ask(text, text), 0);
        EXPECT_STREQ(credential.user, "first");
        EXPECT_STREQ(credential.password, "one");
    }
    EXPECT_EQ(CountCalls("WoxUtil::WoxDecryptData(2,sealed:two)"), 0U);
}

TEST_P(CredentialCallbacksTest, SuppliesTheCredentialOfAFibreChannelStorageToo)
{
    RegisterWith("admin", "sealed:secret").SetLinkType(StorageLinkType::kFibreChannel);
    EXPECT_EQ(Ask(), 0);
    EXPECT_STREQ(credential.password, "secret");
}

TEST_P(CredentialCallbacksTest, FailsWithoutAWordWhenNoStorageIsRegistered)
{
    EXPECT_EQ(Ask(), -1);
    EXPECT_TRUE(Untouched(credential.user));
    EXPECT_TRUE(Untouched(credential.password));
    EXPECT_THAT(platform.calls, IsEmpty());
    EXPECT_THAT(platform.logs, IsEmpty());
}

TEST_P(CredentialCallbacksTest, FailsWhenThePasswordDoesNotDecrypt)
{
    RegisterWith("admin", "not sealed");
    EXPECT_EQ(Ask(), -1);
    EXPECT_THAT(Logged(), ElementsAre(Message("get plaintext pwd fail.")));
    EXPECT_TRUE(Untouched(credential.user));
    EXPECT_TRUE(Untouched(credential.password));
}

TEST_P(CredentialCallbacksTest, DoesNotTryTheSecondStorageWhenTheFirstFails)
{
    RegisterWith("first", "not sealed");
    RegisterWith("second", "sealed:two");
    EXPECT_EQ(Ask(), -1);
    EXPECT_TRUE(Untouched(credential.password));
    EXPECT_EQ(platform.calls.size(), 1U);
}

TEST_P(CredentialCallbacksTest, AsksKeyManagementAlsoForAnEmptyPassword)
{
    RegisterWith("admin", "");
    EXPECT_EQ(Ask(), -1);
    EXPECT_THAT(platform.calls, ElementsAre("WoxUtil::WoxDecryptData(2,)"));
    EXPECT_THAT(Logged(), ElementsAre(Message("get plaintext pwd fail.")));
}

TEST_P(CredentialCallbacksTest, AcceptsAPasswordOf511Characters)
{
    RegisterWith("admin", "sealed:" + std::string(511, 'p'));
    EXPECT_EQ(Ask(), 0);
    EXPECT_EQ(credential.password, std::string(511, 'p'));
    EXPECT_STREQ(credential.user, "admin");
}

TEST_P(CredentialCallbacksTest, RefusesAPasswordOf512CharactersAndCopiesNoUser)
{
    RegisterWith("admin", "sealed:" + std::string(512, 'p'));
    EXPECT_EQ(Ask(), -1);
    EXPECT_THAT(Logged(), ElementsAre(Message("set user and password fail.")));
    EXPECT_TRUE(Untouched(credential.user));
}

TEST_P(CredentialCallbacksTest, AcceptsAUserOf63Characters)
{
    RegisterWith(std::string(63, 'u'), "sealed:secret");
    EXPECT_EQ(Ask(), 0);
    EXPECT_EQ(credential.user, std::string(63, 'u'));
    EXPECT_STREQ(credential.password, "secret");
}

TEST_P(CredentialCallbacksTest, RefusesAUserOf64CharactersAfterThePasswordWasFilled)
{
    RegisterWith(std::string(64, 'u'), "sealed:secret");
    EXPECT_EQ(Ask(), -1);
    EXPECT_THAT(Logged(), ElementsAre(Message("set user and password fail.")));
    EXPECT_STREQ(credential.password, "secret");
    EXPECT_TRUE(Untouched(credential.user));
}

TEST_P(CredentialCallbacksTest, ReportsACopyThatFailsForAnyReason)
{
    RegisterWith("admin", "sealed:secret");
    platform.copiesUntilFailure = 0;
    EXPECT_EQ(Ask(), -1);
    EXPECT_TRUE(Untouched(credential.password));
    EXPECT_TRUE(Untouched(credential.user));
    platform.copiesUntilFailure = 1;
    EXPECT_EQ(Ask(), -1);
    EXPECT_STREQ(credential.password, "secret");
    EXPECT_TRUE(Untouched(credential.user));
    EXPECT_THAT(Logged(), ElementsAre(Message("set user and password fail."), Message("set user and password fail.")));
}

TEST_P(CredentialCallbacksTest, AcceptsAnEmptyUser)
{
    RegisterWith("", "sealed:secret");
    EXPECT_EQ(Ask(), 0);
    EXPECT_STREQ(credential.user, "");
}

TEST_P(CredentialCallbacksTest, WipesThePlainTextOnEveryPathThatDecrypted)
{
    RegisterWith("admin", "sealed:secret");
    EXPECT_EQ(Ask(), 0);
    EXPECT_THAT(platform.wiped, ElementsAre("secret"));

    platform.copiesUntilFailure = 0;
    EXPECT_EQ(Ask(), -1);
    EXPECT_THAT(platform.wiped, ElementsAre("secret", "secret"));

    platform.copiesUntilFailure = 1;
    EXPECT_EQ(Ask(), -1);
    EXPECT_THAT(platform.wiped, ElementsAre("secret", "secret", "secret"));
}

TEST_P(CredentialCallbacksTest, WipesTheWholePlainTextBehindAZeroByte)
{
    const std::string plainText("sec\0ret", 7);
    platform.onDecrypt = [&plainText](uint32_t, const std::string &) { return plainText; };
    RegisterWith("admin", "sealed");
    EXPECT_EQ(Ask(), 0);
    EXPECT_STREQ(credential.password, "sec");
    EXPECT_THAT(platform.wiped, Contains(plainText));
}

TEST_P(CredentialCallbacksTest, NeitherPasswordReachesTheLog)
{
    RegisterWith(std::string(64, 'u'), "sealed:secret");
    EXPECT_EQ(Ask(), -1);
    platform.onDecrypt = [](uint32_t, const std::string &) { return std::string(); };
    EXPECT_EQ(Ask(), -1);
    for (const LogRecord &record : platform.logs) {
        EXPECT_EQ(record.text.find("secret"), std::string::npos);
        EXPECT_EQ(record.text.find("sealed"), std::string::npos);
    }
    EXPECT_EQ(platform.logs.size(), 2U);
}

TEST_P(CredentialCallbacksTest, WorksOnACopyOfTheRegistry)
{
    RegisterWith("admin of an array with a long name", "sealed:secret");
    platform.onDecrypt = [](uint32_t, const std::string &) {
        ZefStorageManager::GetStorageAll()[0].SetUser("changed");
        ZefStorageManager::Clear();
        ZefStorageManager::GetStorageAll().shrink_to_fit();
        return std::string("secret");
    };
    EXPECT_EQ(Ask(), 0);
    EXPECT_STREQ(credential.user, "admin of an array with a long name");
}

TEST_P(CredentialCallbacksTest, LeavesTheRegistryAsItIsAndTakesNoLock)
{
    RegisterWith("admin", "sealed:secret");
    int held = -1;
    platform.onDecrypt = [&held](uint32_t, const std::string &) {
        held = LockRecorder::Held();
        return std::string();
    };
    EXPECT_EQ(Ask(), -1);
    EXPECT_EQ(held, 0);
    ASSERT_EQ(platform.logs.size(), 1U);
    EXPECT_EQ(platform.logs[0].mutexesHeld, 0);
    EXPECT_EQ(ZefStorageManager::GetByName("array1").GetPassword(), "sealed:secret");
}

TEST_P(CredentialCallbacksTest, MayBeCalledWhileTheGatewayCreatesALink)
{
    RegisterWith("admin", "sealed:secret").AddIpList({"10.0.0.1"});
    int result = -2;
    platform.onCreateLink = [&result, this](const OrnLinkRequest &request) {
        result = request.credentialCb(request.localAddr, request.storageAddr, &credential);
        return -1;
    };
    CreateLinkTask("array1", IpPair("1.1.1.1", "10.0.0.1"));
    EXPECT_EQ(result, 0);
    EXPECT_STREQ(credential.password, "secret");
}

}  // namespace
