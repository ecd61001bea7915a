// Numbers with their nouns.
#ifndef ZEF_CLIENT_COMMON_COUNTED_H
#define ZEF_CLIENT_COMMON_COUNTED_H

#include <string>

#include <cstddef>

namespace zef {

// "1 link", "2 links".
inline std::string Counted(size_t count, const char *one, const char *several)
{
    return std::to_string(count) + " " + (count == 1 ? one : several);
}

}  // namespace zef

#endif
