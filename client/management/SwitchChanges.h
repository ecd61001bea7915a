// Changes of the two data-reduction switches.
#ifndef ZEF_CLIENT_MANAGEMENT_SWITCH_CHANGES_H
#define ZEF_CLIENT_MANAGEMENT_SWITCH_CHANGES_H

#include <string>

namespace zef {

// To be called while the thread holds a TaskPause. `name` is "compression" or "deduplication", `value` "on" or "off".
// Publishes the value in the shared base configuration and returns what was done, as a sentence for the operator.
// Refuses with ControlError, with nothing changed, also what the next start would refuse: compression without
// deduplication.
std::string SetSwitch(const std::string &name, const std::string &value);

}  // namespace zef

#endif
