// The names of the elements that a configuration is made of.
#ifndef ZEF_CLIENT_CHECK_ELEMENT_NAMES_H
#define ZEF_CLIENT_CHECK_ELEMENT_NAMES_H

#include <string>
#include <vector>

namespace zef {

// In the order in which people write them. "" is the document itself, "Config" and "StorageObject" are the elements
// with elements in them; nothing for any other name.
const std::vector<std::string> &KnownChildren(const std::string &parent);

// True for an element that may stand more than once beside others of its name.
bool IsRepeated(const std::string &name);

// What an unknown name was probably meant to be, as a continuation of a sentence: "; is Uuid meant?", or "; it belongs
// under StorageObject". "" when nothing is near.
std::string HintFor(const std::string &name, const std::string &parent);

}  // namespace zef

#endif
