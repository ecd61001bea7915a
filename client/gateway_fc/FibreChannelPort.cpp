#include "gateway_fc/FibreChannelPort.h"

#include <fmt/format.h>

#include <charconv>
#include <string_view>

namespace zef {

namespace {

constexpr std::string_view kTargetRole = "FCP Target";
constexpr std::string_view kRoleSeparator = ", ";
constexpr size_t kWwnDigits = 16;
constexpr uint64_t kNoWwn = UINT64_MAX;

bool Take(std::string_view &text, std::string_view expected)
{
    const bool found = text.substr(0, expected.size()) == expected;
    text.remove_prefix(found ? expected.size() : 0);
    return found;
}

bool TakeNumber(std::string_view &text, uint32_t &number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    return error == std::errc();
}

}  // namespace

std::optional<RemotePortId> ParseRemotePortName(const std::string &name)
{
    std::string_view rest = name;
    RemotePortId id = {};
    const bool parsed = Take(rest, "rport-") && TakeNumber(rest, id.host) && Take(rest, ":") &&
                        TakeNumber(rest, id.channel) && Take(rest, "-") && TakeNumber(rest, id.port) && rest.empty();
    return parsed ? std::optional<RemotePortId>(id) : std::nullopt;
}

std::optional<uint64_t> ParseWwn(const std::string &text)
{
    std::string_view digits = text;
    if (!Take(digits, "0x") || digits.empty() || digits.size() > kWwnDigits) {
        return std::nullopt;
    }
    uint64_t wwn = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), wwn, 16);
    const bool parsed = error == std::errc() && end == digits.data() + digits.size();
    return parsed && wwn != 0 && wwn != kNoWwn ? std::optional<uint64_t>(wwn) : std::nullopt;
}

std::string FormatWwn(uint64_t wwn)
{
    std::string text = fmt::format("{:016x}", wwn);
    for (size_t colon = kWwnDigits - 2; colon > 0; colon -= 2) {
        text.insert(colon, 1, ':');
    }
    return text;
}

bool IsTarget(const std::string &roles)
{
    std::string_view rest = roles;
    while (!rest.empty()) {
        const std::string_view role = rest.substr(0, rest.find(kRoleSeparator));
        if (role == kTargetRole) {
            return true;
        }
        rest.remove_prefix(role.size());
        Take(rest, kRoleSeparator);
    }
    return false;
}

}  // namespace zef
