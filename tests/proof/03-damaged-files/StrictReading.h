// What the text of a configuration says to a strict XML parser, by another parser than the library's.
#ifndef ZEF_PROOF_STRICT_READING_H
#define ZEF_PROOF_STRICT_READING_H

#include "Registry.h"

#include <optional>

// Nothing when the text is not well-formed, or has no element Config where one belongs. Judges no value.
std::optional<Registry> ReadStrictly(const std::string &text);

#endif
