// Whether start-up gets an identity for the client.
#ifndef ZEF_CLIENT_CHECK_UUID_RULES_H
#define ZEF_CLIENT_CHECK_UUID_RULES_H

#include "check/DocumentReport.h"

namespace zef {

// Uuid must be there. SystemUuid is looked at only when Uuid has a text that is malformed.
void CheckUuid(mxml_node_t *config, DocumentReport &report);

}  // namespace zef

#endif
