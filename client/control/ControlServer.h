// The server of the control socket: answers what operators and their tools ask a running client.
#ifndef ZEF_CLIENT_CONTROL_CONTROL_SERVER_H
#define ZEF_CLIENT_CONTROL_CONTROL_SERVER_H

#include "control/ControlExecutor.h"
#include "control/ControlLoop.h"
#include "control/ControlOptions.h"

namespace zef {

// Serves from construction to Stop or destruction, with two threads: one for all input and output, one that carries
// requests out. No client holds the others or the stop up, whatever it sends or fails to take. ControlProtocol.h tells
// what the lines look like.
//
// A client may send several requests over one connection, and is answered in their order. A request may carry
// "timeout_ms": when the answer is not there in time, it is ExitCode::TimedOut, and a request that was not begun by
// then never is. A client that goes takes its request with it, unless that was begun.
//
// {"op":"wait","since":N} is answered by the server itself: {"changes":M} at once when the counter of changes differs
// from N, else when it changes, and at the deadline with what it is. 0 is never its value.
class ControlServer {
public:
    // Throws ControlError when it cannot listen at the path; its text says what to do.
    ControlServer(const ControlOptions &options, RequestHandler handler);

    ~ControlServer();

    ControlServer(const ControlServer &) = delete;
    ControlServer &operator=(const ControlServer &) = delete;

    // Counts a change, for the clients that wait for one. From any thread, also after Stop.
    void NotifyChange();

    // Returns when a handler that is running has returned; what it answered is still sent. All others are told that the
    // client stops. The socket file goes with the object. Harmless when repeated; not to be called by a handler.
    void Stop();

private:
    ControlLoop loop;
    ControlExecutor executor;
};

}  // namespace zef

#endif
