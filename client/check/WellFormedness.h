// What strict XML makes of a configuration file, and where its elements stand.
#ifndef ZEF_CLIENT_CHECK_WELL_FORMEDNESS_H
#define ZEF_CLIENT_CHECK_WELL_FORMEDNESS_H

#include "check/FindingList.h"
#include "check/SourceText.h"

#include <string>
#include <unordered_map>
#include <vector>

#include <cstdint>

namespace zef {

// For each element name the offsets in the text at which elements of this name begin, in the order of the document.
using ElementOffsets = std::unordered_map<std::string, std::vector<uint32_t>>;

struct XmlReport {
    std::vector<Finding> findings;  // none of them refuses the start: the library's own parser is more lenient
    ElementOffsets offsets;         // in a file that is not well-formed, as far as it can be followed
};

// Nothing but the text is looked at: no network, no other file, and no entity is ever expanded. Messages never quote
// the text, which may hold a password. Any thread.
XmlReport ParseStrictly(const SourceText &source);

}  // namespace zef

#endif
