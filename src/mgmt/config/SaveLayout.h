// The layout of saved documents.
#ifndef ZEF_CONFIG_SAVE_LAYOUT_H
#define ZEF_CONFIG_SAVE_LAYOUT_H

#include <string>

namespace zef_config {

// Strips a rendering like XmlRmSpace and gives each element a line, four spaces a level.
//
// The depth starts below 0 so that the declaration, which nothing closes, puts the top element at depth 0. An element in
// the self-closing form likewise raises the depth for good. That drift is deliberate: saved files look like this.
std::string LayOut(const char *rendering);

}  // namespace zef_config

#endif
