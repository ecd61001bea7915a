#include "log/LogText.h"

#include <fmt/format.h>

namespace zef {

namespace {

std::string_view WithoutTrailingNewlines(std::string_view text)
{
    const size_t last = text.find_last_not_of("\r\n");
    return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

bool IsControl(unsigned char byte)
{
    return byte < 0x20 || byte == 0x7f;
}

// The second byte of U+0080 to U+009F: 0xc2 0x80 to 0xc2 0x9f.
bool IsHighControl(unsigned char byte, unsigned char previous)
{
    return previous == 0xc2 && byte >= 0x80 && byte <= 0x9f;
}

void AppendEscaped(std::string &output, unsigned char byte)
{
    switch (byte) {
        case '\n':
            output += "\\n";
            break;
        case '\r':
            output += "\\r";
            break;
        case '\t':
            output += "\\t";
            break;
        default:
            output += fmt::format("\\x{:02x}", byte);
    }
}

}  // namespace

std::string PrintableLogText(std::string_view text)
{
    std::string output;
    output.reserve(text.size());
    unsigned char previous = 0;
    for (const char character : WithoutTrailingNewlines(text)) {
        const auto byte = static_cast<unsigned char>(character);
        if (IsHighControl(byte, previous)) {
            output.pop_back();
            output += fmt::format("\\u{:04x}", byte);
        } else if (IsControl(byte)) {
            AppendEscaped(output, byte);
        } else {
            output += character;
        }
        previous = byte;
    }
    return output;
}

}  // namespace zef
