#include "WholeMatch.h"

#include <regex.h>

namespace zef_config {

bool MatchesWhole(const std::string &text, const char *pattern)
{
    regex_t expression = {};
    if (regcomp(&expression, pattern, REG_EXTENDED) != 0) {
        return false;  // no memory, or no regular expression
    }
    regmatch_t match = {};
    const bool found = regexec(&expression, text.c_str(), 1, &match, 0) == 0;
    regfree(&expression);
    return found && match.rm_so == 0 && static_cast<size_t>(match.rm_eo) == text.size();
}

}  // namespace zef_config
