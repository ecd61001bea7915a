#include "management/StaleSteps.h"

#include "gateway/IpGateway.h"
#include "iputil/ProbeRecord.h"

#include <algorithm>

namespace zef {

StaleSteps &StaleSteps::Instance()
{
    static StaleSteps instance;
    return instance;
}

void StaleSteps::NoteAddresses(const std::vector<std::string> &deleted)
{
    for (const ProbeState &probe : ProbeStates()) {
        if (!probe.reached && std::find(deleted.begin(), deleted.end(), probe.array) != deleted.end()) {
            addresses[probe.array] = std::chrono::steady_clock::now();
        }
    }
}

void StaleSteps::NotePairs(const std::vector<IpPair> &deleted)
{
    for (const LinkState &link : IpGateway::Instance().Links()) {
        const IpPair pair(link.local, link.array);
        if (link.phase == LinkPhase::Failed && std::find(deleted.begin(), deleted.end(), pair) != deleted.end()) {
            pairs[pair] = std::chrono::steady_clock::now();
        }
    }
}

bool StaleSteps::IsQueued(const std::string &array) const
{
    const auto isRecent = [](TimePoint since) { return std::chrono::steady_clock::now() - since < kLongest; };
    const auto address = addresses.find(array);
    if (address != addresses.end() && isRecent(address->second)) {
        return true;
    }
    return std::any_of(pairs.begin(), pairs.end(), [&](const auto &entry) {
        return entry.first.second == array && isRecent(entry.second);
    });
}

}  // namespace zef
