#include "WholeMatch.h"

#include <new>

#include <regex.h>

namespace zef_config {

namespace {

// A lack of memory says nothing about the text, and must not be taken for a mismatch.
void ThrowWithoutMemory(int result)
{
    if (result == REG_ESPACE) {
        throw std::bad_alloc();
    }
}

}  // namespace

bool MatchesWhole(const std::string &text, const char *pattern)
{
    regex_t expression = {};
    const int compiled = regcomp(&expression, pattern, REG_EXTENDED);
    ThrowWithoutMemory(compiled);
    if (compiled != 0) {
        return false;  // no regular expression
    }
    regmatch_t match = {};
    const int found = regexec(&expression, text.c_str(), 1, &match, 0);
    regfree(&expression);
    ThrowWithoutMemory(found);
    return found == 0 && match.rm_so == 0 && static_cast<size_t>(match.rm_eo) == text.size();
}

}  // namespace zef_config
