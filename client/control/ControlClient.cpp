#include "control/ControlClient.h"

#include "common/FileDescriptor.h"
#include "control/LineBuffer.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>
#include <system_error>
#include <thread>

#include <cerrno>

#include <poll.h>
#include <sys/socket.h>

namespace zef {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Between two attempts while the client's queue of connections is full.
constexpr milliseconds kConnectPause(10);
constexpr milliseconds kLeastMargin{200};
// Keeps sums of times below the clock's limits.
constexpr milliseconds kLongestTimeout = std::chrono::hours(24);
constexpr size_t kReadBytes = 64 * 1024;

std::string ErrorText(int error)
{
    return std::generic_category().message(error);
}

ControlError NotConnected(const std::string &path, int error)
{
    switch (error) {
        case ENOENT:
        case ENOTDIR:
        case ECONNREFUSED:
            return ControlError(ExitCode::NotRunning,
                                fmt::format("no client answers on {}; start it with 'systemctl start zef_client' or 'zef_client run'", path));
        case EACCES:
        case EPERM:
            return ControlError(ExitCode::NotPermitted,
                                fmt::format("{}: {}. Root may ask the client, the user that it runs as, and members of "
                                            "the socket's group",
                                            path, ErrorText(error)));
        default:
            return ControlError(ExitCode::Failed, fmt::format("{} cannot be connected to: {}", path, ErrorText(error)));
    }
}

// The client answers that much earlier than this side gives up: what it says of a timeout is worth more.
milliseconds MarginOf(milliseconds timeout)
{
    return std::min(timeout / 2, std::max(timeout / 10, kLeastMargin));
}

std::string RequestLine(const JsonValue &request, milliseconds timeout)
{
    if (!request.is_object()) {
        throw ControlError(ExitCode::Usage, "the request is no object");
    }
    JsonValue complete = request;
    complete["version"] = kControlVersion;
    complete.emplace("timeout_ms", std::max<milliseconds::rep>((timeout - MarginOf(timeout)).count(), 0));
    try {
        return complete.dump() + '\n';
    } catch (const JsonValue::exception &) {
        throw ControlError(ExitCode::Usage, "the request holds text that is no UTF-8");
    }
}

// One request and its answer.
class Exchange {
public:
    Exchange(const std::string &socketPath, milliseconds patience)
        : path(socketPath), deadline(steady_clock::now() + patience),
          socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
    {
        if (!socket) {
            throw Failure("a socket cannot be made");
        }
    }

    void Connect(const UnixAddress &address)
    {
        while (connect(socket.Get(), address.Get(), UnixAddress::Size()) != 0) {
            if (errno != EAGAIN && errno != EINTR) {
                throw NotConnected(path, errno);
            }
            RequireTime();
            std::this_thread::sleep_for(kConnectPause);
        }
    }

    // A client that refuses does not read to the end, but has answered: hence no failure here.
    void Send(const std::string &line)
    {
        for (size_t sent = 0; sent < line.size();) {
            const ssize_t count = send(socket.Get(), line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
            if (count < 0 && (errno == EPIPE || errno == ECONNRESET)) {
                return;
            }
            sent += Progress(count, POLLOUT);
        }
    }

    std::string Receive()
    {
        LineBuffer input(kMaxAnswerBytes);
        std::string bytes(kReadBytes, '\0');
        while (true) {
            if (const std::optional<std::string> line = input.TakeLine()) {
                return *line;
            }
            if (input.IsTooLong()) {
                throw ControlError(ExitCode::Failed, fmt::format("the answer on {} is longer than {} bytes", path,
                                                                 kMaxAnswerBytes));
            }
            const ssize_t count = recv(socket.Get(), bytes.data(), bytes.size(), 0);
            if (count == 0 || (count < 0 && errno == ECONNRESET)) {
                throw ControlError(ExitCode::Failed, fmt::format("the client on {} ended the connection without an "
                                                                 "answer",
                                                                 path));
            }
            input.Append(bytes.data(), Progress(count, POLLIN));
        }
    }

private:
    ControlError Failure(const char *what) const
    {
        return ControlError(ExitCode::Failed, fmt::format("{}: {}: {}", path, what, ErrorText(errno)));
    }

    // What was sent or received; waits when it was nothing.
    size_t Progress(ssize_t count, short event)
    {
        if (count >= 0) {
            RequireTime();
            return static_cast<size_t>(count);
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
            throw Failure("the connection failed");
        }
        pollfd source = {socket.Get(), event, 0};
        (void)poll(&source, 1, RequireTime());
        return 0;
    }

    // Milliseconds that are left.
    int RequireTime() const
    {
        const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now()).count();
        if (left <= 0) {
            throw ControlError(ExitCode::TimedOut, fmt::format("the client on {} did not answer in time", path));
        }
        return static_cast<int>(left);
    }

    const std::string &path;
    steady_clock::time_point deadline;
    FileDescriptor socket;
};

}  // namespace

ControlClient::ControlClient(const std::string &socketPath, milliseconds requestTimeout)
    : path(socketPath), address(path), timeout(std::min(requestTimeout, kLongestTimeout))
{
}

JsonValue ControlClient::Ask(const JsonValue &request) const
{
    const std::string line = RequestLine(request, timeout);
    Exchange exchange(path, timeout);
    exchange.Connect(address);
    exchange.Send(line);
    return ParseAnswer(exchange.Receive());
}

}  // namespace zef
