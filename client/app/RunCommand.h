// zef_client run: the client itself.
#ifndef ZEF_CLIENT_APP_RUN_COMMAND_H
#define ZEF_CLIENT_APP_RUN_COMMAND_H

#include "gateway/GatewayOptions.h"

#include <chrono>

namespace zef {

struct RunOptions {
    GatewayOptions gateway;
    std::chrono::milliseconds probeDeadline{1000};  // for finding the local addresses that reach an array address
};

// Initialises and starts the library, prints each change of a link's state on standard output, serves until SIGINT or
// SIGTERM, and finishes. SIGUSR1 prints a table of all links. Returns the exit status: 0 after a stop that was asked
// for,
// 1 when the client did not come up; the log says why. To be called once per process, by its main thread.
int RunClient(const RunOptions &options);

}  // namespace zef

#endif
