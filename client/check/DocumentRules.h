// Whether start-up finds the element Config.
#ifndef ZEF_CLIENT_CHECK_DOCUMENT_RULES_H
#define ZEF_CLIENT_CHECK_DOCUMENT_RULES_H

#include "check/DocumentReport.h"

#include <vector>

namespace zef {

// The elements Config that there are, for the other rules to judge: also one that start-up does not find because
// nothing stands above it, which is reported here. `root` is the document's first node and not null.
std::vector<mxml_node_t *> CheckTop(mxml_node_t *root, DocumentReport &report);

}  // namespace zef

#endif
