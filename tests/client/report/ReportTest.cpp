#include "report/Report.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zef {
namespace {

using nlohmann::json;

Section Links(std::vector<Row> rows)
{
    return {"links",
            {{"LOCAL"}, {"TRIES", ColumnKind::Number}, {"ADDRESSES", ColumnKind::Lines}, {"CAUSE"}},
            std::move(rows),
            false,
            "No links."};
}

Section Identity()
{
    return {"identity", {{"UUID"}, {"PID", ColumnKind::Number}}, {{"0123", "42"}}, true};
}

TEST(ReportTest, AlignsColumnsForPeople)
{
    EXPECT_EQ(Render({Links({{"10.0.0.1", "3", "a\nb", "refused"}, {"10.0.0.100", "12", "c", std::nullopt}})},
                     ReportFormat::Table, false),
              "LOCAL      TRIES ADDRESSES CAUSE\n"
              "10.0.0.1       3 a         refused\n"
              "                 b\n"
              "10.0.0.100    12 c         -\n");
}

TEST(ReportTest, SeparatesSectionsByAnEmptyLine)
{
    EXPECT_EQ(Render({Identity(), Links({})}, ReportFormat::Table, false), "UUID PID\n0123  42\n\nNo links.\n");
}

TEST(ReportTest, PrintsOneLineARowForScripts)
{
    EXPECT_EQ(Render({Links({{"10.0.0.1", "3", "a\nb", "no answer"}, {std::nullopt, "0", std::nullopt, ""}})},
                     ReportFormat::Raw, false),
              "LOCAL TRIES ADDRESSES CAUSE\n"
              "10.0.0.1 3 a\\x0ab no\\x20answer\n"
              "- 0 -\n");
}

TEST(ReportTest, PrintsOneObjectForPrograms)
{
    const json report = json::parse(Render(
        {Identity(), Links({{"10.0.0.1", "3", "a\nb", "say \"no\"\n"}, {std::nullopt, "0", std::nullopt, "x"}})},
        ReportFormat::Json, false));
    EXPECT_EQ(report["schema_version"], 1);
    EXPECT_EQ(report["identity"], json({{"uuid", "0123"}, {"pid", 42}}));
    EXPECT_EQ(report["links"][0], json({{"local", "10.0.0.1"},
                                        {"tries", 3},
                                        {"addresses", {"a", "b"}},
                                        {"cause", "say \"no\"\n"}}));
    EXPECT_EQ(report["links"][1]["local"], nullptr);
    EXPECT_EQ(report["links"][1]["addresses"], json::array());
}

TEST(ReportTest, PrintsAnEmptyListForPrograms)
{
    EXPECT_EQ(json::parse(Render({Links({})}, ReportFormat::Json, false))["links"], json::array());
}

TEST(ReportTest, PrintsTheHeadingOfAnEmptyListForScripts)
{
    EXPECT_EQ(Render({Links({})}, ReportFormat::Raw, false), "LOCAL TRIES ADDRESSES CAUSE\n");
}

TEST(ReportTest, LetsNoCellForgeALineOrSteerATerminal)
{
    const std::string text = Render({Links({{"x", "1", "a", "up\n10.0.0.9 \x1b[2J"}})}, ReportFormat::Table, false);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    EXPECT_NE(text.find("up\\x0a10.0.0.9 \\x1b[2J"), std::string::npos);
}

TEST(ReportTest, KnowsItsFormatsByName)
{
    EXPECT_EQ(ReportFormatByName("table"), ReportFormat::Table);
    EXPECT_EQ(ReportFormatByName("json"), ReportFormat::Json);
    EXPECT_EQ(ReportFormatByName("raw"), ReportFormat::Raw);
    EXPECT_EQ(ReportFormatByName("xml"), std::nullopt);
}

}  // namespace
}  // namespace zef
