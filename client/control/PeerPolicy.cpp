#include "control/PeerPolicy.h"

#include <algorithm>
#include <utility>

#include <cerrno>

#include <sys/socket.h>

namespace zef {

namespace {

constexpr size_t kExpectedGroups = 64;
// What the kernel allows (NGROUPS_MAX).
constexpr size_t kMaxGroups = 65536;

std::optional<std::vector<gid_t>> GroupsOf(int socket)
{
    for (size_t count = kExpectedGroups; count <= kMaxGroups;) {
        std::vector<gid_t> groups(count);
        auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
        const int result = getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size);
        if (result != 0 && errno != ERANGE) {
            return std::nullopt;
        }
        const size_t found = size / sizeof(gid_t);
        if (result == 0) {
            groups.resize(found);
            return groups;
        }
        count = std::max(found, count + 1);
    }
    return std::nullopt;
}

}  // namespace

std::optional<PeerCredentials> PeerOf(int socket)
{
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        return std::nullopt;
    }
    std::optional<std::vector<gid_t>> groups = GroupsOf(socket);
    if (!groups) {
        return std::nullopt;
    }
    return PeerCredentials{credentials.uid, credentials.pid, credentials.gid, std::move(*groups)};
}

bool IsPermitted(const PeerCredentials &peer, uid_t clientUser, gid_t socketGroup)
{
    return peer.user == 0 || peer.user == clientUser || peer.group == socketGroup ||
           std::find(peer.groups.begin(), peer.groups.end(), socketGroup) != peer.groups.end();
}

}  // namespace zef
