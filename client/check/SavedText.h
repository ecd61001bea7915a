// What the library's save would write of a document.
#ifndef ZEF_CLIENT_CHECK_SAVED_TEXT_H
#define ZEF_CLIENT_CHECK_SAVED_TEXT_H

#include <mxml.h>

#include <optional>
#include <string>

namespace zef {

// Rendered, stripped and indented as ZefIntCfgSaveInner does it, but nothing is written. Levels deeper than 64 are
// indented like level 64: hostile nesting would be mostly white space. Nothing for a document that the save would cut.
// Changes Mini-XML's wrap margin of the calling thread as a save does.
std::optional<std::string> SavedText(mxml_node_t *document);

}  // namespace zef

#endif
