// The platform's address helpers.
#include "iputil/AddressProbe.h"
#include "iputil/IpUtilSettings.h"
#include "iputil/ProbeRecord.h"
#include "log/Log.h"

#include <zef_config/platform/IpUtil.h>

#include <arpa/inet.h>

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
    const zef::IpUtilSettings &settings = zef::IpUtilSettings::Instance();
    const zef::IpUtilOptions options = settings.Options();
    if (options.isWanted && !options.isWanted(ip)) {
        zef::LogInfo("iputil", "{} is not tried: it is no longer configured", ip);
        return {};
    }
    zef::AddressProbe probe(ip, options.port, options.deadline, settings.StopDescriptor());
    std::set<std::string> reachable = probe.Reachable(zef::LocalAddresses());
    if (probe.WasStopped()) {
        zef::LogInfo("iputil", "{}:{} is not tried: the client stops", ip, options.port);
    } else if (reachable.empty()) {
        zef::ProbeRecord::Instance().NotReached(ip, options.port, probe.WhyNot());
    } else {
        zef::ProbeRecord::Instance().Reached(ip, options.port);
    }
    return reachable;
}
