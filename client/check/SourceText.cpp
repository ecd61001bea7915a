#include "check/SourceText.h"

#include <algorithm>
#include <stdexcept>

#include <cerrno>

#include <iconv.h>

namespace zef {

namespace {

constexpr size_t kChunkBytes = 65536;
// No UTF-8 at all: it shows whoever parses the text that something is wrong here.
constexpr char kNoCharacter = '\xff';

bool BeginsWith(const std::string &bytes, const char *mark)
{
    return bytes.compare(0, std::char_traits<char>::length(mark), mark) == 0;
}

// Ends with kNoCharacter where the bytes are not in that encoding.
std::string Decode(std::string bytes, const char *encoding)
{
    const iconv_t converter = iconv_open("UTF-8", encoding);
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        throw std::runtime_error(std::string("this machine cannot decode ") + encoding);
    }
    std::string text;
    std::string chunk(kChunkBytes, '\0');
    char *input = bytes.data();
    size_t inputLeft = bytes.size();
    bool more = true;
    while (more) {
        char *output = chunk.data();
        size_t outputLeft = chunk.size();
        const bool done = iconv(converter, &input, &inputLeft, &output, &outputLeft) != static_cast<size_t>(-1);
        more = !done && errno == E2BIG;
        text.append(chunk, 0, chunk.size() - outputLeft);
        if (!done && !more) {
            text += kNoCharacter;
        }
    }
    iconv_close(converter);
    return text;
}

std::string ToUtf8(const std::string &bytes)
{
    if (BeginsWith(bytes, "\xfe\xff")) {
        return Decode(bytes.substr(2), "UTF-16BE");
    }
    if (BeginsWith(bytes, "\xff\xfe")) {
        return Decode(bytes.substr(2), "UTF-16LE");
    }
    return BeginsWith(bytes, "\xef\xbb\xbf") ? bytes.substr(3) : bytes;
}

bool BeginsCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80;
}

}  // namespace

SourceText::SourceText(const std::string &bytes) : text(ToUtf8(bytes)), lineStarts(1, 0)
{
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') {
            lineStarts.push_back(static_cast<uint32_t>(i + 1));
        }
    }
}

Position SourceText::At(size_t offset) const
{
    offset = std::min(offset, text.size());
    const auto next = std::upper_bound(lineStarts.begin(), lineStarts.end(), offset);
    const auto line = next - lineStarts.begin();
    const auto start = static_cast<std::ptrdiff_t>(*(next - 1));
    const auto characters =
        std::count_if(text.begin() + start, text.begin() + static_cast<std::ptrdiff_t>(offset), BeginsCharacter);
    return {static_cast<int>(line), static_cast<int>(characters) + 1};
}

}  // namespace zef
