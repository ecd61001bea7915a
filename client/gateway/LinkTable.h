// The states of all links, as the gateway's thread last published them, for every other thread to read.
#ifndef ZEF_CLIENT_GATEWAY_LINK_TABLE_H
#define ZEF_CLIENT_GATEWAY_LINK_TABLE_H

#include "common/Mutex.h"
#include "gateway/LinkState.h"

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <cstdint>

namespace zef {

// May be used from any thread; nothing here waits for the network.
class LinkTable {
public:
    // What a caller that wants a link up finds.
    struct Entry {
        uint64_t id = 0;  // never used again for another link
        LinkState state;
    };

    // Returns the pair's entry, made now when there is none.
    Entry Join(const std::string &local, const std::string &array);

    // Forgets the pair and returns its id; nothing for a pair that is not there.
    std::optional<uint64_t> Remove(const std::string &local, const std::string &array);

    // Stores a link's new state, under the id that Join gave. Returns it, dated, when phase, WWN, cause or
    // failures have changed; nothing when they have not, or when the link was removed meanwhile.
    std::optional<LinkState> Publish(uint64_t id, const LinkState &state);

    std::optional<LinkState> Find(const std::string &local, const std::string &array) const;

    // Ordered by local address, then array address, as texts.
    std::vector<Entry> Entries() const;

    void Clear();

private:
    using Key = std::pair<std::string, std::string>;

    mutable Mutex mutex;
    uint64_t lastId ZEF_GUARDED_BY(mutex) = 0;
    std::map<Key, Entry> entries ZEF_GUARDED_BY(mutex);
};

}  // namespace zef

#endif
