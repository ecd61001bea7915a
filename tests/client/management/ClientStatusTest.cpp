#include "management/ClientStatus.h"

#include "RegistryTest.h"

#include <nlohmann/json.hpp>

namespace zef {
namespace {

using nlohmann::json;

class ClientStatusTest : public RegistryTest {
};

TEST_F(ClientStatusTest, SaysSoWhenThereIsNothingYet)
{
    const json status = TakeClientStatus();
    EXPECT_EQ(status["identity"]["uuid"], nullptr);
    EXPECT_EQ(status["identity"]["local_address"], nullptr);
    EXPECT_EQ(status["identity"]["pid"], getpid());
    EXPECT_EQ(status["switches"], json({{"deduplication", "off"}, {"compression", "off"}}));
    EXPECT_EQ(status["storage"], json::array());
    EXPECT_EQ(status["links"], json::array());
}

TEST_F(ClientStatusTest, ShowsSwitchesAsTheyAre)
{
    DeduplicationConfig::GetInstance().SetDeduplicationStatus(1);
    EXPECT_EQ(TakeClientStatus()["switches"], json({{"deduplication", "on"}, {"compression", "off"}}));
}

TEST_F(ClientStatusTest, ShowsAStorageObjectWithoutItsPassword)
{
    AddWithPairs().SetWwn(0x2b);
    const json status = TakeClientStatus();
    EXPECT_EQ(status["storage"], json({{{"name", "array-1"},
                                        {"user", "zefuser"},
                                        {"link_type", "ip"},
                                        {"wwn", "0x000000000000002b"},
                                        {"addresses", {"127.0.0.11", "127.0.0.12"}}}}));
    EXPECT_EQ(status["identity"]["local_address"], "127.0.0.1");
    EXPECT_EQ(status.dump().find(sealed), std::string::npos);
}

TEST_F(ClientStatusTest, ShowsALinkThatFailed)
{
    IpGateway::Instance().Start({}, nullptr);
    (void)AddWithPairs();
    OrnLinkRequest request = {"127.0.0.1", "127.0.0.11", nullptr, 0, 4};
    EXPECT_EQ(IpGateway::Instance().CreateLink(request), -1);
    const json links = TakeClientStatus()["links"];
    IpGateway::Instance().Close();
    ASSERT_EQ(links.size(), 2U) << links;
    EXPECT_EQ(links[0]["local"], "127.0.0.1");
    EXPECT_EQ(links[0]["array"], "127.0.0.11");
    EXPECT_EQ(links[0]["state"], "failed");
    EXPECT_EQ(links[0]["up"], false);
    EXPECT_EQ(links[0]["wwn"], nullptr);
    EXPECT_EQ(links[0]["failures"], 1);
    EXPECT_NE(links[0]["cause"], nullptr);
    EXPECT_TRUE(links[0]["next_try"].is_string()) << "the library asks again";
}

TEST_F(ClientStatusTest, ShowsALinkThatHasNoPairYetOnce)
{
    IpGateway::Instance().Start({}, nullptr);
    (void)AddWithPairs();
    OrnLinkRequest request = {"127.0.0.1", "127.0.0.12", nullptr, 0, 4};
    EXPECT_EQ(IpGateway::Instance().CreateLink(request), -1);
    const json links = TakeClientStatus()["links"];
    IpGateway::Instance().Close();
    ASSERT_EQ(links.size(), 1U) << links;
    EXPECT_EQ(links[0]["array"], "127.0.0.12");
    EXPECT_EQ(links[0]["state"], "failed");
}

TEST_F(ClientStatusTest, NamesAddressesWithoutAPair)
{
    (void)AddWithPairs();
    ProbeRecord::Instance().NotReached("127.0.0.12", kClosedPort, "127.0.0.1: Connection refused");
    json links = TakeClientStatus()["links"];
    ASSERT_EQ(links.size(), 1U) << links;
    EXPECT_EQ(links[0]["local"], nullptr);
    EXPECT_EQ(links[0]["array"], "127.0.0.12");
    EXPECT_EQ(links[0]["state"], "no link");
    EXPECT_EQ(links[0]["failures"], 1);
    EXPECT_EQ(links[0]["cause"], "127.0.0.1: Connection refused");
    EXPECT_TRUE(links[0]["next_try"].is_string());

    ProbeRecord::Instance().Reached("127.0.0.12", kClosedPort);
    links = TakeClientStatus()["links"];
    EXPECT_EQ(links[0]["cause"], "every pair led to another array, or was one too many or deleted");
    EXPECT_EQ(links[0]["next_try"], nullptr);
    ForgetProbe("127.0.0.12");
    EXPECT_EQ(TakeClientStatus()["links"][0]["cause"], nullptr);
}

TEST_F(ClientStatusTest, ShowsFibreChannelLinks)
{
    GatewayOptions options;
    options.sysfsRoot = ZEF_TEST_SYSFS;
    IpGateway::Instance().Start(options, nullptr);
    StorageDescription storage = Description();
    storage.linkType = StorageLinkType::kFibreChannel;
    storage.addresses.clear();
    (void)AddStorage(storage);
    const json status = TakeClientStatus();
    IpGateway::Instance().Close();
    EXPECT_EQ(status["storage"][0]["link_type"], "fibre-channel");
    ASSERT_FALSE(status["links"].empty());
    EXPECT_EQ(status["links"][0]["state"], "up");
    EXPECT_EQ(status["links"][0]["up"], true);
    EXPECT_TRUE(status["links"][0]["wwn"].is_string());
    EXPECT_EQ(status["identity"]["local_address"], status["links"][0]["local"]);
}

}  // namespace
}  // namespace zef
