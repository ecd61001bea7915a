#include "check/UuidRules.h"

#include "check/ValueReading.h"

#include <zef_config/UuidConfig.h>

namespace zef {

namespace {

constexpr const char *kForm = "8, 4, 4, 4 and 12 hexadecimal digits joined by \"-\"";

bool IsUuid(const std::string &text)
{
    return UuidConfig::GetInstance().IsValidUuid(text);
}

// With `needed` start-up depends on it. Each of several is judged: which one start-up takes is not defined.
void CheckSystemUuid(const std::vector<mxml_node_t *> &elements, bool needed, DocumentReport &report)
{
    for (mxml_node_t *element : elements) {
        const std::optional<std::string> text = ReadTyped(element, needed, report);
        if (text && !IsUuid(*text)) {
            report.Judge(needed, element, "system-uuid-malformed",
                         "SystemUuid " + Quoted(*text) + " is malformed; it must be " + kForm);
        }
    }
}

// True when start-up goes on to SystemUuid.
bool NeedsSystemUuid(mxml_node_t *uuid, bool haveSystemUuid, DocumentReport &report)
{
    const std::optional<std::string> text = ReadTyped(uuid, true, report);
    if (!text || IsUuid(*text)) {
        return false;
    }
    if (haveSystemUuid) {
        report.Warn(uuid, "uuid-fallback",
                    "Uuid " + Quoted(*text) + " is malformed, and so start-up uses SystemUuid; it must be " + kForm);
    } else {
        report.Refuse(uuid, "uuid-malformed",
                      "Uuid " + Quoted(*text) +
                          " is malformed and there is no SystemUuid to fall back to; it must be " + kForm);
    }
    return haveSystemUuid;
}

}  // namespace

void CheckUuid(mxml_node_t *config, DocumentReport &report)
{
    const std::vector<mxml_node_t *> uuids = ChildElements(config, "Uuid");
    const std::vector<mxml_node_t *> systemUuids = ChildElements(config, "SystemUuid");
    if (uuids.empty()) {
        const char *const hint = systemUuids.empty() ? "" : "; SystemUuid is looked at only when Uuid is malformed";
        report.Refuse(config, "uuid-missing", std::string("there is no element Uuid") + hint);
    }
    bool needed = false;
    for (mxml_node_t *uuid : uuids) {
        needed = NeedsSystemUuid(uuid, !systemUuids.empty(), report) || needed;
    }
    CheckSystemUuid(systemUuids, needed, report);
}

}  // namespace zef
