// What is in a configuration that nothing reads, or that stands there more than once.
#ifndef ZEF_CLIENT_CHECK_SHAPE_RULES_H
#define ZEF_CLIENT_CHECK_SHAPE_RULES_H

#include "check/DocumentReport.h"

namespace zef {

// Unknown and repeated elements beside Config, which stands under the declaration. `root` is the document's first
// node.
void CheckShapeOfTop(mxml_node_t *root, DocumentReport &report);

// Unknown elements and attributes, elements that stand more than once although one is read, texts between elements, and
// types that nothing looks at. Start-up accepts all of it.
void CheckShape(mxml_node_t *config, DocumentReport &report);

}  // namespace zef

#endif
