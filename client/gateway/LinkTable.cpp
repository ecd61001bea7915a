#include "gateway/LinkTable.h"

namespace zef {

namespace {

bool IsSame(const LinkState &one, const LinkState &other)
{
    return one.phase == other.phase && one.wwn == other.wwn && one.cause == other.cause &&
           one.failures == other.failures;
}

}  // namespace

LinkTable::Entry LinkTable::Join(const std::string &local, const std::string &array)
{
    const MutexLock lock(mutex);
    Entry &entry = entries[Key(local, array)];
    if (entry.id == 0) {
        entry.id = ++lastId;
        entry.state.local = local;
        entry.state.array = array;
        entry.state.since = std::chrono::system_clock::now();
    }
    return entry;
}

std::optional<uint64_t> LinkTable::Remove(const std::string &local, const std::string &array)
{
    const MutexLock lock(mutex);
    const auto found = entries.find(Key(local, array));
    if (found == entries.end()) {
        return std::nullopt;
    }
    const uint64_t id = found->second.id;
    entries.erase(found);
    return id;
}

std::optional<LinkState> LinkTable::Publish(uint64_t id, const LinkState &state)
{
    const MutexLock lock(mutex);
    const auto found = entries.find(Key(state.local, state.array));
    if (found == entries.end() || found->second.id != id) {
        return std::nullopt;
    }
    LinkState &kept = found->second.state;
    const bool isNews = !IsSame(kept, state);
    const auto since = kept.phase == state.phase ? kept.since : std::chrono::system_clock::now();
    kept = state;
    kept.since = since;
    return isNews ? std::optional<LinkState>(kept) : std::nullopt;
}

std::optional<LinkState> LinkTable::Find(const std::string &local, const std::string &array) const
{
    const MutexLock lock(mutex);
    const auto found = entries.find(Key(local, array));
    return found == entries.end() ? std::nullopt : std::optional<LinkState>(found->second.state);
}

std::vector<LinkTable::Entry> LinkTable::Entries() const
{
    const MutexLock lock(mutex);
    std::vector<Entry> all;
    for (const auto &[key, entry] : entries) {
        all.push_back(entry);
    }
    return all;
}

void LinkTable::Clear()
{
    const MutexLock lock(mutex);
    entries.clear();
}

}  // namespace zef
