// Whether start-up accepts the data-reduction switches.
#ifndef ZEF_CLIENT_CHECK_SWITCH_RULES_H
#define ZEF_CLIENT_CHECK_SWITCH_RULES_H

#include "check/DocumentReport.h"

namespace zef {

// Both must be there, ON or OFF, and Compression must not be ON while Deduplication is OFF.
void CheckSwitches(mxml_node_t *config, DocumentReport &report);

}  // namespace zef

#endif
