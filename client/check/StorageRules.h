// Whether start-up accepts the storage object.
#ifndef ZEF_CLIENT_CHECK_STORAGE_RULES_H
#define ZEF_CLIENT_CHECK_STORAGE_RULES_H

#include "check/DocumentReport.h"
#include "check/KeyRules.h"

namespace zef {

// At most one, with a name, a user, a password that the keys open, and addresses unless it is reached over Fibre
// Channel. Never shows the password or its sealed text.
void CheckStorageObjects(mxml_node_t *config, const KeyRules &keys, DocumentReport &report);

// "1" alone stands for Fibre Channel.
bool IsFibreChannel(const std::string &linkType);

}  // namespace zef

#endif
