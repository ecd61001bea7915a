// Whether start-up accepts the array addresses of a storage object.
#ifndef ZEF_CLIENT_CHECK_ADDRESS_RULES_H
#define ZEF_CLIENT_CHECK_ADDRESS_RULES_H

#include "check/DocumentReport.h"

#include <string>
#include <vector>

namespace zef {

// For a storage object that is reached over IP.
void CheckAddresses(mxml_node_t *storage, DocumentReport &report);

// The addresses that start-up makes of the elements Ips, sorted and each once: one element may hold several, separated
// by ";".
std::vector<std::string> EffectiveAddresses(mxml_node_t *storage);

}  // namespace zef

#endif
