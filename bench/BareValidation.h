// A validation by nothing but the calls of the C library that it cannot do without.
#ifndef ZEF_BENCH_BARE_VALIDATION_H
#define ZEF_BENCH_BARE_VALIDATION_H

#include <string>

#include <regex.h>

constexpr const char *kUuid = "[A-F0-9a-f]{8}(-[A-F0-9a-f]{4}){3}-[A-F0-9a-f]{12}";
constexpr const char *kUser = "[a-zA-Z][a-zA-Z0-9_]{4,31}";
constexpr const char *kStorageName = "[a-zA-Z0-9_/.-]{1,127}";

// Whether the pattern matches the text as a whole.
inline bool MatchesBare(const std::string &text, const char *pattern)
{
    regex_t expression;
    if (regcomp(&expression, pattern, REG_EXTENDED) != 0) {
        return false;
    }
    regmatch_t match;
    const int found = regexec(&expression, text.c_str(), 1, &match, 0);
    regfree(&expression);
    return found == 0 && match.rm_so == 0 && match.rm_eo == static_cast<regoff_t>(text.size());
}

#endif
