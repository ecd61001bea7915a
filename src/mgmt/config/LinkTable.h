// What the library knows of the gateway's link records.
#ifndef ZEF_CONFIG_LINK_TABLE_H
#define ZEF_CONFIG_LINK_TABLE_H

#include "platform/Gateway.h"

#include <cstddef>
#include <cstdint>

namespace zef_config {

// States of a link that mean something here; the gateway may use others.
constexpr int64_t kLinkUp = 0;
constexpr int64_t kLinkNotUsable = 1;
constexpr int64_t kLinkEmpty = -1;

// A query for all links of an engine takes a table of this many records.
constexpr uint32_t kLinkTableRecords = 128;
constexpr size_t kLinkTableBytes = kLinkTableRecords * sizeof(OrnLinkInfo);
static_assert(kLinkTableBytes == 68608, "the table that the gateway expects");

constexpr uint32_t kLinkEngine = 1;

}  // namespace zef_config

#endif
