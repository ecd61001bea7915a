// Validation of names by regular expressions.
#ifndef ZEF_CONFIG_WHOLE_MATCH_H
#define ZEF_CONFIG_WHOLE_MATCH_H

#include <string>

namespace zef_config {

// Whether the whole text, not just a part of it, matches a valid POSIX extended regular expression without anchors.
// A text with a zero byte inside never does. The expression is compiled anew every time.
bool MatchesWhole(const std::string &text, const char *pattern);

}  // namespace zef_config

#endif
