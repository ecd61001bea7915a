// What the library hands to the client's other components.
#ifndef ZEF_CLIENT_COMPONENTS_CLIENT_COMPONENTS_H
#define ZEF_CLIENT_COMPONENTS_CLIENT_COMPONENTS_H

#include "common/Mutex.h"

#include <cstdint>
#include <string>

namespace zef {

// Keeps what the library has given to the client-information, Hib, Fibre Channel and command-line components, for those
// who ask later. Self-synchronised; what was never given is empty or 0.
class ClientComponents {
public:
    // The object that the library's calls fill.
    static ClientComponents &Instance();

    void SetInfoUuid(const std::string &uuid);
    void SetHibUuid(const std::string &uuid);
    void CountFibreChannelStart();

    // Returns the number that was set before.
    uint32_t SetSeenLinkRecords(uint32_t count);

    // The client's UUID, as the client-information and the Hib component know it.
    std::string InfoUuid() const;
    std::string HibUuid() const;

    // How often the process was prepared for Fibre Channel.
    uint32_t FibreChannelStarts() const;

    // Number of links in the table that was last looked through for shard cards.
    uint32_t SeenLinkRecords() const;

private:
    mutable Mutex mutex;
    std::string infoUuid ZEF_GUARDED_BY(mutex);
    std::string hibUuid ZEF_GUARDED_BY(mutex);
    uint32_t fibreChannelStarts ZEF_GUARDED_BY(mutex) = 0;
    uint32_t seenLinkRecords ZEF_GUARDED_BY(mutex) = 0;
};

}  // namespace zef

#endif
