#include "management/Arguments.h"

#include "control/ControlError.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zef {
namespace {

using nlohmann::json;

template <class Function>
std::string Refusal(Function function)
{
    try {
        function();
        return "";
    } catch (const ControlError &error) {
        EXPECT_EQ(error.GetCode(), ExitCode::Usage);
        return error.what();
    }
}

TEST(ArgumentsTest, ReadsWhatIsThere)
{
    const json request = {{"version", 1}, {"op", "x"},         {"timeout_ms", 5},
                          {"name", "n"},  {"list", {"a", "b"}}, {"flag", true}};
    const Arguments arguments(request, {"name", "list", "flag"});
    EXPECT_EQ(arguments.Text("name"), "n");
    EXPECT_EQ(arguments.OptionalText("name"), "n");
    EXPECT_EQ(arguments.Texts("list"), (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(arguments.Flag("flag"));
}

TEST(ArgumentsTest, GivesDefaultsForWhatMayBeMissing)
{
    const json request = {{"op", "x"}};
    const Arguments arguments(request, {"name"});
    EXPECT_EQ(arguments.OptionalText("name"), "");
    EXPECT_TRUE(arguments.OptionalTexts("list").empty());
    EXPECT_FALSE(arguments.Flag("flag"));
}

TEST(ArgumentsTest, RefusesWhatItDoesNotKnow)
{
    const json request = {{"op", "x"}, {"naem", "n"}};
    EXPECT_EQ(Refusal([&] { Arguments(request, {"name"}); }), "argument \"naem\" is not known for this request");
}

TEST(ArgumentsTest, RefusesWhatIsMissingOrOfAnotherKind)
{
    const json request = {{"text", 1}, {"list", "a"}, {"mixed", {"a", 2}}, {"empty", json::array()}, {"flag", "true"}};
    const Arguments arguments(request, {"text", "list", "mixed", "empty", "flag"});
    EXPECT_EQ(Refusal([&] { arguments.Text("name"); }), "argument \"name\" is missing");
    EXPECT_EQ(Refusal([&] { arguments.Text("text"); }), "argument \"text\" must be a text");
    EXPECT_EQ(Refusal([&] { arguments.OptionalText("text"); }), "argument \"text\" must be a text");
    EXPECT_EQ(Refusal([&] { arguments.Texts("list"); }), "argument \"list\" must be a list of texts");
    EXPECT_EQ(Refusal([&] { arguments.Texts("mixed"); }), "argument \"mixed\" must be a text");
    EXPECT_EQ(Refusal([&] { arguments.Texts("empty"); }), "argument \"empty\" is missing or empty");
    EXPECT_EQ(Refusal([&] { arguments.Flag("flag"); }), "argument \"flag\" must be true or false");
}

TEST(ArgumentsTest, RefusesAZeroByteThatWouldEndATextEarly)
{
    const json request = {{"name", std::string("array-1\0x", 9)}};
    const Arguments arguments(request, {"name"});
    EXPECT_EQ(Refusal([&] { arguments.Text("name"); }), "argument \"name\" must not contain a zero byte");
}

}  // namespace
}  // namespace zef
