#include "gateway/LunList.h"

#include <algorithm>

namespace zef {

namespace {

constexpr size_t kHeaderSize = 8;
constexpr size_t kEntrySize = 8;

size_t AnnouncedSize(const std::vector<uint8_t> &answer)
{
    return static_cast<size_t>(answer[0]) << 24 | static_cast<size_t>(answer[1]) << 16 |
           static_cast<size_t>(answer[2]) << 8 | answer[3];
}

// Peripheral (00) and flat (01) addressing on the first level, nothing below it.
bool HasOneLevel(const uint8_t *entry)
{
    return entry[0] >> 6 <= 1 && std::all_of(entry + 2, entry + kEntrySize, [](uint8_t byte) { return byte == 0; });
}

}  // namespace

std::vector<int> ParseLunList(const std::vector<uint8_t> &answer, size_t limit)
{
    std::vector<int> luns;
    if (answer.size() < kHeaderSize) {
        return luns;
    }
    const size_t end = std::min(answer.size(), kHeaderSize + AnnouncedSize(answer));
    for (size_t at = kHeaderSize; at + kEntrySize <= end && luns.size() < limit; at += kEntrySize) {
        const uint8_t *entry = answer.data() + at;
        if (HasOneLevel(entry)) {
            luns.push_back(entry[0] << 8 | entry[1]);
        }
    }
    return luns;
}

}  // namespace zef
