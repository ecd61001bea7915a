// Lists written as one text.
#ifndef ZEF_CONFIG_TEXT_LIST_H
#define ZEF_CONFIG_TEXT_LIST_H

#include <string>
#include <vector>

namespace zef_config {

// The pieces between separators, as they stand. A separator at the very end begins no further piece, and an empty text
// has none; elsewhere pieces may be empty.
std::vector<std::string> SplitList(const std::string &text, char separator);

}  // namespace zef_config

#endif
