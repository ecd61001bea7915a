#include "iputil/EarlyProbes.h"

#include "common/NeverDestroyed.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <poll.h>

namespace zef {

namespace {

bool CanBeRead(int descriptor)
{
    pollfd polled{descriptor, POLLIN, 0};
    return poll(&polled, 1, 0) > 0;
}

}  // namespace

EarlyProbes &EarlyProbes::Instance()
{
    static NeverDestroyed<EarlyProbes> instance;
    return instance.Get();
}

void EarlyProbes::Begin(const std::set<std::string> &arrays, const std::vector<std::string> &candidates,
                        const IpUtilOptions &options, int stopDescriptor)
{
    const MutexLock lock(mutex);
    if (CanBeRead(stopDescriptor)) {
        probes.clear();
        return;
    }
    DropUseless(arrays, candidates);
    locals = candidates;
    const size_t each = std::min(candidates.size(), AddressProbe::kMostSockets);
    for (const std::string &array : arrays) {
        if (probes.count(array) != 0) {
            continue;
        }
        if (OpenSockets() + each > AddressProbe::kMostSockets) {
            return;
        }
        auto probe = std::make_unique<AddressProbe>(array, options.port, options.deadline, stopDescriptor);
        probe->Begin(candidates);
        probes.emplace(array, std::move(probe));
    }
}

std::unique_ptr<AddressProbe> EarlyProbes::Take(const std::string &array, const std::vector<std::string> &candidates)
{
    const MutexLock lock(mutex);
    const auto found = probes.find(array);
    if (found == probes.end()) {
        return nullptr;
    }
    std::unique_ptr<AddressProbe> probe = std::move(found->second);
    probes.erase(found);
    const bool isRefused = probe->Look().empty() && probe->OpenSockets() == 0;
    return isRefused || probe->IsStale() || candidates != locals ? nullptr : std::move(probe);
}

std::map<std::string, std::set<std::string>> EarlyProbes::Reached()
{
    const MutexLock lock(mutex);
    std::map<std::string, std::set<std::string>> reached;
    for (const auto &[array, probe] : probes) {
        if (const std::set<std::string> &found = probe->Look(); !found.empty()) {
            reached[array] = found;
        }
    }
    return reached;
}

void EarlyProbes::Drop(const std::string &array)
{
    const MutexLock lock(mutex);
    probes.erase(array);
}

void EarlyProbes::Clear()
{
    const MutexLock lock(mutex);
    probes.clear();
}

void EarlyProbes::DropUseless(const std::set<std::string> &arrays, const std::vector<std::string> &candidates)
{
    for (auto one = probes.begin(); one != probes.end();) {
        const auto &[array, probe] = *one;
        const bool isUseless = candidates != locals || arrays.count(array) == 0 || probe->IsStale();
        one = isUseless ? probes.erase(one) : std::next(one);
    }
}

size_t EarlyProbes::OpenSockets() const
{
    size_t sockets = 0;
    for (const auto &[array, probe] : probes) {
        sockets += probe->OpenSockets();
    }
    return sockets;
}

}  // namespace zef
