// The platform's address helpers.
#include "iputil/AddressProbe.h"
#include "iputil/EarlyProbes.h"
#include "iputil/IpUtilSettings.h"
#include "iputil/ProbeRecord.h"
#include "log/Log.h"

#include <zef_config/platform/IpUtil.h>

#include <memory>
#include <vector>

#include <arpa/inet.h>

namespace {

bool IsWanted(const std::string &array, const zef::IpUtilOptions &options)
{
    if (!options.isWanted || options.isWanted(array)) {
        return true;
    }
    zef::EarlyProbes::Instance().Drop(array);
    zef::LogInfo("iputil", "{} is not tried: it is no longer configured", array);
    return false;
}

std::set<std::string> AwaitedBesides(const std::string &array, const zef::IpUtilOptions &options)
{
    std::set<std::string> others = options.awaited ? options.awaited() : std::set<std::string>();
    others.erase(array);
    return others;
}

// The one that began early, if there is one that still says something.
std::unique_ptr<zef::AddressProbe> BegunProbe(const std::string &array, const std::vector<std::string> &candidates,
                                              const zef::IpUtilOptions &options, int stopDescriptor)
{
    std::unique_ptr<zef::AddressProbe> probe = zef::EarlyProbes::Instance().Take(array, candidates);
    if (probe == nullptr) {
        probe = std::make_unique<zef::AddressProbe>(array, options.port, options.deadline, stopDescriptor);
        probe->Begin(candidates);
    }
    return probe;
}

// Looks even when there is nobody to tell: connections that stand are closed by that.
void TellWhoIsReached(const zef::IpUtilOptions &options)
{
    for (const auto &[array, locals] : zef::EarlyProbes::Instance().Reached()) {
        if (options.reached) {
            options.reached(array, locals);
        }
    }
}

std::set<std::string> Try(const std::string &array, const zef::IpUtilOptions &options)
{
    const int stop = zef::IpUtilSettings::Instance().StopDescriptor();
    const std::set<std::string> others = AwaitedBesides(array, options);
    const std::vector<std::string> candidates = zef::LocalAddresses();
    const std::unique_ptr<zef::AddressProbe> probe = BegunProbe(array, candidates, options, stop);
    zef::EarlyProbes::Instance().Begin(others, candidates, options, stop);
    std::set<std::string> reachable = probe->Finish();
    if (probe->WasStopped()) {
        zef::LogInfo("iputil", "{}:{} is not tried: the client stops", array, options.port);
        return reachable;
    }
    if (reachable.empty()) {
        zef::ProbeRecord::Instance().NotReached(array, options.port, probe->WhyNot());
    } else {
        zef::ProbeRecord::Instance().Reached(array, options.port);
    }
    TellWhoIsReached(options);
    return reachable;
}

}  // namespace

bool IpUtil::IsIpV4Valid(const std::string &ip)
{
    in_addr address{};
    // A zero byte would end the text for inet_pton, and whatever follows would pass unseen.
    return ip.find('\0') == std::string::npos && inet_pton(AF_INET, ip.c_str(), &address) == 1;
}

std::set<std::string> IpUtil::GetHostIpsCanConnect(const std::string &ip)
{
    if (!IsIpV4Valid(ip)) {
        zef::LogError("iputil", "'{}' is not an IPv4 address", ip);
        return {};
    }
    const zef::IpUtilOptions options = zef::IpUtilSettings::Instance().Options();
    std::set<std::string> reachable;
    if (IsWanted(ip, options)) {
        reachable = Try(ip, options);
    }
    if (options.reached) {
        options.reached(ip, reachable);
    }
    return reachable;
}
