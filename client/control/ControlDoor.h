// Lets clients of the control socket in, or tells them why not.
#ifndef ZEF_CLIENT_CONTROL_CONTROL_DOOR_H
#define ZEF_CLIENT_CONTROL_CONTROL_DOOR_H

#include "control/ControlConnection.h"
#include "control/ControlListener.h"
#include "control/ControlOptions.h"

#include <chrono>
#include <list>

namespace zef {

// For one thread. Never waits.
class ControlDoor {
public:
    // Throws ControlError when it cannot listen. The options outlive the door and its connections.
    explicit ControlDoor(const ControlOptions &options);

    // Readable when a client knocks; -1, which poll passes over, when it is `now` before the time below.
    int GetDescriptor(std::chrono::steady_clock::time_point now) const;

    // When the next client can be let in. In the future while there are no descriptors to be had: looking again at once
    // would tell the same.
    std::chrono::steady_clock::time_point OpensAt() const { return opensAt; }

    // Appends who is permitted and finds room; refuses the others with a message.
    void LetIn(std::list<ControlConnection> &connections);

private:
    void Judge(FileDescriptor socket, std::list<ControlConnection> &connections) const;

    const ControlOptions &options;
    ControlListener listener;
    std::chrono::steady_clock::time_point opensAt;
};

}  // namespace zef

#endif
