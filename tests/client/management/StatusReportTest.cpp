#include "management/StatusReport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zef {
namespace {

using nlohmann::json;

const char *const kUp = R"({"local": "10.0.0.1", "array": "10.0.0.9", "state": "up", "up": true,
    "wwn": "0x6001405e7a11c0de", "tries": 1, "failures": 0, "next_try": null, "cause": null})";
const char *const kDown = R"({"local": null, "array": "10.0.0.10", "state": "no link", "up": false, "wwn": null,
    "tries": 1, "failures": 3, "next_try": "2026-11-21T20:40:36Z", "cause": "no route"})";

json Status(const std::vector<const char *> &links)
{
    json status = json::parse(R"({
        "identity": {"uuid": "0123", "local_address": null, "version": "1.0.0", "pid": 7},
        "switches": {"deduplication": "on", "compression": "off"},
        "storage": [{"name": "array-1", "user": "zefuser", "link_type": "ip", "wwn": null,
                     "addresses": ["10.0.0.9", "10.0.0.10"]}],
        "links": []})");
    for (const char *const link : links) {
        status["links"].push_back(json::parse(link));
    }
    return status;
}

TEST(StatusReportTest, ShowsIdentitySwitchesStorageAndLinks)
{
    EXPECT_EQ(Render(MakeStatusReport(Status({kUp, kDown})),
                     ReportFormat::Table, false),
              "UUID LOCAL_ADDRESS VERSION PID\n"
              "0123 -             1.0.0     7\n"
              "\n"
              "DEDUPLICATION COMPRESSION\n"
              "on            off\n"
              "\n"
              "NAME    USER    LINK_TYPE WWN ADDRESSES\n"
              "array-1 zefuser ip        -   10.0.0.9\n"
              "                              10.0.0.10\n"
              "\n"
              "LOCAL    ARRAY     STATE   WWN                TRIES FAILURES NEXT_TRY             LAST_CAUSE\n"
              "10.0.0.1 10.0.0.9  up      0x6001405e7a11c0de     1        0 -                    -\n"
              "-        10.0.0.10 no link -                      1        3 2026-11-21T20:40:36Z no route\n");
}

TEST(StatusReportTest, HasOneLineALink)
{
    EXPECT_EQ(Render(MakeLinksReport(Status({kUp})), ReportFormat::Raw, false),
              "LOCAL ARRAY STATE WWN TRIES FAILURES NEXT_TRY LAST_CAUSE\n"
              "10.0.0.1 10.0.0.9 up 0x6001405e7a11c0de 1 0 - -\n");
}

TEST(StatusReportTest, SaysSoWhenThereIsNothing)
{
    json status = Status({});
    status["storage"] = json::array();
    const std::string text = Render(MakeStatusReport(status), ReportFormat::Table, false);
    EXPECT_NE(text.find("\nNo storage object.\n\nNo links.\n"), std::string::npos) << text;
}

TEST(StatusReportTest, FindsALinkThatIsDown)
{
    EXPECT_FALSE(IsSomeLinkDown(Status({kUp})));
    EXPECT_TRUE(IsSomeLinkDown(Status({kUp, kDown})));
}

TEST(StatusReportTest, AStorageObjectWithoutALinkIsDown)
{
    json status = Status({});
    EXPECT_TRUE(IsSomeLinkDown(status));
    status["storage"] = json::array();
    EXPECT_FALSE(IsSomeLinkDown(status));
}

}  // namespace
}  // namespace zef
