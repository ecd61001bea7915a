#include "gateway/Credential.h"

#include <gtest/gtest.h>

#include <string>

#include <cstring>

namespace {

std::string nextUser;
std::string nextPassword;
int nextResult = 0;
std::string seenLocal;
std::string seenArray;

int Give(const char *local, const char *array, OrnCredential *credential)
{
    seenLocal = local;
    seenArray = array;
    std::memcpy(credential->user, nextUser.data(), nextUser.size());
    std::memcpy(credential->password, nextPassword.data(), nextPassword.size());
    return nextResult;
}

std::string CauseFor(const std::string &user, const std::string &password, int result = 0)
{
    nextUser = user;
    nextPassword = password;
    nextResult = result;
    std::string cause;
    const auto credential = zef::Credential::Ask(Give, "1.1.1.1", "2.2.2.2", cause);
    EXPECT_EQ(credential == nullptr, !cause.empty());
    return cause;
}

}  // namespace

TEST(CredentialTest, HoldsWhatTheCallbackGave)
{
    nextUser = "somebody";
    nextPassword = std::string(255, 'p');
    nextResult = 0;
    std::string cause;
    const auto credential = zef::Credential::Ask(Give, "1.1.1.1", "2.2.2.2", cause);
    ASSERT_NE(credential, nullptr);
    EXPECT_STREQ(credential->User(), "somebody");
    EXPECT_EQ(credential->Password(), std::string(255, 'p'));
    EXPECT_EQ(seenLocal, "1.1.1.1");
    EXPECT_EQ(seenArray, "2.2.2.2");
}

TEST(CredentialTest, SaysWhenTheCallbackFails)
{
    constexpr char kNone[] = "no user and password to log in with (see the messages before this one)";
    EXPECT_EQ(CauseFor("somebody", "something", -1), kNone);
    std::string cause;
    EXPECT_EQ(zef::Credential::Ask(nullptr, "1.1.1.1", "2.2.2.2", cause), nullptr);
    EXPECT_EQ(cause, kNone);
}

TEST(CredentialTest, SaysWhenATextIsNotFitForALogin)
{
    EXPECT_EQ(CauseFor("", "something"), "user or password is empty");
    EXPECT_EQ(CauseFor("somebody", ""), "user or password is empty");
    EXPECT_EQ(CauseFor(std::string(64, 'u'), "something"), "user or password has no end");
    EXPECT_EQ(CauseFor("somebody", std::string(512, 'p')), "user or password has no end");
    EXPECT_EQ(CauseFor("somebody", std::string(256, 'p')), "the password has more than 255 characters");
}
