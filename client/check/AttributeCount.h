// Keeps tags out that parsers would take hours for.
#ifndef ZEF_CLIENT_CHECK_ATTRIBUTE_COUNT_H
#define ZEF_CLIENT_CHECK_ATTRIBUTE_COUNT_H

#include <optional>
#include <string>

#include <cstddef>

namespace zef {

// Parsers compare each attribute of a tag with all before it.
constexpr size_t kMaxAttributes = 20000;

// Where the first tag begins that has more attributes than that.
std::optional<size_t> FindCrowdedTag(const std::string &text);

}  // namespace zef

#endif
