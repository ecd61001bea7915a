#include "baseconfig/SharedBaseConfig.h"

#include "SegmentTest.h"
#include "support/WithoutFileCapabilities.h"

#include <optional>
#include <sstream>

namespace {

class SharedItemsTest : public SegmentTest {
protected:
    std::ostringstream output;
    std::ostringstream errors;
};

TEST_F(SharedItemsTest, ArePrintedWithNumberNameAndValue)
{
    auto config = zef::SharedBaseConfig::OpenOrCreate(name, error);
    ASSERT_TRUE(config.has_value()) << error;
    EXPECT_TRUE(config->Set(69, 1, error));
    EXPECT_EQ(zef::PrintSharedItems(output, errors, name), 0);
    EXPECT_EQ(output.str(), "65  maximum age of the root key (days)          365\n"
                            "66  maximum age of a master key (days)          90\n"
                            "67  time between key checks (hours, 0 for none)  24\n"
                            "69  deduplication (0 off, 1 on)                 1\n"
                            "70  compression (0 off, 1 on)                   0\n");
    EXPECT_EQ(errors.str(), "");
}

TEST_F(SharedItemsTest, AreNotPrintedWithoutASegment)
{
    EXPECT_EQ(zef::PrintSharedItems(output, errors, name), 1);
    EXPECT_EQ(output.str(), "");
    EXPECT_EQ(errors.str(), "shared memory " + name + ": cannot be opened: No such file or directory\n");
}

TEST_F(SharedItemsTest, AreNotPermittedToEverybody)
{
    Make("", 0);
    const WithoutFileCapabilities plainUser;
    EXPECT_EQ(zef::PrintSharedItems(output, errors, name), 6);
    EXPECT_EQ(output.str(), "");
    EXPECT_EQ(errors.str(), "shared memory " + name +
                                ": cannot be opened: Permission denied (does it belong to another user?)\n");
}

}  // namespace
