// The Fibre Channel links of this machine, as the kernel shows them.
#ifndef ZEF_CLIENT_GATEWAY_FC_FIBRE_CHANNEL_LINKS_H
#define ZEF_CLIENT_GATEWAY_FC_FIBRE_CHANNEL_LINKS_H

#include <zef_config/platform/Gateway.h>

#include <string>
#include <vector>

namespace zef {

// One record for each remote port that a host port knows as a target: the array's WWN (that of its node, the same for
// all its ports), the host port's WWN ("21:00:00:24:ff:12:34:56"), and the status
//   0  both ports are online
//   1  the remote port is there, but it is blocked or the host port is not online
//   2  the remote port is in any other state, such as gone
// Links with status 0 come first, since a reader of the table stops at the first one that is not usable yet; then the
// order is that of host, channel and remote port number.
//
// sysfsRoot: where sysfs is mounted, "/sys" but for tests. A machine without Fibre Channel has no links. Ports that
// vanish while they are read, or show what is no WWN, are left out with a line in the log. Any thread.
std::vector<OrnLinkInfo> ReadFibreChannelLinks(const std::string &sysfsRoot);

}  // namespace zef

#endif
