#include "app/StatusReport.h"

#include <gtest/gtest.h>

namespace zef {
namespace {

LinkState Link(const std::string &local, const std::string &array, LinkPhase phase)
{
    LinkState link;
    link.local = local;
    link.array = array;
    link.phase = phase;
    link.tries = 1;
    return link;
}

TEST(StatusReportTest, SaysSoWhenThereIsNothingYet)
{
    EXPECT_EQ(FormatStatus({}), "Client UUID:   -\nLocal address: -\nStorage:       -, WWN -\nNo links.\n");
}

TEST(StatusReportTest, ShowsOneAlignedLineALink)
{
    ClientStatus status;
    status.uuid = "0123abcd-ABCD-0a1B-9f9F-00112233aabb";
    status.localAddress = "10.0.0.1";
    status.storageName = "array-1";
    status.storageWwn = 0x6001405e7a11c0de;
    status.links = {Link("10.0.0.1", "10.0.0.9", LinkPhase::Up), Link("10.0.0.100", "10.0.0.10", LinkPhase::Failed)};
    status.links[0].wwn = 0x6001405e7a11c0de;
    status.links[1].tries = 12;
    status.links[1].cause = "Connection refused";

    EXPECT_EQ(FormatStatus(status), "Client UUID:   0123abcd-ABCD-0a1B-9f9F-00112233aabb\n"
                                    "Local address: 10.0.0.1\n"
                                    "Storage:       array-1, WWN 0x6001405e7a11c0de\n"
                                    "LOCAL       ARRAY      STATE   WWN                 TRIES  LAST CAUSE\n"
                                    "10.0.0.1    10.0.0.9   up      0x6001405e7a11c0de  1      -\n"
                                    "10.0.0.100  10.0.0.10  failed  -                   12     Connection refused\n");
}

TEST(StatusReportTest, NamesAddressesWithoutALink)
{
    ClientStatus status;
    status.withoutLink = {"192.0.2.1"};
    EXPECT_NE(FormatStatus(status).find(
                  "LOCAL  ARRAY      STATE    WWN  TRIES  LAST CAUSE\n"
                  "-      192.0.2.1  no link  -    -      no local address reaches it, or it led to another array\n"),
              std::string::npos);
}

TEST(StatusReportTest, KeepsLeadingZerosOfAWwn)
{
    ClientStatus status;
    status.links = {Link("10.0.0.1", "10.0.0.9", LinkPhase::Up)};
    status.links[0].wwn = 0x2b;
    EXPECT_NE(FormatStatus(status).find(" 0x000000000000002b "), std::string::npos);
}

TEST(StatusReportTest, DoesNotLetAnArrayForgeALine)
{
    ClientStatus status;
    status.links = {Link("10.0.0.1", "10.0.0.9", LinkPhase::Failed)};
    status.links[0].cause = "no\n10.0.0.1  10.0.0.9  up\x1b[0m";
    EXPECT_NE(FormatStatus(status).find("no?10.0.0.1  10.0.0.9  up?[0m\n"), std::string::npos);
}

}  // namespace
}  // namespace zef
