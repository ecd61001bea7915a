#include "check/ConfigBytes.h"

#include "CheckTest.h"
#include "check/ConfigLimits.h"

#include <sys/stat.h>
#include <unistd.h>

namespace zef {
namespace {

class ConfigBytesTest : public ::testing::Test {
protected:
    // The ids of what is found; "read" when the bytes are had.
    std::string Read()
    {
        FindingList findings;
        const bool read = ReadConfigBytes(path, findings).has_value();
        const std::vector<Finding> found = findings.Take();
        return read ? "read" : found.at(0).id;
    }

    ScratchFolder folder;
    const std::string path = folder.File("zef_config.xml");
};

TEST_F(ConfigBytesTest, GivesTheBytesAsTheyAre)
{
    const std::string bytes("\0\xff\n<a>", 6);
    WriteFile(path, bytes);
    FindingList findings;
    EXPECT_EQ(ReadConfigBytes(path, findings), bytes);
    EXPECT_TRUE(findings.Take().empty());
}

TEST_F(ConfigBytesTest, SaysWhyAFileCannotBeOpened)
{
    EXPECT_EQ(Read(), "cannot-open");
    EXPECT_EQ(WhyFileIsUnreadable(path), "");
}

TEST_F(ConfigBytesTest, OpensNoPipe)
{
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(Read(), "not-a-file");
    EXPECT_EQ(WhyFileIsUnreadable(path), path + " is not a regular file");
}

TEST_F(ConfigBytesTest, OpensNoDeviceBehindALink)
{
    ASSERT_EQ(symlink("/dev/zero", path.c_str()), 0);
    EXPECT_EQ(Read(), "not-a-file");
    EXPECT_EQ(WhyFileIsUnreadable(path), path + " is not a regular file");
}

TEST_F(ConfigBytesTest, OpensNoFolder)
{
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(Read(), "not-a-file");
}

TEST_F(ConfigBytesTest, FollowsALinkToAFile)
{
    WriteFile(folder.File("real.xml"), "x");
    ASSERT_EQ(symlink("real.xml", path.c_str()), 0);
    EXPECT_EQ(Read(), "read");
}

TEST_F(ConfigBytesTest, ReadsNothingThatIsTooLarge)
{
    WriteFile(path, "");
    ASSERT_EQ(truncate(path.c_str(), kMaxFileBytes), 0);
    EXPECT_EQ(Read(), "read");
    EXPECT_EQ(WhyFileIsUnreadable(path), "");
    ASSERT_EQ(truncate(path.c_str(), kMaxFileBytes + 1), 0);
    EXPECT_EQ(Read(), "too-large");
    EXPECT_EQ(WhyFileIsUnreadable(path), path + " is larger than 16 MiB");
}

}  // namespace
}  // namespace zef
