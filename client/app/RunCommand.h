// zef_client run: the client itself.
#ifndef ZEF_CLIENT_APP_RUN_COMMAND_H
#define ZEF_CLIENT_APP_RUN_COMMAND_H

#include "common/ExitCode.h"
#include "control/ControlOptions.h"
#include "gateway/GatewayOptions.h"

#include <chrono>
#include <string>

namespace zef {

// Stands for a client without a control socket.
constexpr const char *kNoControlSocket = "none";

struct RunOptions {
    GatewayOptions gateway;
    std::chrono::milliseconds probeDeadline{1000};  // for finding the local addresses that reach an array address
    std::string controlPath = kControlSocket;
};

// Initialises and starts the library, prints what becomes of links on standard output, answers on the control socket,
// tells the service manager, serves until SIGINT or SIGTERM, and finishes. SIGUSR1 prints a table of all links, SIGHUP
// applies the configuration file. Returns Done after a stop that was asked for; otherwise the client did not come up,
// and the log says why. To be called once per process, by its main thread.
ExitCode RunClient(const RunOptions &options);

}  // namespace zef

#endif
