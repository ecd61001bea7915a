// The items of the shared base configuration that have a meaning.
#ifndef ZEF_CLIENT_BASECONFIG_SHARED_ITEMS_H
#define ZEF_CLIENT_BASECONFIG_SHARED_ITEMS_H

#include <cstdint>

namespace zef {

struct SharedItem {
    int number;
    int64_t defaultValue;  // of a new segment; items that are not listed begin with 0
    const char *name;      // with its unit
};

// In the order of their numbers.
constexpr SharedItem kSharedItems[] = {
    {65, 365, "maximum age of the root key (days)"},
    {66, 90, "maximum age of a master key (days)"},
    {67, 24, "time between key checks (hours, 0 for none)"},
    {69, 0, "deduplication (0 off, 1 on)"},
    {70, 0, "compression (0 off, 1 on)"},
};

}  // namespace zef

#endif
