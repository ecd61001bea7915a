// Asks a running client over its control socket.
#ifndef ZEF_CLIENT_CONTROL_CONTROL_CLIENT_H
#define ZEF_CLIENT_CONTROL_CONTROL_CLIENT_H

#include "control/ControlProtocol.h"
#include "control/UnixAddress.h"

#include <chrono>
#include <string>

namespace zef {

// Has a connection for each request. Any number of threads may use one object.
class ControlClient {
public:
    // The timeout is for a whole request, from the connection to the answer's last byte. Throws ControlError for a path
    // that no socket can have.
    ControlClient(const std::string &path, std::chrono::milliseconds timeout);

    // The result. `request` is an object with an "op"; the version is added, and the timeout as "timeout_ms" unless it
    // has one. Throws ControlError: NotRunning when nobody listens, NotPermitted when the file system or the client
    // refuses, TimedOut, Failed when what comes is no answer, and otherwise what the client says.
    JsonValue Ask(const JsonValue &request) const;

private:
    std::string path;
    UnixAddress address;
    std::chrono::milliseconds timeout;
};

}  // namespace zef

#endif
