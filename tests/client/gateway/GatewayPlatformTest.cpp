#include "GatewayTest.h"

#include <zef_config/platform/Gateway.h>

namespace zef {

// The process-wide gateway, through the functions that the library calls.
class GatewayPlatformTest : public GatewayTest {
protected:
    ~GatewayPlatformTest() override { IpGateway::Instance().Close(); }

    void StartInstance() { IpGateway::Instance().Start(options, record.Listener()); }
};

TEST_F(GatewayPlatformTest, ALinkLivesFromItsCreationToItsDeletion)
{
    StartArray();
    StartInstance();
    EXPECT_EQ(OrnSetClientUuid(kUuid), 0);
    const OrnLinkRequest request{"127.0.0.2", "127.0.0.1", callback, 0, 4};
    EXPECT_EQ(OrnCreateTarnLinks(&request), 0);

    OrnLinkInfo info{UINT64_MAX, -1, 0, ""};
    EXPECT_EQ(OrnGetLinkInfoByIpPair("127.0.0.2", "127.0.0.1", &info), 0);
    EXPECT_EQ(info.wwn, tgt->Wwn());
    EXPECT_EQ(info.status, 0);

    EXPECT_EQ(OrnDeleteTarnLink("127.0.0.2", "127.0.0.1"), 0);
    EXPECT_EQ(OrnGetLinkInfoByIpPair("127.0.0.2", "127.0.0.1", &info), -1);
    EXPECT_EQ(OrnDeleteTarnLink("127.0.0.2", "127.0.0.1"), -1);
}

TEST_F(GatewayPlatformTest, RefusesLinksWhileTheGatewayDoesNotRun)
{
    const OrnLinkRequest request{"127.0.0.2", "127.0.0.1", callback, 0, 4};
    EXPECT_EQ(OrnCreateTarnLinks(&request), -1);
    EXPECT_EQ(callbackCalls, 0);
}

TEST_F(GatewayPlatformTest, RefusesWhatIsMissing)
{
    OrnLinkInfo info{};
    uint32_t count = 0;
    EXPECT_EQ(OrnCreateTarnLinks(nullptr), -1);
    EXPECT_EQ(OrnDeleteTarnLink(nullptr, "127.0.0.1"), -1);
    EXPECT_EQ(OrnDeleteTarnLink("127.0.0.1", nullptr), -1);
    EXPECT_EQ(OrnGetLinkInfoByIpPair(nullptr, "127.0.0.1", &info), -1);
    EXPECT_EQ(OrnGetLinkInfoByIpPair("127.0.0.1", nullptr, &info), -1);
    EXPECT_EQ(OrnGetLinkInfoByIpPair("127.0.0.1", "127.0.0.1", nullptr), -1);
    EXPECT_EQ(OrnGetAllLinkInfoByEngine(nullptr, 1, &count, 1), -1);
    EXPECT_EQ(OrnGetAllLinkInfoByEngine(&info, 1, nullptr, 1), -1);
    EXPECT_EQ(OrnClientRegCredential(nullptr, 1, "none"), -1);
    EXPECT_EQ(OrnSetClientUuid(nullptr), -1);
    EXPECT_EQ(OrnSetClientUuid(""), -1);
}

TEST_F(GatewayPlatformTest, KeepsARegisteredCallbackAndSaysSo)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(OrnClientRegCredential(callback, 1, "SomeCallback"), 0);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("credential callback SomeCallback of kind 1 is registered"),
              std::string::npos);
}

TEST_F(GatewayPlatformTest, GivesNoFibreChannelLinksWhereTheMachineHasNone)
{
    options.sysfsRoot = "/nowhere";
    StartInstance();
    OrnLinkInfo info{5, -1, 0, ""};
    uint32_t count = 9;
    EXPECT_EQ(OrnGetAllLinkInfoByEngine(&info, 1, &count, 1), 0);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(info.wwn, 5u);
    EXPECT_EQ(info.status, -1);
}

}  // namespace zef
