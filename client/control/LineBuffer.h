// Makes lines of the pieces that a stream comes in.
#ifndef ZEF_CLIENT_CONTROL_LINE_BUFFER_H
#define ZEF_CLIENT_CONTROL_LINE_BUFFER_H

#include <optional>
#include <string>

#include <cstddef>

namespace zef {

// Looks at each byte once, in however many pieces and lines the bytes come.
class LineBuffer {
public:
    explicit LineBuffer(size_t maxLineBytes);

    void Append(const char *bytes, size_t size);

    // The next line without its newline, if it is there whole and not too long.
    std::optional<std::string> TakeLine();

    // True when TakeLine would give a line.
    bool HasLine() const { return lineEnd != std::string::npos && !IsTooLong(); }

    // True when the next line, whole or not, has more bytes than allowed. There is no way on from there.
    bool IsTooLong() const;

    // True when nothing is held.
    bool IsEmpty() const { return begin == text.size(); }

private:
    void FindLineEnd();

    size_t limit;
    std::string text;
    size_t begin = 0;    // of the next line
    size_t scanned = 0;  // no newline between `begin` and here, except at lineEnd
    size_t lineEnd = std::string::npos;
};

}  // namespace zef

#endif
