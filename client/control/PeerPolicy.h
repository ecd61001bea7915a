// Who may use the control socket.
#ifndef ZEF_CLIENT_CONTROL_PEER_POLICY_H
#define ZEF_CLIENT_CONTROL_PEER_POLICY_H

#include <optional>
#include <vector>

#include <sys/types.h>

namespace zef {

// The process at the other end, as it was when it connected.
struct PeerCredentials {
    uid_t user = 0;
    pid_t process = 0;
    gid_t group = 0;
    std::vector<gid_t> groups;  // supplementary ones
};

// Asks the kernel; nothing when it does not tell.
std::optional<PeerCredentials> PeerOf(int socket);

// True for root, for the user that the client runs as, and for members of the socket file's group.
bool IsPermitted(const PeerCredentials &peer, uid_t clientUser, gid_t socketGroup);

}  // namespace zef

#endif
