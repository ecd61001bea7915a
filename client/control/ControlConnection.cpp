#include "control/ControlConnection.h"

#include <fmt/format.h>

#include <utility>

#include <cerrno>

#include <poll.h>
#include <sys/socket.h>

namespace zef {

namespace {

constexpr size_t kReadBytes = 16 * 1024;

bool IsTemporary(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

ControlConnection::ControlConnection(FileDescriptor clientSocket, const PeerCredentials &credentials,
                                     const ControlOptions &controlOptions)
    : socket(std::move(clientSocket)), peer(credentials), options(controlOptions), input(options.maxRequestBytes)
{
    BeginReading();
}

short ControlConnection::WantedEvents() const
{
    if (state == State::Sending) {
        return POLLOUT;
    }
    return state == State::Reading && !inputEnded && !input.HasLine() ? POLLIN : 0;
}

void ControlConnection::Serve(short events)
{
    if ((events & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
        End();  // nobody is left to answer
    } else if ((events & POLLIN) != 0 && state == State::Reading) {
        Receive();
    } else if ((events & POLLOUT) != 0 && state == State::Sending) {
        Send();
    }
}

void ControlConnection::Receive()
{
    char bytes[kReadBytes];
    const ssize_t count = recv(socket.Get(), bytes, sizeof bytes, 0);
    if (count < 0) {
        if (!IsTemporary(errno)) {
            End();
        }
        return;
    }
    const bool begins = input.IsEmpty() && count > 0;
    input.Append(bytes, static_cast<size_t>(count));
    inputEnded = count == 0;
    if (begins) {
        BeginReading();
    }
}

std::optional<std::string> ControlConnection::TakeRequest()
{
    return state == State::Reading ? input.TakeLine() : std::nullopt;
}

std::string ControlConnection::WhatIsWrong() const
{
    if (input.IsTooLong()) {
        return fmt::format("the request is longer than {} bytes", options.maxRequestBytes);
    }
    return inputEnded && !input.IsEmpty() && !input.HasLine() ? "the request does not end with a newline" : "";
}

void ControlConnection::BeginExecuting(uint64_t id, TimePoint until)
{
    state = State::Executing;
    request = id;
    deadline = until;
}

void ControlConnection::BeginWaiting(uint64_t count, TimePoint until)
{
    state = State::Waiting;
    since = count;
    deadline = until;
}

void ControlConnection::Answer(const std::string &line, bool thenEnd)
{
    request = 0;
    output = line + '\n';
    sent = 0;
    endsAfterAnswer = thenEnd;
    state = State::Sending;
    deadline = std::chrono::steady_clock::now() + options.sendDeadline;
    Send();
}

void ControlConnection::Send()
{
    const ssize_t count = send(socket.Get(), output.data() + sent, output.size() - sent, MSG_NOSIGNAL);
    if (count < 0) {
        if (!IsTemporary(errno)) {
            End();
        }
        return;
    }
    sent += static_cast<size_t>(count);
    if (sent < output.size()) {
        return;
    }
    output = std::string();
    if (endsAfterAnswer) {
        End();
    } else {
        BeginReading();
    }
}

void ControlConnection::BeginReading()
{
    state = State::Reading;
    deadline = std::chrono::steady_clock::now() + (input.IsEmpty() ? options.idleDeadline : options.receiveDeadline);
}

}  // namespace zef
