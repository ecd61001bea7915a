#include "support/FreshProcess.h"
#include "support/LibraryTest.h"
#include "support/XmlDocument.h"

#include <zef_config/DeduplicationConfig.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <climits>
#include <cstdint>

namespace {

using ::testing::ElementsAre;

constexpr uint64_t kBurst = 15000;
constexpr uint64_t kReport = 150000;

std::string Switches(const std::string &deduplication, const std::string &compression)
{
    return "<Deduplication type='string'>" + deduplication + "</Deduplication><Compression type='string'>" +
           compression + "</Compression>";
}

// Every case begins with both switches off.
class DeduplicationConfigTest : public LibraryTest {
protected:
    DeduplicationConfigTest() { Hold(0, 0); }

    ~DeduplicationConfigTest() override
    {
        platform.onSetItem = [](int, int64_t) { return 0; };
        Hold(0, 0);
    }

    void Hold(int deduplication, int compression)
    {
        EXPECT_EQ(switches.SetDeduplicationStatus(deduplication), 0);
        EXPECT_EQ(switches.SetCompression(compression), 0);
        platform.calls.clear();
    }

    int SetFromConfig(const std::string &children)
    {
        const XmlDocument document("<Config>" + children + "</Config>");
        ConfigNode config(document.Root());
        return switches.SetFromConfig(config);
    }

    // Publication of this item fails from now on.
    void Refuse(int item, int code)
    {
        platform.onSetItem = [item, code](int asked, int64_t) { return asked == item ? code : 0; };
    }

    // Expects one protocol message, written after every call so far.
    void ExpectMessage(const std::string &function, const std::string &format, const std::string &text)
    {
        ASSERT_EQ(platform.logs.size(), 1U);
        const LogRecord &record = platform.logs[0];
        EXPECT_EQ(record.module, 666);
        EXPECT_EQ(record.level, 3);
        EXPECT_EQ(record.file, "src/mgmt/config/deduplication/DeduplicationConfig.cpp");
        EXPECT_EQ(record.function, function);
        EXPECT_EQ(record.reserved, 0);
        EXPECT_EQ(record.format, format);
        EXPECT_EQ(record.text, text);
        EXPECT_EQ(record.callsBefore, platform.calls.size());
    }

    DeduplicationConfig &switches = DeduplicationConfig::GetInstance();
};

TEST(DeduplicationConfigSingletonTest, BothSwitchesAreOffAtFirst)
{
    EXPECT_IN_FRESH_PROCESS(DeduplicationConfig::GetInstance().GetDeduplication() == 0 &&
                            DeduplicationConfig::GetInstance().GetCompression() == 0);
}

TEST(DeduplicationConfigSingletonTest, IsTheSameOnEveryThread)
{
    constexpr int kThreads = 8;
    std::vector<DeduplicationConfig *> instances(kThreads);
    std::vector<std::thread> threads;
    for (DeduplicationConfig *&instance : instances) {
        threads.emplace_back([&instance] { instance = &DeduplicationConfig::GetInstance(); });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_THAT(instances, ::testing::Each(&DeduplicationConfig::GetInstance()));
}

// The rule

TEST_F(DeduplicationConfigTest, TheRuleRefusesCompressionWithoutDeduplicationAlone)
{
    Hold(0, 0);
    EXPECT_EQ(switches.SwitchConditionCheck(), 0);
    Hold(1, 0);
    EXPECT_EQ(switches.SwitchConditionCheck(), 0);
    Hold(1, 1);
    EXPECT_EQ(switches.SwitchConditionCheck(), 0);
    Hold(0, 1);
    EXPECT_EQ(switches.SwitchConditionCheck(), -1);
    EXPECT_THAT(platform.calls, ElementsAre());
    EXPECT_TRUE(platform.logs.empty());
}

// Publishing

TEST_F(DeduplicationConfigTest, PublishesDeduplicationAndThenCompression)
{
    Hold(1, 0);
    EXPECT_EQ(switches.SetToPShim(), 0);
    EXPECT_THAT(platform.calls, ElementsAre("ShmBaseCfgSetCfgVal(69,1)", "ShmBaseCfgSetCfgVal(70,0)"));
    Hold(1, 1);
    EXPECT_EQ(switches.SetToPShim(), 0);
    EXPECT_THAT(platform.calls, ElementsAre("ShmBaseCfgSetCfgVal(69,1)", "ShmBaseCfgSetCfgVal(70,1)"));
    Hold(0, 0);
    EXPECT_EQ(switches.SetToPShim(), 0);
    EXPECT_THAT(platform.calls, ElementsAre("ShmBaseCfgSetCfgVal(69,0)", "ShmBaseCfgSetCfgVal(70,0)"));
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(DeduplicationConfigTest, PublishesNothingAgainstTheRule)
{
    Hold(0, 1);
    EXPECT_EQ(switches.SetToPShim(), -1);
    EXPECT_THAT(platform.calls, ElementsAre());
    ExpectMessage("SetToPShim", "PROTOCOL: zef config set switch err: disallowed settings.\n",
                  "PROTOCOL: zef config set switch err: disallowed settings.\n");
}

TEST_F(DeduplicationConfigTest, AFailureToPublishDeduplicationEndsThePublication)
{
    Refuse(69, 5);
    EXPECT_EQ(switches.SetToPShim(), 5);
    EXPECT_THAT(platform.calls, ElementsAre("ShmBaseCfgSetCfgVal(69,0)"));
    ExpectMessage("SetToPShim", "PROTOCOL: zef config set dedup switch error %d.\n",
                  "PROTOCOL: zef config set dedup switch error 5.\n");
}

TEST_F(DeduplicationConfigTest, AFailureToPublishCompressionIsReportedInItsOwnWords)
{
    Refuse(70, -7);
    EXPECT_EQ(switches.SetToPShim(), -7);
    EXPECT_THAT(platform.calls, ElementsAre("ShmBaseCfgSetCfgVal(69,0)", "ShmBaseCfgSetCfgVal(70,0)"));
    ExpectMessage("SetToPShim", "PROTOCOL: zef config set compr switch error %d.\n",
                  "PROTOCOL: zef config set compr switch error -7.\n");
}

// Loading

TEST_F(DeduplicationConfigTest, LoadsAndPublishesBothSwitches)
{
    EXPECT_EQ(SetFromConfig(Switches("ON", "OFF")), 0);
    EXPECT_EQ(switches.GetDeduplication(), 1);
    EXPECT_EQ(switches.GetCompression(), 0);
    EXPECT_THAT(platform.calls, ElementsAre("ShmBaseCfgSetCfgVal(69,1)", "ShmBaseCfgSetCfgVal(70,0)"));
    EXPECT_EQ(SetFromConfig(Switches("ON", "ON")), 0);
    EXPECT_EQ(switches.GetCompression(), 1);
    EXPECT_EQ(SetFromConfig(Switches("OFF", "OFF")), 0);
    EXPECT_EQ(switches.GetDeduplication(), 0);
    EXPECT_EQ(switches.GetCompression(), 0);
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(DeduplicationConfigTest, AMissingTypeIsAccepted)
{
    EXPECT_EQ(SetFromConfig("<Compression>ON</Compression><Deduplication>ON</Deduplication>"), 0);
    EXPECT_EQ(switches.GetDeduplication(), 1);
    EXPECT_EQ(switches.GetCompression(), 1);
}

TEST_F(DeduplicationConfigTest, ForbiddenSettingsAreHeldAndNotPublished)
{
    Hold(1, 0);
    EXPECT_EQ(SetFromConfig(Switches("OFF", "ON")), -1);
    EXPECT_EQ(switches.GetDeduplication(), 0);
    EXPECT_EQ(switches.GetCompression(), 1);
    EXPECT_THAT(platform.calls, ElementsAre());
    ExpectMessage("SetToPShim", "PROTOCOL: zef config set switch err: disallowed settings.\n",
                  "PROTOCOL: zef config set switch err: disallowed settings.\n");
}

TEST_F(DeduplicationConfigTest, AFailedPublicationGivesItsCodeAndKeepsWhatWasLoaded)
{
    Refuse(69, 12);
    EXPECT_EQ(SetFromConfig(Switches("ON", "ON")), 12);
    EXPECT_EQ(switches.GetDeduplication(), 1);
    EXPECT_EQ(switches.GetCompression(), 1);
    Refuse(70, 13);
    EXPECT_EQ(SetFromConfig(Switches("ON", "ON")), 13);
}

TEST_F(DeduplicationConfigTest, CompressionIsReadFirst)
{
    EXPECT_EQ(SetFromConfig(""), -1);
    ExpectMessage("SetFromConfig", "PROTOCOL: zef config err not found %s .",
                  "PROTOCOL: zef config err not found Compression .");
}

TEST_F(DeduplicationConfigTest, TheEmptyNodeHasNoSwitches)
{
    ConfigNode empty;
    EXPECT_EQ(switches.SetFromConfig(empty), -1);
    ExpectMessage("SetFromConfig", "PROTOCOL: zef config err not found %s .",
                  "PROTOCOL: zef config err not found Compression .");
}

TEST_F(DeduplicationConfigTest, AMissingDeduplicationLeavesCompressionStored)
{
    EXPECT_EQ(SetFromConfig("<Compression type='string'>ON</Compression>"), -1);
    EXPECT_EQ(switches.GetCompression(), 1);
    EXPECT_EQ(switches.GetDeduplication(), 0);
    EXPECT_THAT(platform.calls, ElementsAre());
    ExpectMessage("SetFromConfig", "PROTOCOL: zef config err not found %s .",
                  "PROTOCOL: zef config err not found Deduplication .");
}

TEST_F(DeduplicationConfigTest, AMissingCompressionEndsTheLoading)
{
    EXPECT_EQ(SetFromConfig("<Deduplication type='string'>ON</Deduplication>"), -1);
    EXPECT_EQ(switches.GetDeduplication(), 0);
    EXPECT_THAT(platform.calls, ElementsAre());
}

TEST_F(DeduplicationConfigTest, ASwitchThatIsNoStringOrHasNoTextIsNotFound)
{
    for (const char *element : {"<Compression type='bool'>ON</Compression>", "<Compression type='string'/>",
                                "<Compression type='int'>ON</Compression>", "<compression>ON</compression>",
                                "<Group><Compression>ON</Compression></Group>"}) {
        platform.logs.clear();
        platform.jiffies += kReport;
        EXPECT_EQ(SetFromConfig(std::string(element) + "<Deduplication>ON</Deduplication>"), -1) << element;
        ExpectMessage("SetFromConfig", "PROTOCOL: zef config err not found %s .",
                      "PROTOCOL: zef config err not found Compression .");
    }
    EXPECT_EQ(switches.GetCompression(), 0);
    EXPECT_EQ(switches.GetDeduplication(), 0);
}

TEST_F(DeduplicationConfigTest, EveryOtherTextIsIncorrectAndNamed)
{
    for (const char *word : {"on", "off", "On", "ON ", " OFF", "ONN", "O", "OF", "OFFF", "1", "true"}) {
        const std::string text = word;
        platform.logs.clear();
        platform.jiffies += kReport;
        Hold(0, 1);
        EXPECT_EQ(SetFromConfig(Switches("ON", text)), -1) << text;
        EXPECT_EQ(switches.GetCompression(), 1) << text;
        EXPECT_EQ(switches.GetDeduplication(), 0) << text;
        EXPECT_THAT(platform.calls, ElementsAre());
        ExpectMessage("SetFromConfig", "PROTOCOL: zef config set switch %s -> %s, incorrect value.\n",
                      "PROTOCOL: zef config set switch Compression -> " + text + ", incorrect value.\n");
    }
}

TEST_F(DeduplicationConfigTest, AnIncorrectDeduplicationLeavesCompressionStored)
{
    EXPECT_EQ(SetFromConfig(Switches("maybe", "ON")), -1);
    EXPECT_EQ(switches.GetCompression(), 1);
    EXPECT_EQ(switches.GetDeduplication(), 0);
    EXPECT_THAT(platform.calls, ElementsAre());
    ExpectMessage("SetFromConfig", "PROTOCOL: zef config set switch %s -> %s, incorrect value.\n",
                  "PROTOCOL: zef config set switch Deduplication -> maybe, incorrect value.\n");
}

// Single setters

TEST_F(DeduplicationConfigTest, SetCompressionPublishesAndStores)
{
    EXPECT_EQ(switches.SetCompression(1), 0);
    EXPECT_EQ(switches.GetCompression(), 1);
    EXPECT_EQ(switches.GetDeduplication(), 0);
    EXPECT_EQ(switches.SetCompression(0), 0);
    EXPECT_EQ(switches.GetCompression(), 0);
    EXPECT_THAT(platform.calls, ElementsAre("ShmBaseCfgSetCfgVal(70,1)", "ShmBaseCfgSetCfgVal(70,0)"));
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(DeduplicationConfigTest, SetDeduplicationStatusPublishesAndStores)
{
    EXPECT_EQ(switches.SetDeduplicationStatus(1), 0);
    EXPECT_EQ(switches.GetDeduplication(), 1);
    EXPECT_EQ(switches.GetCompression(), 0);
    EXPECT_EQ(switches.SetDeduplicationStatus(0), 0);
    EXPECT_EQ(switches.GetDeduplication(), 0);
    EXPECT_THAT(platform.calls, ElementsAre("ShmBaseCfgSetCfgVal(69,1)", "ShmBaseCfgSetCfgVal(69,0)"));
    EXPECT_TRUE(platform.logs.empty());
}

TEST_F(DeduplicationConfigTest, ASingleSetterMayBreakTheRuleAndTheNextPublicationRefuses)
{
    EXPECT_EQ(switches.SetCompression(1), 0);
    EXPECT_EQ(switches.SetToPShim(), -1);
    EXPECT_EQ(switches.SetDeduplicationStatus(1), 0);
    EXPECT_EQ(switches.SetToPShim(), 0);
    EXPECT_EQ(switches.SetDeduplicationStatus(0), 0);
    EXPECT_EQ(switches.GetCompression(), 1);
}

TEST_F(DeduplicationConfigTest, TheSharedValueIsWrittenBeforeTheOneHeld)
{
    std::vector<int> held;
    platform.onSetItem = [&](int item, int64_t) {
        held.push_back(item == 69 ? switches.GetDeduplication() : switches.GetCompression());
        return 0;
    };
    EXPECT_EQ(switches.SetDeduplicationStatus(1), 0);
    EXPECT_EQ(switches.SetCompression(1), 0);
    EXPECT_THAT(held, ElementsAre(0, 0));
}

TEST_F(DeduplicationConfigTest, SetCompressionRefusesOtherValues)
{
    Hold(1, 1);
    for (const int value : {2, -1, INT_MAX, INT_MIN, 257}) {
        platform.logs.clear();
        platform.jiffies += kReport;
        EXPECT_EQ(switches.SetCompression(value), -1);
        EXPECT_EQ(switches.GetCompression(), 1);
        EXPECT_THAT(platform.calls, ElementsAre());
        ExpectMessage("SetCompression", "PROTOCOL: value is error %d.\n",
                      "PROTOCOL: value is error " + std::to_string(value) + ".\n");
    }
}

TEST_F(DeduplicationConfigTest, SetDeduplicationStatusRefusesOtherValues)
{
    Hold(1, 1);
    for (const int value : {2, -1, INT_MAX, INT_MIN, 257}) {
        platform.logs.clear();
        platform.jiffies += kReport;
        EXPECT_EQ(switches.SetDeduplicationStatus(value), -1);
        EXPECT_EQ(switches.GetDeduplication(), 1);
        EXPECT_THAT(platform.calls, ElementsAre());
        ExpectMessage("SetDeduplicationStatus", "PROTOCOL: value is error %d.\n",
                      "PROTOCOL: value is error " + std::to_string(value) + ".\n");
    }
}

// Deliberately in the words of deduplication.
TEST_F(DeduplicationConfigTest, SetCompressionKeepsItsValueWhenThePublicationFails)
{
    Refuse(70, 21);
    EXPECT_EQ(switches.SetCompression(1), 21);
    EXPECT_EQ(switches.GetCompression(), 0);
    EXPECT_THAT(platform.calls, ElementsAre("ShmBaseCfgSetCfgVal(70,1)"));
    ExpectMessage("SetCompression", "PROTOCOL: zef config set dedup switch error %d.\n",
                  "PROTOCOL: zef config set dedup switch error 21.\n");
}

TEST_F(DeduplicationConfigTest, SetDeduplicationStatusKeepsItsValueWhenThePublicationFails)
{
    Refuse(69, -22);
    EXPECT_EQ(switches.SetDeduplicationStatus(1), -22);
    EXPECT_EQ(switches.GetDeduplication(), 0);
    EXPECT_THAT(platform.calls, ElementsAre("ShmBaseCfgSetCfgVal(69,1)"));
    ExpectMessage("SetDeduplicationStatus", "PROTOCOL: zef config set dedup switch error %d.\n",
                  "PROTOCOL: zef config set dedup switch error -22.\n");
}

// Throttling

TEST_F(DeduplicationConfigTest, TenFailuresOfOneSitePrintThreeMessagesAndCountSeven)
{
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(switches.SetCompression(2), -1);
    }
    EXPECT_EQ(platform.ProtocolTexts().size(), 3U);
    platform.logs.clear();

    platform.jiffies += kBurst;
    EXPECT_EQ(switches.SetCompression(3), -1);
    ASSERT_EQ(platform.logs.size(), 2U);
    EXPECT_EQ(platform.logs[0].text,
              "print: 7 messages suppressed.SetCompression,line=" + std::to_string(platform.logs[1].line) + ".");
    EXPECT_EQ(platform.logs[0].function, "SetCompression");
    EXPECT_EQ(platform.logs[1].text, "PROTOCOL: value is error 3.\n");
}

// Every message of every operation: after three messages of one, all others still print theirs.
TEST_F(DeduplicationConfigTest, EveryMessageOfEveryOperationIsThrottledApart)
{
    const std::vector<std::function<void()>> failures = {
        [this] {
            Hold(0, 1);
            EXPECT_EQ(switches.SetToPShim(), -1);
            Hold(0, 0);
        },
        [this] {
            Refuse(69, 5);
            EXPECT_EQ(switches.SetToPShim(), 5);
        },
        [this] {
            Refuse(70, 5);
            EXPECT_EQ(switches.SetToPShim(), 5);
        },
        [this] { EXPECT_EQ(SetFromConfig(""), -1); },
        [this] { EXPECT_EQ(SetFromConfig(Switches("ON", "x")), -1); },
        [this] { EXPECT_EQ(switches.SetCompression(2), -1); },
        [this] {
            Refuse(70, 5);
            EXPECT_EQ(switches.SetCompression(1), 5);
        },
        [this] { EXPECT_EQ(switches.SetDeduplicationStatus(2), -1); },
        [this] {
            Refuse(69, 5);
            EXPECT_EQ(switches.SetDeduplicationStatus(1), 5);
        },
    };
    for (size_t site = 0; site < failures.size(); ++site) {
        platform.logs.clear();
        for (int i = 0; i < 5; ++i) {
            failures[site]();
            platform.onSetItem = [](int, int64_t) { return 0; };
        }
        EXPECT_EQ(platform.logs.size(), 3U) << site;
    }
    platform.jiffies += kReport;
    for (size_t site = 0; site < failures.size(); ++site) {
        platform.logs.clear();
        failures[site]();
        platform.onSetItem = [](int, int64_t) { return 0; };
        ASSERT_EQ(platform.logs.size(), 2U) << site;
        EXPECT_EQ(platform.logs[0].text, "print: 2 messages suppressed." + platform.logs[1].function +
                                             ",line=" + std::to_string(platform.logs[1].line) + ".");
    }
}

}  // namespace
