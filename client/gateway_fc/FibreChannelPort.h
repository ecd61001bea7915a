// The parts of a Fibre Channel port's description in sysfs.
#ifndef ZEF_CLIENT_GATEWAY_FC_FIBRE_CHANNEL_PORT_H
#define ZEF_CLIENT_GATEWAY_FC_FIBRE_CHANNEL_PORT_H

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

namespace zef {

// A remote port's place, as in "rport-5:0-12": host 5, channel 0, port 12.
struct RemotePortId {
    uint32_t host;
    uint32_t channel;
    uint32_t port;

    bool operator<(const RemotePortId &other) const
    {
        return std::tie(host, channel, port) < std::tie(other.host, other.channel, other.port);
    }
};

// Nothing when the name is not a remote port's.
std::optional<RemotePortId> ParseRemotePortName(const std::string &name);

// A WWN as sysfs shows it: "0x" and up to 16 hexadecimal digits. Nothing for anything else, and for 0 and all bits set,
// with which drivers say that they know none.
std::optional<uint64_t> ParseWwn(const std::string &text);

// Eight bytes in lower case, "21:00:00:24:ff:12:34:56".
std::string FormatWwn(uint64_t wwn);

// True when a list of roles such as "FCP Target, FCP Initiator" has that of a target.
bool IsTarget(const std::string &roles);

}  // namespace zef

#endif
