#include "log/JournalStream.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include <sys/stat.h>

namespace {

using zef::IsJournalStream;

class JournalStreamTest : public ::testing::Test {
protected:
    JournalStreamTest() : file(std::tmpfile(), std::fclose)
    {
        EXPECT_EQ(fstat(Descriptor(), &status), 0);
    }

    int Descriptor() const { return fileno(file.get()); }

    std::string Device() const { return std::to_string(status.st_dev); }

    std::string Inode() const { return std::to_string(status.st_ino); }

private:
    std::unique_ptr<FILE, int (*)(FILE *)> file;
    struct stat status = {};
};

TEST_F(JournalStreamTest, IsTheFileThatTheVariableNames)
{
    EXPECT_TRUE(IsJournalStream((Device() + ":" + Inode()).c_str(), Descriptor()));
}

TEST_F(JournalStreamTest, IsNotAnotherFileOfTheDevice)
{
    EXPECT_FALSE(IsJournalStream((Device() + ":" + Inode() + "1").c_str(), Descriptor()));
}

TEST_F(JournalStreamTest, IsNotTheSameInodeOfAnotherDevice)
{
    EXPECT_FALSE(IsJournalStream((Device() + "1:" + Inode()).c_str(), Descriptor()));
}

TEST_F(JournalStreamTest, IsNothingWithoutTheVariable)
{
    EXPECT_FALSE(IsJournalStream(nullptr, Descriptor()));
}

TEST_F(JournalStreamTest, IsNothingWhenTheVariableIsMalformed)
{
    for (const std::string &text : {std::string(), std::string(":"), Device(), Device() + ":", ":" + Inode(),
                                    Device() + ":" + Inode() + " ", " " + Device() + ":" + Inode(),
                                    Device() + "." + Inode(), Device() + ":99999999999999999999"}) {
        EXPECT_FALSE(IsJournalStream(text.c_str(), Descriptor())) << text;
    }
}

TEST_F(JournalStreamTest, IsNothingWhenTheDescriptorIsNotOpen)
{
    EXPECT_FALSE(IsJournalStream((Device() + ":" + Inode()).c_str(), -1));
}

}  // namespace
