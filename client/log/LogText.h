// Makes any text fit for one line of the log.
#ifndef ZEF_CLIENT_LOG_LOG_TEXT_H
#define ZEF_CLIENT_LOG_LOG_TEXT_H

#include <string>
#include <string_view>

namespace zef {

// The text without trailing newlines, with every other control character escaped: "\n", "\r", "\t", else "\x1b" and
// the like. Control characters are the bytes below 0x20, 0x7f, and U+0080 to U+009F in UTF-8, which terminals obey too.
std::string PrintableLogText(std::string_view text);

}  // namespace zef

#endif
