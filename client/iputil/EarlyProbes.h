// Probes of array addresses that begin before they are asked for, so that addresses which do not answer are waited for
// together.
#ifndef ZEF_CLIENT_IPUTIL_EARLY_PROBES_H
#define ZEF_CLIENT_IPUTIL_EARLY_PROBES_H

#include "common/Mutex.h"
#include "iputil/AddressProbe.h"
#include "iputil/IpUtilSettings.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <cstddef>

namespace zef {

// One probe an array address, all with the same candidates. May be used from any thread.
class EarlyProbes {
public:
    // The process's own, because the functions of IpUtil have no object.
    static EarlyProbes &Instance();

    EarlyProbes() = default;
    EarlyProbes(const EarlyProbes &) = delete;
    EarlyProbes &operator=(const EarlyProbes &) = delete;

    // Begins a probe of each array address that has none here, as long as all of them together have no more sockets
    // than one probe may have. Those of other addresses end, and so do those that say nothing any more: that are stale,
    // or were begun with other candidates. While the stop descriptor can be read all end and none begins.
    void Begin(const std::set<std::string> &arrays, const std::vector<std::string> &candidates,
               const IpUtilOptions &options, int stopDescriptor);

    // Hands the probe of an array address over; null when there is none that still says something. One that was refused
    // from everywhere does not: to try again takes no time, and it may have been long ago.
    std::unique_ptr<AddressProbe> Take(const std::string &array, const std::vector<std::string> &candidates);

    // Array addresses that were reached meanwhile, each with the local addresses that reach it so far.
    std::map<std::string, std::set<std::string>> Reached();

    // Ends one, or all of them.
    void Drop(const std::string &array);
    void Clear();

private:
    void DropUseless(const std::set<std::string> &arrays, const std::vector<std::string> &candidates)
        ZEF_REQUIRES(mutex);
    size_t OpenSockets() const ZEF_REQUIRES(mutex);

    Mutex mutex;
    std::vector<std::string> locals ZEF_GUARDED_BY(mutex);  // the candidates of all
    std::map<std::string, std::unique_ptr<AddressProbe>> probes ZEF_GUARDED_BY(mutex);  // by array address
};

}  // namespace zef

#endif
