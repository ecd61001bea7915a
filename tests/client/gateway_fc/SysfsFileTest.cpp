#include "gateway_fc/SysfsFile.h"

#include "SysfsTest.h"

#include <gmock/gmock.h>

#include <optional>

namespace {

using zef::ListSysfsDirectory;
using zef::ReadSysfsLine;

class SysfsFileTest : public SysfsTest {};

TEST_F(SysfsFileTest, GivesTheFirstLineWithoutWhiteSpaceAtItsEnds)
{
    Write("file", " Online \nsecond\n");
    EXPECT_EQ(ReadSysfsLine(root + "/file"), "Online");
}

TEST_F(SysfsFileTest, GivesALineWithoutAnEnd)
{
    Write("file", "Not Present");
    EXPECT_EQ(ReadSysfsLine(root + "/file"), "Not Present");
}

TEST_F(SysfsFileTest, GivesAnEmptyLine)
{
    Write("file", "\n");
    EXPECT_EQ(ReadSysfsLine(root + "/file"), "");
}

TEST_F(SysfsFileTest, GivesNothingOfAnEmptyFile)
{
    Write("file", "");
    EXPECT_EQ(ReadSysfsLine(root + "/file"), std::nullopt);
}

TEST_F(SysfsFileTest, GivesNothingOfAFileThatIsNotThere)
{
    EXPECT_EQ(ReadSysfsLine(root + "/file"), std::nullopt);
}

TEST_F(SysfsFileTest, GivesNothingOfADirectory)
{
    EXPECT_EQ(ReadSysfsLine(root), std::nullopt);
}

TEST_F(SysfsFileTest, ReadsNoMoreThanAnAttributeHolds)
{
    Write("file", std::string(100000, 'x'));
    EXPECT_EQ(ReadSysfsLine(root + "/file"), std::string(255, 'x'));
}

TEST_F(SysfsFileTest, ListsADirectory)
{
    Write("a/file", "");
    Write("b/file", "");
    EXPECT_THAT(ListSysfsDirectory(root), ::testing::UnorderedElementsAre("a", "b"));
}

TEST_F(SysfsFileTest, ListsNothingOfADirectoryThatIsNotThere)
{
    EXPECT_TRUE(ListSysfsDirectory(root + "/missing").empty());
}

}  // namespace
