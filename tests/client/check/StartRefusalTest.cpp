#include "check/StartRefusal.h"

#include "CheckTest.h"
#include "support/WithoutFileCapabilities.h"

#include <sys/stat.h>
#include <unistd.h>

namespace zef {
namespace {

class StartRefusalTest : public CheckTest {
protected:
    StartRefusal Why(const std::string &content)
    {
        WriteFile(path, content);
        return WhyStartIsRefused(path, keys);
    }
};

TEST_F(StartRefusalTest, TellsTheReasonsInOneLine)
{
    const StartRefusal refusal = Why("<?xml version=\"1.0\"?>\n<Config>\n<Uuid>x</Uuid>\n</Config>\n");
    EXPECT_EQ(refusal.code, ExitCode::ConfigInvalid);
    EXPECT_EQ(refusal.text,
              path + ":2:1: there is no element Deduplication; it must be ON or OFF; " + path +
                  ":2:1: there is no element Compression; it must be ON or OFF; " + path +
                  ":3:1: Uuid \"x\" is malformed and there is no SystemUuid to fall back to; it must be 8, 4, 4, 4 and "
                  "12 hexadecimal digits joined by \"-\"");
}

TEST_F(StartRefusalTest, LeavesWarningsAndOtherErrorsOut)
{
    const StartRefusal refusal =
        Why(ConfigWith(std::string("<Uuid>") + kUuid + "</Uuid><Compression>OFF</Compression><Zzz/>", "") + "rest");
    EXPECT_EQ(refusal.text, path + ":2:1: there is no element Deduplication; it must be ON or OFF");
}

TEST_F(StartRefusalTest, TellsNoMoreThanFiveReasons)
{
    const StartRefusal refusal = Why("<?xml version=\"1.0\"?><Config><StorageObject/><StorageObject/></Config>");
    EXPECT_NE(refusal.text.find("; and 5 more reasons, which zef_client check tells"), std::string::npos);
}

TEST_F(StartRefusalTest, MissingKeysHaveACodeOfTheirOwn)
{
    ASSERT_EQ(unlink(keys.primary.c_str()), 0);
    ASSERT_EQ(unlink(keys.standby.c_str()), 0);
    const StartRefusal refusal = Why(ValidConfig(sealed));
    EXPECT_EQ(refusal.code, ExitCode::Credential);
    EXPECT_NE(refusal.text.find("zef_client keys init"), std::string::npos);
}

TEST_F(StartRefusalTest, KeysThatThisUserMayNotReadAreNotPermitted)
{
    ASSERT_EQ(chmod(keys.primary.c_str(), 0), 0);
    const WithoutFileCapabilities plainUser;
    const StartRefusal refusal = Why(ValidConfig(sealed));
    EXPECT_EQ(refusal.code, ExitCode::NotPermitted);
    EXPECT_EQ(refusal.text.find(keys.primary + ":0:0: " + keys.primary + " cannot be opened: Permission denied. "), 0u);
}

TEST_F(StartRefusalTest, RefersToTheLogWhenTheFilesAreGood)
{
    const StartRefusal refusal = Why(ValidConfig(sealed));
    EXPECT_EQ(refusal.code, ExitCode::Failed);
    EXPECT_EQ(refusal.text, "the messages above say why");
}

}  // namespace
}  // namespace zef
