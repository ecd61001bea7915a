#include "gateway/WwnReader.h"

#include "GatewayTest.h"
#include "ScriptedTarget.h"

#include <gmock/gmock.h>

#include <atomic>

namespace zef {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Bytes = std::vector<uint8_t>;
using Reply = ScriptedTarget::Reply;

const Bytes kRegistered{0x50, 0x01, 0x40, 0x51, 0x23, 0x45, 0x67, 0x89};
const Bytes kExtended{0x60, 0x01, 0x40, 0x51, 0, 0, 0, 0x06, 1, 2, 3, 4, 5, 6, 7, 8};
const Bytes kLocal{0x30, 0, 0, 1, 0, 0, 0, 0x03};

}  // namespace

// The reader on a session of a real gateway, with an array that answers as each test says.
class WwnReaderTest : public GatewayTest {
protected:
    // Gives the WWN that the gateway finds; fails when the link does not come up.
    uint64_t WwnFor(const ScriptedTarget::Script &script)
    {
        ScriptedTarget target("127.0.0.1", [this, &script](int lun, const uint8_t *cdb) {
            asked.push_back(cdb[0] == ScriptedTarget::kReportLuns ? kAskedForLuns : lun);
            return script(lun, cdb);
        });
        options.arrayPort = target.Port();
        options.retryDelay = std::chrono::hours(1);
        StartGateway();
        EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), 0) << OnlyLink().cause;
        const uint64_t wwn = Info("127.0.0.1", "127.0.0.1").wwn;
        gateway.Close();
        return wwn;
    }

    static constexpr int kAskedForLuns = -1;
    Bytes noSuchLun{0x7F, 0x83, 0, 0};
    std::vector<int> asked;  // the LUN of each inquiry, in order
};

TEST_F(WwnReaderTest, AsksOnlyLunZeroWhenItHasAName)
{
    EXPECT_EQ(WwnFor([](int, const uint8_t *) { return ScriptedTarget::Page(kRegistered); }), 0x5001405123456789u);
    EXPECT_THAT(asked, ElementsAre(0));
}

TEST_F(WwnReaderTest, RepeatsAfterAUnitAttention)
{
    int attentions = 3;
    EXPECT_EQ(WwnFor([&attentions](int, const uint8_t *) {
                  return attentions-- > 0 ? ScriptedTarget::UnitAttention() : ScriptedTarget::Page(kRegistered);
              }),
              0x5001405123456789u);
    EXPECT_THAT(asked, ElementsAre(0, 0, 0, 0));
}

TEST_F(WwnReaderTest, RepeatsWhenTheLunIsBusy)
{
    bool isBusy = true;
    EXPECT_EQ(WwnFor([&isBusy](int, const uint8_t *) {
                  return std::exchange(isBusy, false) ? ScriptedTarget::Busy() : ScriptedTarget::Page(kExtended);
              }),
              0x6001405100000006u);
}

TEST_F(WwnReaderTest, DoesNotRepeatForEver)
{
    EXPECT_EQ(WwnFor([](int, const uint8_t *) { return ScriptedTarget::UnitAttention(); }), kNoWwn);
    EXPECT_EQ(asked.size(), 18u);  // each of the two commands once and eight times more
}

TEST_F(WwnReaderTest, GoesThroughTheListedLunsUntilOneHasAName)
{
    EXPECT_EQ(WwnFor([](int lun, const uint8_t *cdb) {
                  if (cdb[0] == ScriptedTarget::kReportLuns) {
                      return ScriptedTarget::Luns({0, 4, 2, 9});
                  }
                  return lun == 2 ? ScriptedTarget::Page(kExtended) : ScriptedTarget::IllegalRequest();
              }),
              0x6001405100000006u);
    EXPECT_THAT(asked, ElementsAre(0, kAskedForLuns, 4, 2));
}

TEST_F(WwnReaderTest, RepeatsTheQuestionForTheLunsToo)
{
    bool isFirst = true;
    EXPECT_EQ(WwnFor([&isFirst](int lun, const uint8_t *cdb) {
                  if (cdb[0] == ScriptedTarget::kReportLuns) {
                      return std::exchange(isFirst, false) ? ScriptedTarget::UnitAttention()
                                                           : ScriptedTarget::Luns({1});
                  }
                  return lun == 1 ? ScriptedTarget::Page(kExtended) : ScriptedTarget::IllegalRequest();
              }),
              0x6001405100000006u);
    EXPECT_THAT(asked, ElementsAre(0, kAskedForLuns, kAskedForLuns, 1));
}

TEST_F(WwnReaderTest, PrefersAnotherLunsNameToALocallyAssignedOneOfLunZero)
{
    EXPECT_EQ(WwnFor([](int lun, const uint8_t *cdb) {
                  if (cdb[0] == ScriptedTarget::kReportLuns) {
                      return ScriptedTarget::Luns({0, 1});
                  }
                  return ScriptedTarget::Page(lun == 0 ? kLocal : kRegistered);
              }),
              0x5001405123456789u);
}

TEST_F(WwnReaderTest, TakesTheFirstLocallyAssignedNameAsTheLastResort)
{
    const Bytes other{0x30, 0, 0, 9, 0, 0, 0, 9};
    EXPECT_EQ(WwnFor([&other](int lun, const uint8_t *cdb) {
                  if (cdb[0] == ScriptedTarget::kReportLuns) {
                      return ScriptedTarget::Luns({1, 2});
                  }
                  return lun == 0 ? ScriptedTarget::IllegalRequest() : ScriptedTarget::Page(lun == 1 ? kLocal : other);
              }),
              0x3000000100000003u);
    EXPECT_THAT(asked, ElementsAre(0, kAskedForLuns, 1, 2));
}

TEST_F(WwnReaderTest, FindsNothingWhenNothingIsThere)
{
    EXPECT_EQ(WwnFor([this](int, const uint8_t *cdb) {
                  return cdb[0] == ScriptedTarget::kReportLuns ? ScriptedTarget::IllegalRequest()
                                                               : Reply{0, noSuchLun, 0};
              }),
              kNoWwn);
    EXPECT_THAT(asked, ElementsAre(0, kAskedForLuns));
}

TEST_F(WwnReaderTest, SurvivesPagesThatContradictThemselves)
{
    EXPECT_EQ(WwnFor([](int, const uint8_t *cdb) {
                  return cdb[0] == ScriptedTarget::kReportLuns ? Reply{0, Bytes(3, 0xFF), 0}
                                                               : Reply{0, Bytes{0, 0x83, 0xFF, 0xFF, 1, 3, 0, 0xFF}, 0};
              }),
              kNoWwn);
}

TEST_F(WwnReaderTest, ANameThatAppearsLaterIsFoundLater)
{
    std::atomic<bool> hasName{false};
    ScriptedTarget target("127.0.0.1", [&hasName](int, const uint8_t *) {
        return hasName ? ScriptedTarget::Page(kRegistered) : ScriptedTarget::IllegalRequest();
    });
    options.arrayPort = target.Port();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), 0);
    EXPECT_EQ(Info("127.0.0.1", "127.0.0.1").wwn, UINT64_MAX);
    EXPECT_EQ(Info("127.0.0.1", "127.0.0.1").status, 0);
    hasName = true;
    EXPECT_TRUE(record.WaitFor([](const LinkState &state) { return state.wwn == 0x5001405123456789u; }));
    gateway.Close();
}

TEST_F(WwnReaderTest, AnAnswerToAnotherQuestionFailsTheLink)
{
    constexpr uint8_t kLoginResponse = 0x23;
    ScriptedTarget target("127.0.0.1", [](int, const uint8_t *) { return Reply{0, Bytes(4, 0), kLoginResponse}; });
    options.arrayPort = target.Port();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().phase, LinkPhase::Failed);
    EXPECT_EQ(OnlyLink().cause, "connection lost: Got wrong opcode back for itt:?  got:35 expected 33");
    gateway.Close();
}

TEST_F(WwnReaderTest, ARedirectionIsNotFollowed)
{
    ScriptedTarget target("127.0.0.1", [](int, const uint8_t *) { return ScriptedTarget::Busy(); });
    target.RedirectTo("192.0.2.7:3260");
    options.arrayPort = target.Port();
    StartGateway();
    EXPECT_EQ(Create("127.0.0.1", "127.0.0.1"), -1);
    EXPECT_EQ(OnlyLink().cause, "the array sends us to 192.0.2.7:3260, which is not followed");
}

}  // namespace zef
