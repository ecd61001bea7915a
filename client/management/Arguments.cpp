#include "management/Arguments.h"

#include "control/ControlError.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>

namespace zef {

namespace {

using Json = nlohmann::json;

constexpr std::string_view kEnvelope[] = {"version", "op", "timeout_ms"};

[[noreturn]] void Refuse(const char *name, const char *problem)
{
    throw ControlError(ExitCode::Usage, fmt::format("argument \"{}\" {}", name, problem));
}

template <class Names>
bool Contains(const Names &names, std::string_view name)
{
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

std::string RequireText(const Json &value, const char *name)
{
    if (!value.is_string()) {
        Refuse(name, "must be a text");
    }
    const auto &text = value.get_ref<const std::string &>();
    if (text.find('\0') != std::string::npos) {
        Refuse(name, "must not contain a zero byte");
    }
    return text;
}

}  // namespace

Arguments::Arguments(const Json &wholeRequest, std::initializer_list<std::string_view> known) : request(wholeRequest)
{
    for (const auto &[name, value] : request.items()) {
        if (!Contains(kEnvelope, name) && !Contains(known, name)) {
            Refuse(name.c_str(), "is not known for this request");
        }
    }
}

std::string Arguments::Text(const char *name) const
{
    const auto found = request.find(name);
    if (found == request.end()) {
        Refuse(name, "is missing");
    }
    return RequireText(*found, name);
}

std::string Arguments::OptionalText(const char *name) const
{
    return request.contains(name) ? Text(name) : "";
}

std::vector<std::string> Arguments::Texts(const char *name) const
{
    std::vector<std::string> texts = OptionalTexts(name);
    if (texts.empty()) {
        Refuse(name, "is missing or empty");
    }
    return texts;
}

std::vector<std::string> Arguments::OptionalTexts(const char *name) const
{
    std::vector<std::string> texts;
    const auto found = request.find(name);
    if (found == request.end()) {
        return texts;
    }
    if (!found->is_array()) {
        Refuse(name, "must be a list of texts");
    }
    for (const Json &value : *found) {
        texts.push_back(RequireText(value, name));
    }
    return texts;
}

bool Arguments::Flag(const char *name) const
{
    const auto found = request.find(name);
    if (found == request.end()) {
        return false;
    }
    if (!found->is_boolean()) {
        Refuse(name, "must be true or false");
    }
    return found->get<bool>();
}

}  // namespace zef
