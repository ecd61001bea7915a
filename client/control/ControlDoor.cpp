#include "control/ControlDoor.h"

#include "control/ControlProtocol.h"
#include "log/Log.h"

#include <fmt/format.h>

#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include <cerrno>

#include <sys/socket.h>
#include <unistd.h>

namespace zef {

namespace {

using std::chrono::steady_clock;

constexpr const char *kComponent = "control";
// So that many clients at once do not keep those waiting that are in.
constexpr int kClientsPerTurn = 64;
constexpr std::chrono::milliseconds kPause(500);

// A new socket has room for this. If it had not, the client would see the connection end.
void Refuse(const FileDescriptor &socket, const ControlError &error)
{
    const std::string line = FailureLine(error) + '\n';
    (void)send(socket.Get(), line.data(), line.size(), MSG_NOSIGNAL);
}

std::string Describe(const std::optional<PeerCredentials> &peer)
{
    return peer ? fmt::format("user id {}, process {}", peer->user, peer->process) : "nobody knows who";
}

}  // namespace

ControlDoor::ControlDoor(const ControlOptions &controlOptions) : options(controlOptions), listener(options.path) {}

int ControlDoor::GetDescriptor(steady_clock::time_point now) const
{
    return now >= opensAt ? listener.GetDescriptor() : -1;
}

void ControlDoor::LetIn(std::list<ControlConnection> &connections)
{
    for (int i = 0; i < kClientsPerTurn; ++i) {
        FileDescriptor socket = listener.Accept();
        if (socket) {
            Judge(std::move(socket), connections);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            LogWarn(kComponent, "no client of the control socket can be accepted for now: {}",
                    std::generic_category().message(errno));
            opensAt = steady_clock::now() + kPause;
            return;
        }
    }
}

void ControlDoor::Judge(FileDescriptor socket, std::list<ControlConnection> &connections) const
{
    const std::optional<PeerCredentials> peer = PeerOf(socket.Get());
    if (!peer || !IsPermitted(*peer, geteuid(), listener.GetGroup())) {
        LogWarn(kComponent, "a client of the control socket was refused: {}", Describe(peer));
        Refuse(socket, ControlError(ExitCode::NotPermitted,
                                    "only root, the user that the client runs as, and members of the group of " +
                                        options.path + " may ask this client"));
    } else if (connections.size() >= options.maxClients) {
        Refuse(socket, ControlError(ExitCode::Failed, fmt::format("{} connections are open already; try again later",
                                                                  connections.size())));
    } else {
        connections.emplace_back(std::move(socket), *peer, options);
    }
}

}  // namespace zef
