#include "AwkwardClient.h"

#include "control/UnixAddress.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <stdexcept>
#include <thread>

#include <cerrno>

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zef {

namespace {

constexpr std::chrono::seconds kHangGuard(30);
constexpr int kHangGuardMs = 30'000;

void Await(int descriptor, short event)
{
    pollfd source = {descriptor, event, 0};
    if (poll(&source, 1, kHangGuardMs) != 1) {
        throw std::runtime_error("the server does nothing");
    }
}

}  // namespace

AwkwardClient::AwkwardClient(const std::string &path) : socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const UnixAddress address(path);
    if (connect(socket.Get(), address.Get(), UnixAddress::Size()) != 0) {
        throw std::runtime_error("no connection");
    }
}

void AwkwardClient::Send(const std::string &bytes)
{
    for (size_t sent = 0; sent < bytes.size();) {
        Await(socket.Get(), POLLOUT);
        const ssize_t count =
            send(socket.Get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0 && errno != EAGAIN) {
            throw std::runtime_error("the server has ended the connection");
        }
        sent += count > 0 ? static_cast<size_t>(count) : 0;
    }
}

size_t AwkwardClient::SendWhatFits(const std::string &bytes)
{
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count =
            send(socket.Get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0) {
            break;
        }
        sent += static_cast<size_t>(count);
    }
    return sent;
}

std::string AwkwardClient::Line()
{
    while (true) {
        const size_t end = received.find('\n');
        if (end != std::string::npos) {
            std::string line = received.substr(0, end);
            received.erase(0, end + 1);
            return line;
        }
        Await(socket.Get(), POLLIN);
        char bytes[4096];
        const ssize_t count = recv(socket.Get(), bytes, sizeof bytes, 0);
        if (count <= 0) {
            return received.empty() ? "(end)" : "(end in the middle of a line)";
        }
        received.append(bytes, static_cast<size_t>(count));
    }
}

std::string AwkwardClient::Ask(const std::string &line)
{
    Send(line + '\n');
    return Line();
}

void AwkwardClient::EndSending()
{
    shutdown(socket.Get(), SHUT_WR);
}

RequestHandler SteeredHandler::Handler()
{
    return [this](const JsonValue &request, std::chrono::steady_clock::time_point) { return Handle(request); };
}

JsonValue SteeredHandler::Handle(const JsonValue &request)
{
    const auto op = request.at("op").get<std::string>();
    {
        const std::lock_guard<std::mutex> lock(mutex);
        operations.push_back(op);
    }
    changed.notify_all();
    if (op == "block") {
        return Block();
    }
    if (op == "fail") {
        throw ControlError(ExitCode::ConfigInvalid, "no such thing");
    }
    if (op == "crash") {
        throw std::runtime_error("out of order");
    }
    if (op == "big") {
        return {{"text", std::string(request.at("bytes").get<size_t>(), 'x')}};
    }
    return {{"value", request.value("value", JsonValue())}};
}

JsonValue SteeredHandler::Block()
{
    std::unique_lock<std::mutex> lock(mutex);
    if (!changed.wait_for(lock, kHangGuard, [this] { return letGo; })) {
        throw std::runtime_error("nobody has let go");
    }
    return JsonValue::object();
}

bool SteeredHandler::AwaitBegun(size_t count)
{
    std::unique_lock<std::mutex> lock(mutex);
    return changed.wait_for(lock, kHangGuard, [this, count] { return operations.size() >= count; });
}

void SteeredHandler::LetGo()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        letGo = true;
    }
    changed.notify_all();
}

std::vector<std::string> SteeredHandler::Operations()
{
    const std::lock_guard<std::mutex> lock(mutex);
    return operations;
}

std::string Failure(ExitCode code, const std::string &message)
{
    return FailureLine(ControlError(code, message));
}

bool Eventually(const std::function<bool()> &condition)
{
    const auto end = std::chrono::steady_clock::now() + kHangGuard;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool InChild(const std::function<bool()> &function)
{
    const pid_t child = fork();
    if (child == 0) {
        bool good = false;
        try {
            good = function();
        } catch (...) {
        }
        _exit(good ? 0 : 1);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace zef
