#include "gateway_fc/FibreChannelPort.h"

#include <gtest/gtest.h>

namespace {

using zef::FormatWwn;
using zef::IsTarget;
using zef::ParseRemotePortName;
using zef::ParseWwn;

TEST(FibreChannelPortTest, FindsThePlaceInARemotePortsName)
{
    const auto id = ParseRemotePortName("rport-15:2-107");
    ASSERT_TRUE(id.has_value());
    EXPECT_EQ(id->host, 15U);
    EXPECT_EQ(id->channel, 2U);
    EXPECT_EQ(id->port, 107U);
}

TEST(FibreChannelPortTest, FindsNoPlaceInOtherNames)
{
    for (const char *name : {"", "rport-", "rport-5", "rport-5:0", "rport-5:0-", "rport-5:0-1x", "rport-5:0-1 ",
                             "rport--5:0-1", "rport-5-0:1", "rport-:0-1", "vport-5:0-1", "rport-5:0-4294967296"}) {
        EXPECT_FALSE(ParseRemotePortName(name).has_value()) << name;
    }
}

TEST(FibreChannelPortTest, OrdersPlacesByNumber)
{
    EXPECT_TRUE(*ParseRemotePortName("rport-5:0-2") < *ParseRemotePortName("rport-5:0-10"));
    EXPECT_TRUE(*ParseRemotePortName("rport-5:0-10") < *ParseRemotePortName("rport-5:1-0"));
    EXPECT_TRUE(*ParseRemotePortName("rport-5:1-0") < *ParseRemotePortName("rport-10:0-0"));
}

TEST(FibreChannelPortTest, ReadsAWwn)
{
    EXPECT_EQ(ParseWwn("0x50060160bc602c5a"), 0x50060160bc602c5aULL);
    EXPECT_EQ(ParseWwn("0xFFFFFFFFFFFFFFFE"), 0xfffffffffffffffeULL);
    EXPECT_EQ(ParseWwn("0x1"), 1U);
}

TEST(FibreChannelPortTest, ReadsNoOtherText)
{
    for (const char *text : {"", "0x", "50060160bc602c5a", "0x50060160bc602c5ag", "0x50060160bc602c5a0", "0x-1",
                             "0x 1", "0x0x1", "Online", "0x50:06"}) {
        EXPECT_EQ(ParseWwn(text), std::nullopt) << text;
    }
}

TEST(FibreChannelPortTest, TakesNoWwnForNone)
{
    EXPECT_EQ(ParseWwn("0x0"), std::nullopt);
    EXPECT_EQ(ParseWwn("0x0000000000000000"), std::nullopt);
    EXPECT_EQ(ParseWwn("0xffffffffffffffff"), std::nullopt);
}

TEST(FibreChannelPortTest, WritesAWwnAsEightBytes)
{
    EXPECT_EQ(FormatWwn(0x21000024ff123456ULL), "21:00:00:24:ff:12:34:56");
    EXPECT_EQ(FormatWwn(0xABULL), "00:00:00:00:00:00:00:ab");
}

TEST(FibreChannelPortTest, FindsTheRoleOfATarget)
{
    EXPECT_TRUE(IsTarget("FCP Target"));
    EXPECT_TRUE(IsTarget("FCP Target, FCP Initiator"));
    EXPECT_TRUE(IsTarget("FCP Initiator, FCP Target"));
}

TEST(FibreChannelPortTest, FindsNoTargetInOtherRoles)
{
    for (const char *roles : {"", "unknown", "FCP Initiator", "NVMe Target", "FCP Target X", "FCP Targets, IP Port"}) {
        EXPECT_FALSE(IsTarget(roles)) << roles;
    }
}

}  // namespace
