#include "control/ControlProtocol.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <functional>

namespace zef {

namespace {

// "2: the text" of what is thrown, or "" when nothing is.
std::string Thrown(const std::function<void()> &function)
{
    try {
        function();
        return "";
    } catch (const ControlError &error) {
        return std::to_string(ToStatus(error.GetCode())) + ": " + error.what();
    }
}

std::string Refusal(const std::string &line)
{
    return Thrown([&line] { (void)ParseRequest(line); });
}

std::string AnswerRefusal(const std::string &line)
{
    return Thrown([&line] { (void)ParseAnswer(line); });
}

std::string Nested(size_t depth)
{
    // The request itself is the first level.
    return R"({"version":1,"op":"x","a":)" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
}

}  // namespace

TEST(ControlProtocolTest, TakesARequest)
{
    const JsonValue request = ParseRequest(R"( {"op":"status","version":1,"text":"\u00e4 ä","list":[1,{"a":null}]} )");
    EXPECT_EQ(request["op"], "status");
    EXPECT_EQ(request["text"], "ä ä");
    EXPECT_EQ(request["list"][0], 1);
}

TEST(ControlProtocolTest, RefusesWhatIsNoJson)
{
    EXPECT_EQ(Refusal(""), "2: the request cannot be used: it is no JSON in UTF-8 (at byte 1)");
    EXPECT_EQ(Refusal("status"), "2: the request cannot be used: it is no JSON in UTF-8 (at byte 1)");
    EXPECT_EQ(Refusal(R"({"version":1,"op":"x")"),
              "2: the request cannot be used: it is no JSON in UTF-8 (at byte 22)");
    EXPECT_EQ(Refusal(R"({"version":1,"op":"x"} {)"),
              "2: the request cannot be used: it is no JSON in UTF-8 (at byte 24)");
    EXPECT_EQ(Refusal(R"({"version":1,"op":"x",})"),
              "2: the request cannot be used: it is no JSON in UTF-8 (at byte 23)");
    EXPECT_EQ(Refusal(R"({"version":1,"op":"x"} // why)"),
              "2: the request cannot be used: it is no JSON in UTF-8 (at byte 24)");
    EXPECT_EQ(Refusal(R"({"version":1e999,"op":"x"})"),
              "2: the request cannot be used: a number in it is out of range");
    EXPECT_EQ(Refusal("{\"version\":1,\"op\":\"\xFF\"}"),
              "2: the request cannot be used: it is no JSON in UTF-8 (at byte 20)");
}

TEST(ControlProtocolTest, RefusesWhatIsNoRequest)
{
    for (const char *line : {"[]", "1", "null", "\"op\"", "true"}) {
        EXPECT_EQ(Refusal(line), "2: the request cannot be used: it is no JSON object") << line;
    }
    for (const char *line : {R"({"op":"x"})", R"({"op":"x","version":2})", R"({"op":"x","version":"1"})",
                             R"({"op":"x","version":1.0})", R"({"op":"x","version":null})"}) {
        EXPECT_EQ(Refusal(line), "2: the request cannot be used: its \"version\" is not 1") << line;
    }
    for (const char *line : {R"({"version":1})", R"({"version":1,"op":1})", R"({"version":1,"op":["x"]})"}) {
        EXPECT_EQ(Refusal(line), "2: the request cannot be used: its \"op\" is missing or no text") << line;
    }
}

TEST(ControlProtocolTest, RefusesZeroBytesAndByteOrderMarks)
{
    EXPECT_EQ(Refusal(std::string("{\"version\":1,\"op\":\"x\"}\0{", 24)),
              "2: the request cannot be used: it holds a zero byte");
    EXPECT_EQ(Refusal(R"({"version":1,"op":"a\u0000b"})"), "2: the request cannot be used: it holds a zero byte");
    EXPECT_EQ(Refusal(R"({"version":1,"op":"a","b\u0000":1})"), "2: the request cannot be used: it holds a zero byte");
    EXPECT_EQ(Refusal("\xEF\xBB\xBF{\"version\":1,\"op\":\"x\"}"),
              "2: the request cannot be used: it begins with a byte order mark");
}

TEST(ControlProtocolTest, RefusesAKeyThatStandsTwice)
{
    EXPECT_EQ(Refusal(R"({"version":1,"op":"x","op":"y"})"),
              "2: the request cannot be used: a key stands twice in one object");
    EXPECT_EQ(Refusal(R"({"version":1,"op":"x","a":[{"b":1,"\u0062":2}]})"),
              "2: the request cannot be used: a key stands twice in one object");
    EXPECT_EQ(Refusal(R"({"version":1,"op":"x","a":{"op":1,"a":{"op":2}},"b":[{"op":1},{"op":1}]})"), "");
}

TEST(ControlProtocolTest, RefusesDeepNesting)
{
    EXPECT_EQ(Refusal(Nested(kMaxJsonDepth)), "");
    EXPECT_EQ(Refusal(Nested(kMaxJsonDepth + 1)), "2: the request cannot be used: it is nested deeper than 32 levels");
    EXPECT_EQ(Refusal(std::string(1'000'000, '[')),
              "2: the request cannot be used: it is nested deeper than 32 levels");
}

TEST(ControlProtocolTest, QuotesNothingOfARequest)
{
    for (const char *line :
         {R"({"password":"Secret_9"})", R"({"password":"Secret_9")", R"("Secret_9")", R"({"version":"Secret_9"})",
          R"({"Secret_9":1,"Secret_9":1})", "Secret_9", R"({"version":1,"op":{"Secret_9":1}})",
          "{\"a\":\"Secret_9\xFF"}) {
        EXPECT_NE(Refusal(line), "") << line;
        EXPECT_EQ(Refusal(line).find("Secret"), std::string::npos) << line;
    }
}

TEST(ControlProtocolTest, WritesSuccessesAndFailuresAsOneLine)
{
    EXPECT_EQ(SuccessLine({{"a", "b\nc"}}), R"({"ok":true,"result":{"a":"b\nc"},"version":1})");
    EXPECT_EQ(FailureLine(ControlError(ExitCode::NotPermitted, "not\nyou")),
              R"({"error":{"code":6,"message":"not\nyou","name":"not-permitted"},"ok":false,"version":1})");
}

TEST(ControlProtocolTest, WritesUtf8WhateverItIsGiven)
{
    EXPECT_EQ(SuccessLine({{"a", "\xFF"}}), "{\"ok\":true,\"result\":{\"a\":\"\xEF\xBF\xBD\"},\"version\":1}");
    EXPECT_EQ(AnswerRefusal(FailureLine(ControlError(ExitCode::Usage, "a\xFF"))), "2: a\xEF\xBF\xBD");
}

TEST(ControlProtocolTest, MakesAFailureOfAResultThatIsTooLong)
{
    const std::string line = SuccessLine({{"a", std::string(kMaxAnswerBytes, 'x')}});
    EXPECT_EQ(AnswerRefusal(line), "1: the answer is longer than 16777216 bytes");
}

TEST(ControlProtocolTest, TakesAnswersApart)
{
    EXPECT_EQ(ParseAnswer(SuccessLine({{"a", 1}})), JsonValue({{"a", 1}}));
    EXPECT_EQ(AnswerRefusal(FailureLine(ControlError(ExitCode::LinkDown, "a link is down"))), "7: a link is down");
}

TEST(ControlProtocolTest, TakesAFailureWithAnUnknownCodeForAPlainOne)
{
    EXPECT_EQ(AnswerRefusal(R"({"version":1,"ok":false,"error":{"code":77,"message":"new"}})"), "1: new");
    EXPECT_EQ(AnswerRefusal(R"({"version":1,"ok":false,"error":{"code":0,"message":"done?"}})"), "1: done?");
}

TEST(ControlProtocolTest, RefusesWhatIsNoAnswer)
{
    for (const char *line :
         {R"({"version":1})", R"({"version":1,"ok":1,"result":{}})", R"({"version":1,"ok":true})",
          R"({"version":1,"ok":false})", R"({"version":1,"ok":false,"error":{"code":1}})",
          R"({"version":1,"ok":false,"error":{"code":1,"message":[]}})",
          R"({"version":1,"ok":false,"error":{"message":"a"}})", R"({"version":1,"ok":false,"error":"a"})"}) {
        EXPECT_EQ(AnswerRefusal(line), "1: the answer cannot be used: it is neither a success nor a failure") << line;
    }
    EXPECT_EQ(AnswerRefusal("HTTP/1.1 400 Bad Request"),
              "1: the answer cannot be used: it is no JSON in UTF-8 (at byte 1)");
    EXPECT_EQ(AnswerRefusal(R"({"version":2,"ok":true,"result":{}})"),
              "1: the answer cannot be used: its \"version\" is not 1");
}

}  // namespace zef
