// Steps that the library's queue still holds towards what was deleted.
#ifndef ZEF_CLIENT_MANAGEMENT_STALE_STEPS_H
#define ZEF_CLIENT_MANAGEMENT_STALE_STEPS_H

#include <zef_config/ZefStorage.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace zef {

// An address that no local address reached, or a pair whose login failed, has its next try in the queue: the library
// commits it at once, and drops it only when its turn comes. If the address were registered again before that, the old
// try would go on beside a new one, for ever. All functions are called inside tasks or under a TaskPause, so there is no
// lock.
class StaleSteps {
public:
    // Nothing waits that long; a step that was never queued is no longer believed in then.
    static constexpr std::chrono::minutes kLongest{1};

    static StaleSteps &Instance();

    // These are being deleted: their present states in ProbeRecord and gateway tell whether a try is queued.
    void NoteAddresses(const std::vector<std::string> &addresses);
    void NotePairs(const std::vector<IpPair> &pairs);

    // A step has left the queue.
    void AddressStepBegan(const std::string &array) { addresses.erase(array); }
    void PairStepBegan(const IpPair &pair) { pairs.erase(pair); }

    // True while a step towards this array address that was deleted is queued.
    bool IsQueued(const std::string &array) const;

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    std::map<std::string, TimePoint> addresses;  // when they were deleted
    std::map<IpPair, TimePoint> pairs;
};

}  // namespace zef

#endif
