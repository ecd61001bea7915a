#include "baseconfig/SharedBaseConfig.h"

#include "baseconfig/SegmentFile.h"
#include "baseconfig/SharedItems.h"

#include <fmt/format.h>

#include <array>
#include <atomic>
#include <utility>

#include <cerrno>
#include <cstring>

#include <sys/mman.h>

namespace zef {

namespace {

constexpr uint64_t kMagic = 0x6766637361622d7aULL;  // "z-bascfg" in memory
constexpr uint32_t kVersion = 1;

}  // namespace

// As it lies in shared memory. A new segment is all zeros.
struct SharedBaseConfig::Segment {
    std::atomic<uint64_t> magic;  // written last: with it, everything else is valid
    uint32_t version;
    uint32_t itemCount;
    std::array<std::atomic<int64_t>, kItemCount> items;
};

void SharedBaseConfig::Unmap::operator()(Segment *mapped) const
{
    munmap(mapped, sizeof(Segment));
}

SharedBaseConfig::SharedBaseConfig(Mapping mapped, bool mayWrite) : segment(std::move(mapped)), writable(mayWrite) {}

SharedBaseConfig::Mapping SharedBaseConfig::Map(int descriptor, bool mayWrite, const std::string &name,
                                                std::string &error)
{
    static_assert(std::atomic<int64_t>::is_always_lock_free && std::atomic<uint64_t>::is_always_lock_free,
                  "a lock would be this process's own");
    static_assert(sizeof(Segment) == 16 + 8 * kItemCount, "other processes rely on the layout");

    const int protection = mayWrite ? PROT_READ | PROT_WRITE : PROT_READ;
    void *memory = mmap(nullptr, sizeof(Segment), protection, MAP_SHARED, descriptor, 0);
    if (memory == MAP_FAILED) {
        error = fmt::format("shared memory {}: cannot be mapped: {}", name, std::strerror(errno));
        return nullptr;
    }
    return Mapping(static_cast<Segment *>(memory));
}

bool SharedBaseConfig::IsUsable(const Segment &segment, const std::string &name, std::string &error)
{
    const uint64_t magic = segment.magic.load(std::memory_order_acquire);
    if (magic == 0) {
        error = fmt::format("shared memory {}: is not initialised", name);
    } else if (magic != kMagic) {
        error = fmt::format("shared memory {}: is no base configuration", name);
    } else if (segment.version != kVersion || segment.itemCount != kItemCount) {
        error = fmt::format("shared memory {}: has version {} with {} items instead of version {} with {}", name,
                            segment.version, segment.itemCount, kVersion, kItemCount);
    } else {
        return true;
    }
    return false;
}

// Also finishes what a creator began that died: it starts from the beginning, and nobody has read anything yet.
void SharedBaseConfig::Initialise(Segment &segment)
{
    segment.version = kVersion;
    segment.itemCount = kItemCount;
    for (const SharedItem &item : kSharedItems) {
        segment.items[static_cast<size_t>(item.number)] = item.defaultValue;
    }
    segment.magic.store(kMagic, std::memory_order_release);
}

std::optional<SharedBaseConfig> SharedBaseConfig::OpenOrCreate(const std::string &name, std::string &error)
{
    const SegmentFile file = SegmentFile::OpenOrCreate(name, error);
    // The lock, held until the return, keeps those apart who find the segment not initialised.
    if (!file.IsOpen() || !file.LockForCreation(error) || !file.CheckOrSetSize(sizeof(Segment), error)) {
        return std::nullopt;
    }
    Mapping mapped = Map(file.Descriptor(), true, name, error);
    if (mapped == nullptr) {
        return std::nullopt;
    }
    if (mapped->magic.load(std::memory_order_acquire) == 0) {
        Initialise(*mapped);
    }
    if (!IsUsable(*mapped, name, error)) {
        return std::nullopt;
    }
    return SharedBaseConfig(std::move(mapped), true);
}

std::optional<SharedBaseConfig> SharedBaseConfig::OpenReadOnly(const std::string &name, std::string &error)
{
    const SegmentFile file = SegmentFile::OpenReadOnly(name, error);
    if (!file.IsOpen() || !file.CheckSize(sizeof(Segment), error)) {
        return std::nullopt;
    }
    Mapping mapped = Map(file.Descriptor(), false, name, error);
    if (mapped == nullptr || !IsUsable(*mapped, name, error)) {
        return std::nullopt;
    }
    return SharedBaseConfig(std::move(mapped), false);
}

std::optional<int64_t> SharedBaseConfig::Get(int item) const
{
    if (item < 0 || item >= kItemCount) {
        return std::nullopt;
    }
    return segment->items[static_cast<size_t>(item)].load();
}

bool SharedBaseConfig::Set(int item, int64_t value, std::string &error)
{
    if (item < 0 || item >= kItemCount) {
        error = fmt::format("there is no item {}", item);
        return false;
    }
    if (!writable) {
        error = "the segment is open for reading only";
        return false;
    }
    segment->items[static_cast<size_t>(item)].store(value);
    return true;
}

}  // namespace zef
