#include "check/KeyRules.h"

#include "CheckTest.h"
#include "support/WithoutFileCapabilities.h"

#include <sys/stat.h>
#include <unistd.h>

namespace zef {
namespace {

class KeyRulesTest : public CheckTest {
protected:
    void RemoveKeys()
    {
        ASSERT_EQ(unlink(keys.primary.c_str()), 0);
        ASSERT_EQ(unlink(keys.standby.c_str()), 0);
    }

    FindingList findings;
};

TEST_F(KeyRulesTest, OpensWhatTheseKeysSealed)
{
    const KeyRules rules(keys, findings);
    EXPECT_TRUE(findings.Take().empty());
    ASSERT_TRUE(rules.HaveKeys());
    EXPECT_TRUE(rules.Opens(sealed));
    EXPECT_FALSE(rules.Opens(sealed + "A"));
    EXPECT_FALSE(rules.Opens("plain"));
}

TEST_F(KeyRulesTest, DoesNotOpenWhatOtherKeysSealed)
{
    RemoveKeys();
    MakeKeys(keys);
    EXPECT_FALSE(KeyRules(keys, findings).Opens(sealed));
}

TEST_F(KeyRulesTest, MissingKeysRefuseTheStart)
{
    RemoveKeys();
    EXPECT_FALSE(KeyRules(keys, findings).HaveKeys());
    const std::vector<Finding> found = findings.Take();
    EXPECT_EQ(Summary(found), std::vector<std::string>{"0:0: error: keys-missing!"});
    EXPECT_NE(found.at(0).text.find("zef_client keys init"), std::string::npos);
    EXPECT_EQ(found.at(0).path, keys.primary);
}

TEST_F(KeyRulesTest, OneDamagedFileIsAWarningAndStaysAsItIs)
{
    WriteFile(keys.primary, "damaged");
    EXPECT_TRUE(KeyRules(keys, findings).Opens(sealed));
    EXPECT_EQ(Summary(findings.Take()), std::vector<std::string>{"0:0: warning: keys-damaged"});
    EXPECT_EQ(ReadFile(keys.primary), "damaged");
}

TEST_F(KeyRulesTest, KeysThatOthersCanReadRefuseTheStart)
{
    ASSERT_EQ(chmod(keys.primary.c_str(), 0644), 0);
    EXPECT_FALSE(KeyRules(keys, findings).HaveKeys());
    EXPECT_EQ(Summary(findings.Take()), std::vector<std::string>{"0:0: error: keys-refused!"});
}

TEST_F(KeyRulesTest, KeysThatThisUserMayNotReadRefuseTheStart)
{
    for (const std::string &file : {keys.standby, keys.primary}) {
        ASSERT_EQ(chmod(file.c_str(), 0), 0);
        const WithoutFileCapabilities plainUser;
        EXPECT_FALSE(KeyRules(keys, findings).HaveKeys());
        const std::vector<Finding> found = findings.Take();
        EXPECT_EQ(Summary(found), std::vector<std::string>{"0:0: error: keys-unreadable!"});
        EXPECT_EQ(found.at(0).text, file + " cannot be opened: Permission denied. The keys cannot be read by this "
                                           "user: a client that runs as this user would not start; check as the user "
                                           "that the client runs as");
        EXPECT_EQ(found.at(0).path, keys.primary);
    }
}

TEST_F(KeyRulesTest, AKeyFolderThatThisUserMayNotReadRefusesTheStart)
{
    for (const mode_t mode : {0, 0111}) {
        ASSERT_EQ(chmod(folder.Path().c_str(), mode), 0);
        {
            const WithoutFileCapabilities plainUser;
            EXPECT_FALSE(KeyRules(keys, findings).HaveKeys());
        }
        ASSERT_EQ(chmod(folder.Path().c_str(), 0700), 0);
        EXPECT_EQ(Summary(findings.Take()), std::vector<std::string>{"0:0: error: keys-unreadable!"}) << mode;
    }
}

}  // namespace
}  // namespace zef
