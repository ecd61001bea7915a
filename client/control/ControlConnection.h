// One client of the control socket, as the server's IO thread sees it.
#ifndef ZEF_CLIENT_CONTROL_CONTROL_CONNECTION_H
#define ZEF_CLIENT_CONTROL_CONTROL_CONNECTION_H

#include "common/FileDescriptor.h"
#include "control/ControlOptions.h"
#include "control/LineBuffer.h"
#include "control/PeerPolicy.h"

#include <chrono>
#include <optional>
#include <string>

#include <cstdint>

namespace zef {

// Takes lines in and gives answers out, neither of which ever blocks. One request at a time: while one is under way
// nothing more is read, so a client that sends without end fills its own socket's buffer only.
class ControlConnection {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    enum class State {
        Reading,    // for the next request
        Executing,  // the executor has the request
        Waiting,    // for a change
        Sending,    // the answer
        Ended,      // to be closed
    };

    ControlConnection(FileDescriptor socket, const PeerCredentials &peer, const ControlOptions &options);

    // For poll. With none of these events too, poll tells when the client has gone.
    int GetDescriptor() const { return socket.Get(); }
    short WantedEvents() const;

    // Reads or writes, whatever poll has found possible.
    void Serve(short events);

    // The next request, when one is whole and none is under way.
    std::optional<std::string> TakeRequest();

    // True when TakeRequest would give one.
    bool HasRequest() const { return state == State::Reading && input.HasLine(); }

    // Why there will be no more requests, for the client; or "". Only while reading.
    std::string WhatIsWrong() const;

    // The request is with the executor, under this id, which is not 0.
    void BeginExecuting(uint64_t id, TimePoint until);

    // The request waits for the counter of changes to differ from this.
    void BeginWaiting(uint64_t count, TimePoint until);

    // Sends what can be sent at once, and the rest when it can be. Then the connection is read again, or ended.
    void Answer(const std::string &line, bool thenEnd = false);

    void End() { state = State::Ended; }

    // The client closed its side and will hear nothing more of what it has not asked yet.
    bool IsExhausted() const { return state == State::Reading && inputEnded && input.IsEmpty(); }

    // True while a request has come in part.
    bool IsMidRequest() const { return state == State::Reading && !input.IsEmpty(); }

    State GetState() const { return state; }
    uint64_t GetSince() const { return since; }

    // The id of the request that the executor has and that was not answered; also once ended. 0 when there is none.
    uint64_t GetRequest() const { return request; }

    // Of the state: for the rest of a request, for its answer, for a change, for the client to take its answer.
    TimePoint GetDeadline() const { return deadline; }
    const PeerCredentials &GetPeer() const { return peer; }

private:
    void Receive();
    void Send();
    void BeginReading();

    FileDescriptor socket;
    PeerCredentials peer;
    const ControlOptions &options;

    State state = State::Reading;
    uint64_t request = 0;
    uint64_t since = 0;
    TimePoint deadline;

    LineBuffer input;
    bool inputEnded = false;
    std::string output;
    size_t sent = 0;  // of output
    bool endsAfterAnswer = false;
};

}  // namespace zef

#endif
