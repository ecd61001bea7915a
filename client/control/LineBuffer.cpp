#include "control/LineBuffer.h"

namespace zef {

namespace {

// Taken lines are cut off only when so many bytes of them have gathered, not with every line.
constexpr size_t kCutBytes = 64 * 1024;

}  // namespace

LineBuffer::LineBuffer(size_t maxLineBytes) : limit(maxLineBytes) {}

void LineBuffer::Append(const char *bytes, size_t size)
{
    text.append(bytes, size);
    FindLineEnd();
}

std::optional<std::string> LineBuffer::TakeLine()
{
    if (!HasLine()) {
        return std::nullopt;
    }
    std::string line = text.substr(begin, lineEnd - begin);
    begin = scanned = lineEnd + 1;
    lineEnd = std::string::npos;
    if (IsEmpty() || begin >= kCutBytes) {
        text.erase(0, begin);
        begin = scanned = 0;
    }
    FindLineEnd();
    return line;
}

bool LineBuffer::IsTooLong() const
{
    return (lineEnd == std::string::npos ? text.size() : lineEnd) - begin > limit;
}

void LineBuffer::FindLineEnd()
{
    if (lineEnd == std::string::npos) {
        lineEnd = text.find('\n', scanned);
        scanned = lineEnd == std::string::npos ? text.size() : lineEnd;
    }
}

}  // namespace zef
