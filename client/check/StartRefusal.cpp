#include "check/StartRefusal.h"

#include "check/ConfigCheck.h"

#include <fmt/format.h>

namespace zef {

namespace {

constexpr size_t kMaxReasons = 5;

}  // namespace

StartRefusal WhyStartIsRefused(const std::string &path, const KeyPaths &keys)
{
    const CheckResult result = CheckConfig(path, keys);
    if (!result.RefusesStart()) {
        return {ExitCode::Failed, "the messages above say why"};
    }
    StartRefusal refusal = {result.CodeOfErrors(), ""};
    size_t count = 0;
    for (const Finding &finding : result.findings) {
        if (finding.refusesStart && count++ < kMaxReasons) {
            refusal.text += fmt::format("{}{}: {}", refusal.text.empty() ? "" : "; ", PlaceOf(finding), finding.text);
        }
    }
    if (count > kMaxReasons) {
        refusal.text += fmt::format("; and {} more reasons, which zef_client check tells", count - kMaxReasons);
    }
    return refusal;
}

}  // namespace zef
