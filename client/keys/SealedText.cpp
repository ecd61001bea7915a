#include "keys/SealedText.h"

#include "keys/KeyError.h"

#include <fmt/format.h>
#include <sodium.h>

#include <charconv>
#include <string_view>

namespace zef {

namespace {

constexpr std::string_view kPrefix = "zef1:";
constexpr size_t kKeyIdDigits = 16;
constexpr size_t kBodyPosition = kPrefix.size() + kKeyIdDigits + 1;
// Longer than any sealed password; keeps what a hostile file can make us allocate small.
constexpr size_t kMaxTextLength = 1024;
constexpr int kHexadecimal = 16;

std::string ToBase64(const std::vector<uint8_t> &bytes)
{
    constexpr int kVariant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
    std::string text(sodium_base64_encoded_len(bytes.size(), kVariant), '\0');
    sodium_bin2base64(text.data(), text.size(), bytes.data(), bytes.size(), kVariant);
    text.pop_back();  // the terminator that is counted in
    return text;
}

// Empty for anything that is not base64.
std::vector<uint8_t> FromBase64(std::string_view text)
{
    constexpr int kVariant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
    std::vector<uint8_t> bytes(text.size());
    size_t size = 0;
    const int result =
        sodium_base642bin(bytes.data(), bytes.size(), text.data(), text.size(), nullptr, &size, nullptr, kVariant);
    bytes.resize(result == 0 ? size : 0);
    return bytes;
}

}  // namespace

SealedText SealedText::Parse(const std::string &text)
{
    if (text.compare(0, kPrefix.size(), kPrefix) != 0) {
        throw KeyError("it is not a sealed password: it does not begin with \"zef1:\"");
    }
    SealedText sealed;
    if (text.size() > kBodyPosition && text.size() <= kMaxTextLength) {
        const char *const digits = text.data() + kPrefix.size();
        std::from_chars(digits, digits + kKeyIdDigits, sealed.keyId, kHexadecimal);
        sealed.body = FromBase64(std::string_view(text).substr(kBodyPosition));
    }
    if (sealed.ToString() != text) {
        throw KeyError("it is not a whole sealed password: characters are missing, added or replaced");
    }
    return sealed;
}

std::string SealedText::ToString() const
{
    return fmt::format("{}{:016x}:{}", kPrefix, keyId, ToBase64(body));
}

}  // namespace zef
