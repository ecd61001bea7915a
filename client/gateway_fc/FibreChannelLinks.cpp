#include "gateway_fc/FibreChannelLinks.h"

#include "gateway_fc/FibreChannelPort.h"
#include "gateway_fc/SysfsFile.h"
#include "log/Log.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>

namespace zef {

namespace {

constexpr const char *kComponent = "gateway";

constexpr int64_t kUp = 0;
constexpr int64_t kNotUsableYet = 1;
constexpr int64_t kOtherState = 2;

constexpr const char *kOnline = "Online";
constexpr const char *kBlocked = "Blocked";

// A port of this machine.
struct HostPort {
    uint64_t wwn;
    bool isOnline;
};

using Hosts = std::map<uint32_t, std::optional<HostPort>>;

std::optional<uint64_t> ReadWwn(const std::string &path)
{
    const std::optional<std::string> text = ReadSysfsLine(path);
    const std::optional<uint64_t> wwn = text.has_value() ? ParseWwn(*text) : std::nullopt;
    if (!wwn.has_value()) {
        LogWarn(kComponent, "Fibre Channel port left out: {} {}", path,
                text.has_value() ? fmt::format("is no WWN: \"{}\"", *text) : "cannot be read");
    }
    return wwn;
}

// Nothing, and a line in the log, when the port is not to be used.
std::optional<std::string> ReadState(const std::string &path)
{
    std::optional<std::string> state = ReadSysfsLine(path);
    if (!state.has_value()) {
        LogWarn(kComponent, "Fibre Channel port left out: {} cannot be read", path);
    }
    return state;
}

std::optional<HostPort> ReadHostPort(const std::string &sysfsRoot, uint32_t number)
{
    const std::string directory = fmt::format("{}/class/fc_host/host{}", sysfsRoot, number);
    const std::optional<uint64_t> wwn = ReadWwn(directory + "/port_name");
    const std::optional<std::string> state = wwn.has_value() ? ReadState(directory + "/port_state") : std::nullopt;
    if (!state.has_value()) {
        return std::nullopt;
    }
    return HostPort{*wwn, *state == kOnline};
}

// Read once for all its remote ports, so that they agree on it, and so that a bad one is reported once.
const std::optional<HostPort> &FindHostPort(Hosts &hosts, const std::string &sysfsRoot, uint32_t number)
{
    const auto known = hosts.find(number);
    return known != hosts.end() ? known->second : hosts.emplace(number, ReadHostPort(sysfsRoot, number)).first->second;
}

int64_t LinkStatus(bool isHostOnline, const std::string &remoteState)
{
    if (remoteState == kOnline) {
        return isHostOnline ? kUp : kNotUsableYet;
    }
    return remoteState == kBlocked ? kNotUsableYet : kOtherState;
}

OrnLinkInfo MakeLink(const HostPort &host, uint64_t arrayWwn, const std::string &remoteState)
{
    OrnLinkInfo link = {};
    link.wwn = arrayWwn;
    link.status = LinkStatus(host.isOnline, remoteState);
    FormatWwn(host.wwn).copy(link.initiatorWwn, sizeof(link.initiatorWwn) - 1);
    return link;
}

bool IsTargetPort(const std::string &directory)
{
    const std::optional<std::string> roles = ReadState(directory + "/roles");
    return roles.has_value() && IsTarget(*roles);
}

std::optional<OrnLinkInfo> ReadLink(const std::string &sysfsRoot, const std::string &directory, uint32_t hostNumber,
                                    Hosts &hosts)
{
    if (!IsTargetPort(directory)) {
        return std::nullopt;
    }
    const std::optional<HostPort> &host = FindHostPort(hosts, sysfsRoot, hostNumber);
    const std::optional<uint64_t> wwn = host.has_value() ? ReadWwn(directory + "/node_name") : std::nullopt;
    const std::optional<std::string> state = wwn.has_value() ? ReadState(directory + "/port_state") : std::nullopt;
    return state.has_value() ? std::optional<OrnLinkInfo>(MakeLink(*host, *wwn, *state)) : std::nullopt;
}

// Directories of the remote ports, in the order of their places.
std::map<RemotePortId, std::string> ListRemotePorts(const std::string &sysfsRoot)
{
    const std::string parent = sysfsRoot + "/class/fc_remote_ports";
    std::map<RemotePortId, std::string> ports;
    for (const std::string &name : ListSysfsDirectory(parent)) {
        const std::optional<RemotePortId> id = ParseRemotePortName(name);
        if (id.has_value()) {
            ports.emplace(*id, parent + "/" + name);
        } else {
            LogWarn(kComponent, "Fibre Channel port left out: {}/{} has no place in its name", parent, name);
        }
    }
    return ports;
}

}  // namespace

std::vector<OrnLinkInfo> ReadFibreChannelLinks(const std::string &sysfsRoot)
{
    std::vector<OrnLinkInfo> links;
    Hosts hosts;
    for (const auto &[id, directory] : ListRemotePorts(sysfsRoot)) {
        const std::optional<OrnLinkInfo> link = ReadLink(sysfsRoot, directory, id.host, hosts);
        if (link.has_value()) {
            links.push_back(*link);
        }
    }
    std::stable_partition(links.begin(), links.end(), [](const OrnLinkInfo &link) { return link.status == kUp; });
    return links;
}

}  // namespace zef
