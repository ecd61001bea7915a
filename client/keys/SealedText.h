// The text form of a sealed password.
#ifndef ZEF_CLIENT_KEYS_SEALED_TEXT_H
#define ZEF_CLIENT_KEYS_SEALED_TEXT_H

#include <string>
#include <vector>

#include <cstdint>

namespace zef {

// "zef1:", the key's id as 16 hexadecimal digits, ":", then nonce and cipher text in URL-safe base64 without padding.
// Holds neither white space nor a character that XML would escape, so it survives every way of saving a document.
struct SealedText {
    uint64_t keyId = 0;
    std::vector<uint8_t> body;

    // Exact: what ToString would not produce is refused with a KeyError, so no sealed password has two spellings.
    static SealedText Parse(const std::string &text);

    std::string ToString() const;
};

}  // namespace zef

#endif
