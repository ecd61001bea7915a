#include "support/LibraryTest.h"

#include <zef_config/ConfigNode.h>

namespace {

TEST(ConfigNodeTest, ANodeOfANullElementHasSizeOne)
{
    EXPECT_EQ(ConfigNode(nullptr).Size(), 1);
}

}  // namespace
