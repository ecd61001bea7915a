#include "check/SwitchRules.h"

#include "check/ValueReading.h"

#include <set>

namespace zef {

namespace {

constexpr const char *kOn = "ON";
constexpr const char *kOff = "OFF";

// The values that start-up may come to see; more than one only where the element stands more than once.
std::set<std::string> CheckSwitch(mxml_node_t *config, const std::string &name, DocumentReport &report)
{
    const std::vector<mxml_node_t *> elements = ChildElements(config, name);
    if (elements.empty()) {
        report.Refuse(config, "switch-missing", "there is no element " + name + "; it must be ON or OFF");
    }
    std::set<std::string> values;
    for (mxml_node_t *element : elements) {
        const std::optional<std::string> value = ReadTyped(element, true, report);
        if (value && *value != kOn && *value != kOff) {
            report.Refuse(element, "switch-invalid", name + " is " + Quoted(*value) + "; it must be ON or OFF");
        }
        values.insert(value.value_or(""));
    }
    return values;
}

}  // namespace

void CheckSwitches(mxml_node_t *config, DocumentReport &report)
{
    const std::set<std::string> deduplication = CheckSwitch(config, "Deduplication", report);
    const std::set<std::string> compression = CheckSwitch(config, "Compression", report);
    if (compression.count(kOn) != 0 && deduplication.count(kOff) != 0) {
        report.Refuse(ChildElements(config, "Compression").front(), "switch-rule",
                      "Compression is ON while Deduplication is OFF; it needs Deduplication");
    }
}

}  // namespace zef
