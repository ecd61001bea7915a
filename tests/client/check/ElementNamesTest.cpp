#include "check/ElementNames.h"

#include <gtest/gtest.h>

namespace zef {
namespace {

TEST(ElementNamesTest, SuggestsTheNearestName)
{
    EXPECT_EQ(HintFor("uuid", "Config"), "; is Uuid meant?");
    EXPECT_EQ(HintFor("Dedupliction", "Config"), "; is Deduplication meant?");
    EXPECT_EQ(HintFor("Compresion", "Config"), "; is Compression meant?");
    EXPECT_EQ(HintFor("Ip", "StorageObject"), "; is Ips meant?");
    EXPECT_EQ(HintFor("PASSWORD", "StorageObject"), "; is Password meant?");
}

TEST(ElementNamesTest, SuggestsNothingFarOff)
{
    EXPECT_EQ(HintFor("Timeout", "Config"), "");
    EXPECT_EQ(HintFor("x", "StorageObject"), "");
    EXPECT_EQ(HintFor(std::string(1000000, 'U'), "Config"), "");
}

TEST(ElementNamesTest, SaysWhereAKnownNameBelongs)
{
    EXPECT_EQ(HintFor("Ips", "Config"), "; it belongs under StorageObject");
    EXPECT_EQ(HintFor("Uuid", "StorageObject"), "; it belongs under Config");
    EXPECT_EQ(HintFor("Config", "Config"), "; it belongs at the top");
}

TEST(ElementNamesTest, OnlyAddressesAreRepeated)
{
    EXPECT_TRUE(IsRepeated("Ips"));
    EXPECT_FALSE(IsRepeated("Uuid"));
    EXPECT_FALSE(IsRepeated("StorageObject"));
}

}  // namespace
}  // namespace zef
