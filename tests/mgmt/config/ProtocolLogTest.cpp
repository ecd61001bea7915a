#include "support/LibraryTest.h"

#include "ProtocolLog.h"

#include <string>
#include <utility>
#include <vector>

#include <climits>
#include <cstdint>

namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

constexpr uint64_t kBurst = 15000;
constexpr uint64_t kReport = 150000;
constexpr int kLevel = 3;
constexpr int kLine = 77;

// One throttle as new; its message level, place and function are fixed.
class ProtocolLogTest : public LibraryTest {
protected:
    ProtocolLogTest() { platform.jiffies = kStart; }

    bool AdmitsAt(uint64_t jiffies, int level = kLevel)
    {
        platform.jiffies = jiffies;
        return throttle.Admits(level, "folder/File.cpp", kLine, "Function");
    }

    // How many of `count` messages at the same time are printed.
    int Admitted(uint64_t jiffies, int count)
    {
        int admitted = 0;
        for (int i = 0; i < count; ++i) {
            admitted += AdmitsAt(jiffies) ? 1 : 0;
        }
        return admitted;
    }

    // The reports printed since the last call.
    std::vector<std::string> Reports()
    {
        std::vector<std::string> texts = platform.ProtocolTexts();
        platform.logs.clear();
        return texts;
    }

    static std::string Report(int count)
    {
        return "print: " + std::to_string(count) + " messages suppressed.Function,line=77.";
    }

    static constexpr uint64_t kStart = 10000000;

    zef_config::ProtocolThrottle throttle;
};

TEST_F(ProtocolLogTest, ABurstPrintsThreeMessages)
{
    EXPECT_TRUE(AdmitsAt(kStart));
    EXPECT_TRUE(AdmitsAt(kStart));
    EXPECT_TRUE(AdmitsAt(kStart + 1));
    EXPECT_FALSE(AdmitsAt(kStart + 1));
    EXPECT_FALSE(AdmitsAt(kStart + 2));
    EXPECT_THAT(Reports(), ElementsAre());
}

TEST_F(ProtocolLogTest, TheFirstBurstOfTheProcessPrintsThreeMessagesToo)
{
    EXPECT_EQ(Admitted(0, 5), 3);
}

TEST_F(ProtocolLogTest, ABurstEnds15000JiffiesAfterItsLastPrintedMessage)
{
    EXPECT_EQ(Admitted(kStart, 3), 3);
    EXPECT_FALSE(AdmitsAt(kStart + kBurst - 1));
    EXPECT_TRUE(AdmitsAt(kStart + kBurst));
}

TEST_F(ProtocolLogTest, PrintedMessagesKeepABurstGoing)
{
    EXPECT_TRUE(AdmitsAt(kStart));
    EXPECT_TRUE(AdmitsAt(kStart + kBurst - 1));
    EXPECT_TRUE(AdmitsAt(kStart + 2 * (kBurst - 1)));
    EXPECT_FALSE(AdmitsAt(kStart + 3 * (kBurst - 1)));
    EXPECT_TRUE(AdmitsAt(kStart + 3 * (kBurst - 1) + 1));
}

TEST_F(ProtocolLogTest, SuppressedMessagesDoNotKeepABurstGoing)
{
    EXPECT_EQ(Admitted(kStart, 3), 3);
    EXPECT_EQ(Admitted(kStart + kBurst - 1, 100), 0);
    EXPECT_TRUE(AdmitsAt(kStart + kBurst));
}

TEST_F(ProtocolLogTest, EveryBurstPrintsThreeMessagesAnew)
{
    EXPECT_EQ(Admitted(kStart, 2), 2);
    EXPECT_EQ(Admitted(kStart + kBurst, 5), 3);
    EXPECT_EQ(Admitted(kStart + 2 * kBurst, 5), 3);
}

TEST_F(ProtocolLogTest, MessagesFarEnoughApartAreAllPrinted)
{
    for (uint64_t i = 0; i < 20; ++i) {
        EXPECT_TRUE(AdmitsAt(kStart + i * kBurst));
    }
    EXPECT_THAT(Reports(), ElementsAre());
}

TEST_F(ProtocolLogTest, ANewBurstReportsWhatTheLastSuppressed)
{
    EXPECT_EQ(Admitted(kStart, 10), 3);
    EXPECT_THAT(Reports(), ElementsAre());
    EXPECT_TRUE(AdmitsAt(kStart + kBurst));
    EXPECT_THAT(Reports(), ElementsAre(Report(7)));
}

TEST_F(ProtocolLogTest, TheReportStandsUnderTheNameOfTheCallSite)
{
    EXPECT_EQ(Admitted(kStart, 4), 3);
    EXPECT_TRUE(AdmitsAt(kStart + kBurst));
    ASSERT_EQ(platform.logs.size(), 1U);
    const LogRecord &report = platform.logs[0];
    EXPECT_EQ(report.module, 666);
    EXPECT_EQ(report.level, kLevel);
    EXPECT_EQ(report.file, "folder/File.cpp");
    EXPECT_EQ(report.line, kLine);
    EXPECT_EQ(report.function, "Function");
    EXPECT_EQ(report.reserved, 0);
    EXPECT_EQ(report.format, "print: %u messages suppressed.%s,line=%d.");
}

TEST_F(ProtocolLogTest, NothingSuppressedIsNotReported)
{
    EXPECT_EQ(Admitted(kStart, 3), 3);
    EXPECT_EQ(Admitted(kStart + 10 * kReport, 3), 3);
    EXPECT_THAT(Reports(), ElementsAre());
}

TEST_F(ProtocolLogTest, AReportBeginsTheCountAnew)
{
    EXPECT_EQ(Admitted(kStart, 10), 3);
    EXPECT_EQ(Admitted(kStart + kReport, 3), 3);
    EXPECT_THAT(Reports(), ElementsAre(Report(7)));
    EXPECT_TRUE(AdmitsAt(kStart + 2 * kReport));
    EXPECT_THAT(Reports(), ElementsAre());
    EXPECT_EQ(Admitted(kStart + 3 * kReport, 5), 3);
    EXPECT_TRUE(AdmitsAt(kStart + 4 * kReport));
    EXPECT_THAT(Reports(), ElementsAre(Report(2)));
}

TEST_F(ProtocolLogTest, TheFirstReportWaitsFor150000JiffiesOfTheProcess)
{
    EXPECT_EQ(Admitted(100, 4), 3);
    EXPECT_TRUE(AdmitsAt(kReport - 1));
    EXPECT_THAT(Reports(), ElementsAre());
}

TEST_F(ProtocolLogTest, TheFirstReportComesAt150000JiffiesOfTheProcess)
{
    EXPECT_EQ(Admitted(100, 4), 3);
    EXPECT_TRUE(AdmitsAt(kReport));
    EXPECT_THAT(Reports(), ElementsAre(Report(1)));
}

TEST_F(ProtocolLogTest, ASecondReportTooSoonIsPutOffAndItsCountCarriedOn)
{
    EXPECT_EQ(Admitted(kStart, 4), 3);
    const uint64_t firstReport = kStart + kBurst;
    EXPECT_EQ(Admitted(firstReport, 5), 3);
    EXPECT_THAT(Reports(), ElementsAre(Report(1)));

    EXPECT_EQ(Admitted(firstReport + kBurst, 6), 3);
    EXPECT_EQ(Admitted(firstReport + kReport - 1, 7), 3);
    EXPECT_THAT(Reports(), ElementsAre());

    EXPECT_TRUE(AdmitsAt(firstReport + kReport - 1 + kBurst));
    EXPECT_THAT(Reports(), ElementsAre(Report(2 + 3 + 4)));
}

TEST_F(ProtocolLogTest, ASecondReportComes150000JiffiesAfterTheFirst)
{
    EXPECT_EQ(Admitted(kStart, 4), 3);
    const uint64_t firstReport = kStart + kBurst;
    EXPECT_EQ(Admitted(firstReport, 5), 3);
    EXPECT_THAT(Reports(), ElementsAre(Report(1)));
    EXPECT_TRUE(AdmitsAt(firstReport + kReport));
    EXPECT_THAT(Reports(), ElementsAre(Report(2)));
}

// The report time is read after the time of the message; the clock may have gone on in between.
TEST_F(ProtocolLogTest, TheReportTimeIsReadAnew)
{
    EXPECT_EQ(Admitted(kStart, 4), 3);
    const uint64_t message = kStart + kBurst;
    platform.onJiffiesRead = [this] { platform.jiffies += 500; };
    EXPECT_TRUE(AdmitsAt(message));
    platform.onJiffiesRead = [] {};
    EXPECT_THAT(Reports(), ElementsAre(Report(1)));

    EXPECT_EQ(Admitted(message + 1, 4), 2);
    EXPECT_TRUE(AdmitsAt(message + 500 + kReport - 1));
    EXPECT_THAT(Reports(), ElementsAre());
    EXPECT_TRUE(AdmitsAt(message + 500 + kReport - 1 + kBurst));
    EXPECT_THAT(Reports(), ElementsAre(Report(2)));
}

TEST_F(ProtocolLogTest, TheReportTimeThatWasReadAnewAllowsTheNextReport)
{
    EXPECT_EQ(Admitted(kStart, 4), 3);
    const uint64_t message = kStart + kBurst;
    platform.onJiffiesRead = [this] { platform.jiffies += 500; };
    EXPECT_TRUE(AdmitsAt(message));
    platform.onJiffiesRead = [] {};
    EXPECT_EQ(Admitted(message + 1, 4), 2);
    platform.logs.clear();
    EXPECT_TRUE(AdmitsAt(message + 500 + kReport));
    EXPECT_THAT(Reports(), ElementsAre(Report(2)));
}

TEST_F(ProtocolLogTest, TheMessageCountsFromTheTimeThatWasReadFirst)
{
    EXPECT_EQ(Admitted(kStart, 4), 3);
    const uint64_t message = kStart + kBurst;
    platform.onJiffiesRead = [this] { platform.jiffies += 500; };
    EXPECT_TRUE(AdmitsAt(message));
    platform.onJiffiesRead = [] {};
    EXPECT_EQ(Admitted(message, 2), 2);
    EXPECT_FALSE(AdmitsAt(message + kBurst - 1));
    EXPECT_TRUE(AdmitsAt(message + kBurst));
}

TEST_F(ProtocolLogTest, ABurstGoesOnAcrossTheWrapOfTheClock)
{
    const uint64_t beforeWrap = UINT64_MAX - 9;
    EXPECT_EQ(Admitted(beforeWrap, 3), 3);
    EXPECT_FALSE(AdmitsAt(UINT64_MAX));
    EXPECT_FALSE(AdmitsAt(0));
    EXPECT_FALSE(AdmitsAt(beforeWrap + kBurst - 1));
    EXPECT_TRUE(AdmitsAt(beforeWrap + kBurst));
}

TEST_F(ProtocolLogTest, ABurstGoesOnWhileTheClockStandsBeforeItsLastMessage)
{
    EXPECT_EQ(Admitted(kStart, 3), 3);
    EXPECT_FALSE(AdmitsAt(kStart - 1));
    EXPECT_FALSE(AdmitsAt(0));
}

TEST_F(ProtocolLogTest, TheReportTimeIsComparedUnsigned)
{
    const uint64_t late = uint64_t{1} << 63;
    EXPECT_EQ(Admitted(late, 4), 3);
    EXPECT_TRUE(AdmitsAt(late + kBurst));
    EXPECT_THAT(Reports(), ElementsAre(Report(1)));
}

TEST_F(ProtocolLogTest, TheDueTimeOfTheReportWrapsWithTheClock)
{
    const uint64_t firstReport = UINT64_MAX - 999;
    EXPECT_EQ(Admitted(firstReport - kBurst, 4), 3);
    EXPECT_EQ(Admitted(firstReport, 5), 3);
    EXPECT_THAT(Reports(), ElementsAre(Report(1)));
    EXPECT_EQ(Admitted(firstReport + kBurst, 3), 3);
    EXPECT_TRUE(AdmitsAt(firstReport + kReport - 1));
    EXPECT_THAT(Reports(), ElementsAre());
    EXPECT_TRUE(AdmitsAt(firstReport + kReport - 1 + kBurst));
    EXPECT_THAT(Reports(), ElementsAre(Report(2)));
}

// The due time has wrapped already and the clock not yet: the report comes at once.
TEST_F(ProtocolLogTest, ADueTimeBehindTheWrapOfTheClockIsReachedAtOnce)
{
    const uint64_t firstReport = UINT64_MAX - 99999;
    EXPECT_EQ(Admitted(firstReport - kBurst, 4), 3);
    EXPECT_EQ(Admitted(firstReport, 5), 3);
    EXPECT_THAT(Reports(), ElementsAre(Report(1)));
    EXPECT_TRUE(AdmitsAt(firstReport + kBurst));
    EXPECT_THAT(Reports(), ElementsAre(Report(2)));
}

TEST_F(ProtocolLogTest, ALevelAboveTheThresholdIsDroppedAndNotCounted)
{
    g_infra_log_lvl = kLevel - 1;
    EXPECT_EQ(Admitted(kStart, 5), 0);
    g_infra_log_lvl = kLevel;
    EXPECT_EQ(Admitted(kStart, 3), 3);
    g_infra_log_lvl = kLevel - 1;
    EXPECT_EQ(Admitted(kStart, 5), 0);
    g_infra_log_lvl = kLevel + 1;
    EXPECT_TRUE(AdmitsAt(kStart + kBurst));
    EXPECT_THAT(Reports(), ElementsAre());
}

TEST_F(ProtocolLogTest, TheThresholdIsComparedSigned)
{
    g_infra_log_lvl = 0;
    EXPECT_TRUE(AdmitsAt(kStart, -1));
    EXPECT_TRUE(AdmitsAt(kStart, INT_MIN));
    g_infra_log_lvl = -1;
    EXPECT_FALSE(AdmitsAt(kStart, 0));
    EXPECT_FALSE(AdmitsAt(kStart, INT_MAX));
}

TEST_F(ProtocolLogTest, ALevelThatTheLogRefusesIsDroppedAndNotCounted)
{
    for (const int refusal : {1, -1}) {
        platform.checkLevel = [refusal](int, int) { return refusal; };
        EXPECT_EQ(Admitted(kStart, 5), 0) << refusal;
    }
    platform.checkLevel = [](int, int) { return 0; };
    EXPECT_EQ(Admitted(kStart, 3), 3);
    platform.checkLevel = [](int, int) { return 1; };
    EXPECT_EQ(Admitted(kStart, 5), 0);
    platform.checkLevel = [](int, int) { return 0; };
    EXPECT_TRUE(AdmitsAt(kStart + kBurst));
    EXPECT_THAT(Reports(), ElementsAre());
}

TEST_F(ProtocolLogTest, TheLogIsAskedForModuleAndLevel)
{
    std::vector<std::pair<int, int>> asked;
    platform.checkLevel = [&asked](int module, int level) {
        asked.emplace_back(module, level);
        return 0;
    };
    EXPECT_TRUE(AdmitsAt(kStart, 2));
    EXPECT_THAT(asked, ElementsAre(Pair(666, 2)));
}

TEST_F(ProtocolLogTest, TwoThrottlesKnowNothingOfEachOther)
{
    EXPECT_EQ(Admitted(kStart, 10), 3);
    throttle = zef_config::ProtocolThrottle();
    EXPECT_EQ(Admitted(kStart, 10), 3);
    EXPECT_THAT(Reports(), ElementsAre());
}

// Two call sites, to be told apart by their text.
void LogFirst(int value)
{
    ZEF_PROTOCOL_LOG("PROTOCOL: first %d %s.\n", value, "text");
}

void LogSecond()
{
    ZEF_PROTOCOL_LOG("PROTOCOL: second.");
}

class ProtocolLogMacroTest : public LibraryTest {};

TEST_F(ProtocolLogMacroTest, WritesWithoutATagUnderTheSourcePath)
{
    LogFirst(5);
    ASSERT_EQ(platform.logs.size(), 1U);
    const LogRecord &record = platform.logs[0];
    EXPECT_EQ(record.module, 666);
    EXPECT_EQ(record.level, 3);
    EXPECT_EQ(record.file, "tests/mgmt/config/ProtocolLogTest.cpp");
    EXPECT_GT(record.line, 0);
    EXPECT_EQ(record.function, "LogFirst");
    EXPECT_EQ(record.reserved, 0);
    EXPECT_EQ(record.format, "PROTOCOL: first %d %s.\n");
    EXPECT_EQ(record.text, "PROTOCOL: first 5 text.\n");
}

TEST_F(ProtocolLogMacroTest, WritesAtTheLevelThatTheErrorLevelIsMappedTo)
{
    std::vector<int> mapped;
    platform.mapLevel = [&mapped](int level) {
        mapped.push_back(level);
        return 13;
    };
    std::vector<std::pair<int, int>> asked;
    platform.checkLevel = [&asked](int module, int level) {
        asked.emplace_back(module, level);
        return 0;
    };
    g_infra_log_lvl = 13;
    LogSecond();
    EXPECT_THAT(mapped, ElementsAre(3));
    EXPECT_THAT(asked, ElementsAre(Pair(666, 13)));
    ASSERT_EQ(platform.logs.size(), 1U);
    EXPECT_EQ(platform.logs[0].level, 13);
    g_infra_log_lvl = 12;
    LogSecond();
    EXPECT_EQ(platform.logs.size(), 1U);
}

TEST_F(ProtocolLogMacroTest, EveryCallSiteHasAThrottleOfItsOwn)
{
    for (int i = 0; i < 5; ++i) {
        LogFirst(i);
        LogSecond();
    }
    EXPECT_THAT(platform.ProtocolTexts(),
                ElementsAre("PROTOCOL: first 0 text.\n", "PROTOCOL: second.", "PROTOCOL: first 1 text.\n",
                            "PROTOCOL: second.", "PROTOCOL: first 2 text.\n", "PROTOCOL: second."));
    platform.logs.clear();
    platform.jiffies += kReport;
    LogFirst(5);
    LogSecond();
    ASSERT_EQ(platform.logs.size(), 4U);
    EXPECT_EQ(platform.logs[0].text,
              "print: 2 messages suppressed.LogFirst,line=" + std::to_string(platform.logs[1].line) + ".");
    EXPECT_EQ(platform.logs[0].file, platform.logs[1].file);
    EXPECT_EQ(platform.logs[1].text, "PROTOCOL: first 5 text.\n");
    EXPECT_EQ(platform.logs[2].text,
              "print: 2 messages suppressed.LogSecond,line=" + std::to_string(platform.logs[3].line) + ".");
}

TEST(SourceNameTest, IsTheFileNameWithoutFoldersAndExtension)
{
    EXPECT_STREQ(zef_config::SourceName("src/mgmt/config/ZefConfig.cpp").text, "ZefConfig");
    EXPECT_STREQ(zef_config::SourceName("ZefConfig.cpp").text, "ZefConfig");
    EXPECT_STREQ(zef_config::SourceName("../a.b/ZefConfig").text, "ZefConfig");
    EXPECT_STREQ(zef_config::SourceName("a/b.c.d").text, "b");
    EXPECT_STREQ(zef_config::SourceName("a/").text, "");
}

TEST(SourceNameTest, IsCutAt63Characters)
{
    EXPECT_EQ(zef_config::SourceName((std::string(63, 'x') + ".cpp").c_str()).text, std::string(63, 'x'));
    EXPECT_EQ(zef_config::SourceName((std::string(70, 'x') + ".cpp").c_str()).text, std::string(63, 'x'));
}

}  // namespace
