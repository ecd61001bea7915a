#include "log/JournalStream.h"

#include <charconv>
#include <cstdint>
#include <string_view>

#include <sys/stat.h>

namespace zef {

namespace {

// Takes a decimal number off the front of the text.
bool TakeNumber(std::string_view &text, uint64_t &number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    return error == std::errc();
}

bool TakeColon(std::string_view &text)
{
    const bool found = !text.empty() && text.front() == ':';
    text.remove_prefix(found ? 1 : 0);
    return found;
}

}  // namespace

bool IsJournalStream(const char *journalStream, int descriptor)
{
    std::string_view text = journalStream == nullptr ? "" : journalStream;
    uint64_t device = 0;
    uint64_t inode = 0;
    if (!TakeNumber(text, device) || !TakeColon(text) || !TakeNumber(text, inode) || !text.empty()) {
        return false;
    }
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && status.st_dev == device && status.st_ino == inode;
}

}  // namespace zef
