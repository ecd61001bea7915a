#include "control/ControlProtocol.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace zef {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Looks at what the parser comes across, for what it would let pass.
class StrictEyes {
public:
    bool See(JsonValue::parse_event_t event, const JsonValue &value)
    {
        switch (event) {
            case JsonValue::parse_event_t::object_start:
            case JsonValue::parse_event_t::array_start:
                Enter();
                break;
            case JsonValue::parse_event_t::object_end:
            case JsonValue::parse_event_t::array_end:
                keysOfLevels.pop_back();
                break;
            case JsonValue::parse_event_t::key:
                RequireNewKey(value);
                break;
            case JsonValue::parse_event_t::value:
                RequireNoZeroByte(value);
                break;
        }
        return true;
    }

private:
    void Enter()
    {
        if (keysOfLevels.size() == kMaxJsonDepth) {
            throw ControlError(ExitCode::Usage, fmt::format("it is nested deeper than {} levels", kMaxJsonDepth));
        }
        keysOfLevels.emplace_back();
    }

    void RequireNewKey(const JsonValue &key)
    {
        RequireNoZeroByte(key);
        if (!keysOfLevels.back().insert(key.get<std::string>()).second) {
            throw ControlError(ExitCode::Usage, "a key stands twice in one object");
        }
    }

    static void RequireNoZeroByte(const JsonValue &value)
    {
        if (value.is_string() && value.get_ref<const std::string &>().find('\0') != std::string::npos) {
            throw ControlError(ExitCode::Usage, "it holds a zero byte");
        }
    }

    std::vector<std::set<std::string>> keysOfLevels;  // from the outermost object or array inwards
};

// The library's own messages quote the text, so they are not passed on.
JsonValue ParseObject(const std::string &line)
{
    if (line.find('\0') != std::string::npos) {
        throw ControlError(ExitCode::Usage, "it holds a zero byte");
    }
    if (line.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0) {
        throw ControlError(ExitCode::Usage, "it begins with a byte order mark");
    }
    StrictEyes eyes;
    JsonValue value;
    try {
        value = JsonValue::parse(
            line,
            [&eyes](int, JsonValue::parse_event_t event, const JsonValue &seen) { return eyes.See(event, seen); });
    } catch (const JsonValue::parse_error &error) {
        throw ControlError(ExitCode::Usage, fmt::format("it is no JSON in UTF-8 (at byte {})", error.byte));
    } catch (const JsonValue::exception &) {
        throw ControlError(ExitCode::Usage, "a number in it is out of range");
    }
    if (!value.is_object()) {
        throw ControlError(ExitCode::Usage, "it is no JSON object");
    }
    return value;
}

void RequireVersion(const JsonValue &object)
{
    const auto version = object.find("version");
    if (version == object.end() || !version->is_number_integer() || *version != kControlVersion) {
        throw ControlError(ExitCode::Usage, fmt::format("its \"version\" is not {}", kControlVersion));
    }
}

// Nothing for a code of a later version, and for 0, which no failure has.
ExitCode CodeOf(const JsonValue &error)
{
    const JsonValue &code = error.at("code");
    for (const ExitCodeEntry &entry : ExitCodes()) {
        if (code.is_number_integer() && code == ToStatus(entry.code) && entry.code != ExitCode::Done) {
            return entry.code;
        }
    }
    return ExitCode::Failed;
}

JsonValue TakeResult(JsonValue &answer)
{
    RequireVersion(answer);
    if (answer.at("ok").get<bool>()) {
        return std::move(answer.at("result"));
    }
    const JsonValue &error = answer.at("error");
    const std::string message = error.at("message").get<std::string>();
    throw ControlError(CodeOf(error), message);
}

}  // namespace

JsonValue ParseRequest(const std::string &line)
{
    try {
        JsonValue request = ParseObject(line);
        RequireVersion(request);
        const auto op = request.find("op");
        if (op == request.end() || !op->is_string()) {
            throw ControlError(ExitCode::Usage, "its \"op\" is missing or no text");
        }
        return request;
    } catch (const ControlError &error) {
        throw ControlError(ExitCode::Usage, fmt::format("the request cannot be used: {}", error.what()));
    }
}

std::string SuccessLine(const JsonValue &result)
{
    const JsonValue answer = {{"version", kControlVersion}, {"ok", true}, {"result", result}};
    std::string line = answer.dump(-1, ' ', false, JsonValue::error_handler_t::replace);
    if (line.size() > kMaxAnswerBytes) {
        return FailureLine(
            ControlError(ExitCode::Failed, fmt::format("the answer is longer than {} bytes", kMaxAnswerBytes)));
    }
    return line;
}

std::string FailureLine(const ControlError &error)
{
    const ExitCodeEntry &entry = Explain(error.GetCode());
    const JsonValue answer = {
        {"version", kControlVersion},
        {"ok", false},
        {"error", {{"code", ToStatus(entry.code)}, {"name", entry.name}, {"message", error.what()}}}};
    return answer.dump(-1, ' ', false, JsonValue::error_handler_t::replace);
}

JsonValue ParseAnswer(const std::string &line)
{
    JsonValue answer;
    try {
        answer = ParseObject(line);
        RequireVersion(answer);
    } catch (const ControlError &error) {
        throw ControlError(ExitCode::Failed, fmt::format("the answer cannot be used: {}", error.what()));
    }
    try {
        return TakeResult(answer);
    } catch (const JsonValue::exception &) {
        throw ControlError(ExitCode::Failed, "the answer cannot be used: it is neither a success nor a failure");
    }
}

}  // namespace zef
