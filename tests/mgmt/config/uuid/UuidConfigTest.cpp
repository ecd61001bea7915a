#include "support/FreshProcess.h"
#include "support/LibraryTest.h"
#include "support/XmlDocument.h"

#include <zef_config/UuidConfig.h>

#include <string>
#include <thread>
#include <vector>

#include <cstdint>

namespace {

using ::testing::ElementsAre;

constexpr const char *kUuid = "0123abcd-ABCD-0a1B-9f9F-00112233aabb";
constexpr const char *kSystemUuid = "ffffffff-eeee-dddd-cccc-bbbbbbbbbbbb";
constexpr uint64_t kReport = 150000;

std::string Uuid(const std::string &text)
{
    return "<Uuid type='string'>" + text + "</Uuid>";
}

std::string SystemUuid(const std::string &text)
{
    return "<SystemUuid type='string'>" + text + "</SystemUuid>";
}

class UuidConfigTest : public LibraryTest {
protected:
    // Takes the UUID from an element Config with these children.
    int32_t SetFromConfig(const std::string &children)
    {
        const XmlDocument document("<Config>" + children + "</Config>");
        ConfigNode config(document.Root());
        return uuid.SetFromConfig(config);
    }

    // As for SetFromConfig, which is expected to succeed; what was recorded of it is forgotten.
    void Hold(const std::string &text)
    {
        ASSERT_EQ(SetFromConfig(Uuid(text)), 0);
        platform.calls.clear();
    }

    UuidConfig &uuid = UuidConfig::GetInstance();
};

TEST(UuidConfigSingletonTest, HoldsNoUuidAtFirst)
{
    EXPECT_IN_FRESH_PROCESS(UuidConfig::GetInstance().GetUuid().empty());
}

TEST(UuidConfigSingletonTest, IsTheSameOnEveryThread)
{
    constexpr int kThreads = 8;
    std::vector<UuidConfig *> instances(kThreads);
    std::vector<std::thread> threads;
    for (UuidConfig *&instance : instances) {
        threads.emplace_back([&instance] { instance = &UuidConfig::GetInstance(); });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_THAT(instances, ::testing::Each(&UuidConfig::GetInstance()));
}

TEST_F(UuidConfigTest, AcceptsDigitsOfEitherCase)
{
    EXPECT_TRUE(uuid.IsValidUuid("0123abcd-ABCD-0a1B-9f9F-00112233aabb"));
    EXPECT_TRUE(uuid.IsValidUuid("00000000-0000-0000-0000-000000000000"));
    EXPECT_TRUE(uuid.IsValidUuid("ABCDEFAB-CDEF-ABCD-EFAB-CDEFABCDEFAB"));
    EXPECT_TRUE(uuid.IsValidUuid("abcdefab-cdef-abcd-efab-cdefabcdefab"));
    EXPECT_TRUE(uuid.IsValidUuid("99999999-9999-9999-9999-999999999999"));
}

TEST_F(UuidConfigTest, RefusesEveryOtherText)
{
    const std::string valid = kUuid;
    const std::vector<std::string> texts = {
        "",
        valid + " ",
        " " + valid,
        valid + "\n",
        "{" + valid + "}",
        valid + "0",
        "0" + valid,
        valid.substr(1),
        valid.substr(0, 35),
        "see " + valid + " there",
        valid + valid,
        valid + "\n" + valid,
        std::string(valid + '\0'),
        std::string(valid + '\0' + "x"),
        "g123abcd-ABCD-0a1B-9f9F-00112233aabb",
        "G123abcd-ABCD-0a1B-9f9F-00112233aabb",
        "0123abcd-ABCD-0a1B-9f9F-00112233aab@",
        "0123abcd-ABCD-0a1B-9f9F-00112233aab:",
        "0123abcd-ABCD-0a1B-9f9F-00112233aab`",
        "0123abcd_ABCD_0a1B_9f9F_00112233aabb",
        "0123abcdABCD0a1B9f9F00112233aabb",
        "0123abc-dABCD-0a1B-9f9F-00112233aabb",
        "0123abcd-ABC-D0a1B-9f9F-00112233aabb",
        "0123abcd-ABCD-0a1B-9f9-F00112233aabb",
        "0123abcd-ABCD-0a1B-00112233aabb",
        "0123abcd-ABCD-0a1B-9f9F-9f9F-00112233aabb",
        "0123abcd-ABCDE-0a1B-9f9F-00112233aabb",
        "0123abcd-ABCD-0a1B-9f9-00112233aabb",
        "0123abcd-ABCD-0a1B-9f9F-9f9F-00112233",
        "------------------------------------",
    };
    for (const std::string &text : texts) {
        EXPECT_FALSE(uuid.IsValidUuid(text)) << text;
    }
}

TEST_F(UuidConfigTest, ValidationChangesNothing)
{
    Hold(kUuid);
    EXPECT_TRUE(uuid.IsValidUuid(kSystemUuid));
    EXPECT_EQ(uuid.GetUuid(), kUuid);
    EXPECT_THAT(platform.calls, ElementsAre());
}

TEST_F(UuidConfigTest, TakesTheUuidAsItStandsAndHandsItToTheGateway)
{
    EXPECT_EQ(SetFromConfig(Uuid(kUuid)), 0);
    EXPECT_EQ(uuid.GetUuid(), kUuid);
    EXPECT_THAT(platform.calls, ElementsAre("OrnSetClientUuid(" + std::string(kUuid) + ")"));
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(UuidConfigTest, TakesAUuidWithoutTypeToo)
{
    EXPECT_EQ(SetFromConfig("<Uuid>" + std::string(kUuid) + "</Uuid>"), 0);
    EXPECT_EQ(uuid.GetUuid(), kUuid);
}

TEST_F(UuidConfigTest, ASecondUuidReplacesTheFirst)
{
    Hold(kUuid);
    EXPECT_EQ(SetFromConfig(Uuid(kSystemUuid)), 0);
    EXPECT_EQ(uuid.GetUuid(), kSystemUuid);
}

TEST_F(UuidConfigTest, AValidUuidWinsOverTheSystemUuid)
{
    EXPECT_EQ(SetFromConfig(SystemUuid(kSystemUuid) + Uuid(kUuid)), 0);
    EXPECT_EQ(uuid.GetUuid(), kUuid);
    EXPECT_THAT(platform.calls, ElementsAre("OrnSetClientUuid(" + std::string(kUuid) + ")"));
}

TEST_F(UuidConfigTest, AnInvalidUuidFallsBackToTheSystemUuid)
{
    EXPECT_EQ(SetFromConfig(Uuid("{" + std::string(kUuid) + "}") + SystemUuid(kSystemUuid)), 0);
    EXPECT_EQ(uuid.GetUuid(), kSystemUuid);
    EXPECT_THAT(platform.calls, ElementsAre("OrnSetClientUuid(" + std::string(kSystemUuid) + ")"));
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(UuidConfigTest, AMissingUuidIsRefusedSilentlyWithoutAFallback)
{
    Hold(kUuid);
    EXPECT_EQ(SetFromConfig(SystemUuid(kSystemUuid)), -1);
    EXPECT_EQ(uuid.GetUuid(), kUuid);
    EXPECT_THAT(platform.calls, ElementsAre());
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(UuidConfigTest, AUuidThatIsNoStringOrHasNoTextIsRefusedLikeAMissingOne)
{
    Hold(kUuid);
    const std::string other = kSystemUuid;
    for (const std::string &element : {"<Uuid type='int'>" + other + "</Uuid>", "<Uuid type=''>" + other + "</Uuid>",
                                       std::string("<Uuid type='string'/>"), std::string("<Uuid></Uuid>"),
                                       "<uuid>" + other + "</uuid>", "<Group>" + Uuid(other) + "</Group>"}) {
        EXPECT_EQ(SetFromConfig(element + SystemUuid(other)), -1) << element;
        EXPECT_EQ(uuid.GetUuid(), kUuid) << element;
    }
    EXPECT_THAT(platform.calls, ElementsAre());
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(UuidConfigTest, TheEmptyNodeIsRefusedLikeAMissingUuid)
{
    Hold(kUuid);
    ConfigNode empty;
    EXPECT_EQ(uuid.SetFromConfig(empty), -1);
    EXPECT_EQ(uuid.GetUuid(), kUuid);
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(UuidConfigTest, AnInvalidUuidWithoutSystemUuidIsRefusedSilentlyAndStaysHeld)
{
    EXPECT_EQ(SetFromConfig(Uuid("first bad")), -1);
    EXPECT_EQ(uuid.GetUuid(), "first bad");
    EXPECT_EQ(SetFromConfig(Uuid("second bad") + "<SystemUuid type='bool'>" + kSystemUuid + "</SystemUuid>"), -1);
    EXPECT_EQ(uuid.GetUuid(), "second bad");
    EXPECT_EQ(SetFromConfig(Uuid("third bad") + "<SystemUuid/>"), -1);
    EXPECT_EQ(uuid.GetUuid(), "third bad");
    EXPECT_THAT(platform.calls, ElementsAre());
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(UuidConfigTest, TwoInvalidTextsAreReportedWithTheSecond)
{
    EXPECT_EQ(SetFromConfig(Uuid("bad") + SystemUuid("worse")), -1);
    EXPECT_EQ(uuid.GetUuid(), "worse");
    EXPECT_THAT(platform.calls, ElementsAre());
    ASSERT_EQ(platform.logs.size(), 1U);
    const LogRecord &record = platform.logs[0];
    EXPECT_EQ(record.module, 666);
    EXPECT_EQ(record.level, 3);
    EXPECT_EQ(record.file, "src/mgmt/config/uuid/UuidConfig.cpp");
    EXPECT_EQ(record.function, "SetFromConfig");
    EXPECT_EQ(record.format, "PROTOCOL: zef config uuid or systemuuid invalid format:%s .");
    EXPECT_EQ(record.text, "PROTOCOL: zef config uuid or systemuuid invalid format:worse .");
}

TEST_F(UuidConfigTest, ARefusalByTheGatewayGivesItsOwnCode)
{
    for (const int code : {37, -5, 1}) {
        platform.logs.clear();
        platform.jiffies += kReport;
        platform.setGatewayUuidResult = code;
        EXPECT_EQ(SetFromConfig(Uuid(kUuid)), code);
        EXPECT_EQ(uuid.GetUuid(), kUuid);
        ASSERT_EQ(platform.logs.size(), 1U);
        const LogRecord &record = platform.logs[0];
        EXPECT_EQ(record.module, 666);
        EXPECT_EQ(record.level, 3);
        EXPECT_EQ(record.file, "src/mgmt/config/uuid/UuidConfig.cpp");
        EXPECT_EQ(record.function, "SetFromConfig");
        EXPECT_EQ(record.format, "PROTOCOL: zef config set from config uuid:%s ret:%d .");
        EXPECT_EQ(record.text, "PROTOCOL: zef config set from config uuid:" + std::string(kUuid) +
                                   " ret:" + std::to_string(code) + " .");
        EXPECT_EQ(record.callsBefore, platform.calls.size());
    }
}

TEST_F(UuidConfigTest, FourInvalidTextsPrintThreeMessagesAndSuppressOne)
{
    const std::string children = Uuid("bad") + SystemUuid("worse");
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(SetFromConfig(children), -1);
        platform.jiffies += 4999;
    }
    EXPECT_EQ(platform.ProtocolTexts().size(), 3U);
    platform.logs.clear();

    platform.jiffies += kReport;
    EXPECT_EQ(SetFromConfig(children), -1);
    ASSERT_EQ(platform.logs.size(), 2U);
    EXPECT_EQ(platform.logs[0].text,
              "print: 1 messages suppressed.SetFromConfig,line=" + std::to_string(platform.logs[1].line) + ".");
    EXPECT_EQ(platform.logs[1].text, "PROTOCOL: zef config uuid or systemuuid invalid format:worse .");
}

TEST_F(UuidConfigTest, ASuppressedMessageDoesNotChangeTheGatewaysCode)
{
    platform.setGatewayUuidResult = 9;
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(SetFromConfig(Uuid(kUuid)), 9);
    }
    EXPECT_EQ(platform.ProtocolTexts().size(), 3U);
    EXPECT_EQ(platform.calls.size(), 5U);
    platform.logs.clear();

    platform.jiffies += kReport;
    EXPECT_EQ(SetFromConfig(Uuid(kUuid)), 9);
    ASSERT_EQ(platform.logs.size(), 2U);
    EXPECT_EQ(platform.logs[0].text,
              "print: 2 messages suppressed.SetFromConfig,line=" + std::to_string(platform.logs[1].line) + ".");
}

TEST_F(UuidConfigTest, TheTwoMessagesAreThrottledApart)
{
    platform.setGatewayUuidResult = 9;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(SetFromConfig(Uuid("bad") + SystemUuid("worse")), -1);
        EXPECT_EQ(SetFromConfig(Uuid(kUuid)), 9);
    }
    EXPECT_EQ(platform.ProtocolTexts().size(), 6U);
}

}  // namespace
