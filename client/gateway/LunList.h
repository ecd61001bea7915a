// The LUNs in the answer to REPORT LUNS.
#ifndef ZEF_CLIENT_GATEWAY_LUN_LIST_H
#define ZEF_CLIENT_GATEWAY_LUN_LIST_H

#include <vector>

#include <cstddef>
#include <cstdint>

namespace zef {

// Returns the LUNs in the answer's order, each as the first two bytes of its address, which is what libiscsi expects.
// Accepts any bytes: truncated entries and LUNs with more than one level are skipped, at most `limit` are returned.
std::vector<int> ParseLunList(const std::vector<uint8_t> &answer, size_t limit);

}  // namespace zef

#endif
