// The text of a configuration file as a reader sees it in an editor.
#ifndef ZEF_CLIENT_CHECK_SOURCE_TEXT_H
#define ZEF_CLIENT_CHECK_SOURCE_TEXT_H

#include "check/Finding.h"

#include <string>
#include <vector>

#include <cstddef>
#include <cstdint>

namespace zef {

// UTF-8 without a byte order mark, whatever the file was in. The encoding is told by the mark alone, as the library
// does it; without one the bytes are taken as UTF-8 and may be anything.
class SourceText {
public:
    explicit SourceText(const std::string &bytes);

    const std::string &Text() const { return text; }

    // Where a byte of the text stands.
    Position At(size_t offset) const;

private:
    std::string text;
    std::vector<uint32_t> lineStarts;
};

}  // namespace zef

#endif
