#include "TcpRelay.h"

#include "FakePortal.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <unistd.h>

namespace zef {

namespace {

constexpr size_t kHeaderSize = 48;
constexpr std::chrono::seconds kPatience{30};

size_t RequestSize(const uint8_t *header)
{
    const size_t data = static_cast<size_t>(header[5]) << 16 | static_cast<size_t>(header[6]) << 8 | header[7];
    return kHeaderSize + static_cast<size_t>(header[4]) * 4 + (data + 3) / 4 * 4;
}

bool SendAll(int socket, const uint8_t *bytes, size_t size)
{
    while (size > 0) {
        const ssize_t sent = send(socket, bytes, size, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        bytes += sent;
        size -= static_cast<size_t>(sent);
    }
    return true;
}

FileDescriptor ConnectTo(const std::string &address, uint16_t port)
{
    FileDescriptor connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(port);
    inet_pton(AF_INET, address.c_str(), &target.sin_addr);
    if (connect(connection.Get(), reinterpret_cast<const sockaddr *>(&target), sizeof target) != 0) {
        connection.Close();
    }
    return connection;
}

}  // namespace

TcpRelay::TcpRelay(const std::string &address, const std::string &targetAddress, uint16_t targetPort)
    : arrayAddress(targetAddress), arrayPort(targetPort), listener(ListenOn(address, 128, port)),
      wakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), thread([this] { Run(); })
{
}

TcpRelay::~TcpRelay()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    eventfd_write(wakeUp.Get(), 1);
    thread.join();
}

void TcpRelay::HoldAt(int opcode)
{
    const std::lock_guard<std::mutex> lock(mutex);
    heldOpcode = opcode;
}

void TcpRelay::Release()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        heldOpcode.reset();
        holding = false;
    }
    eventfd_write(wakeUp.Get(), 1);
}

bool TcpRelay::WaitUntilHolding()
{
    std::unique_lock<std::mutex> lock(mutex);
    return holdingNow.wait_for(lock, kPatience, [this] { return holding; });
}

std::vector<int> TcpRelay::Opcodes() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return opcodes;
}

void TcpRelay::Cut()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        cutting = true;
    }
    eventfd_write(wakeUp.Get(), 1);
}

void TcpRelay::Run()
{
    for (;;) {
        bool isHolding = false;
        {
            const std::lock_guard<std::mutex> lock(mutex);
            if (stopping) {
                return;
            }
            if (std::exchange(cutting, false)) {
                lines.clear();
            }
            isHolding = holding;
        }
        std::vector<pollfd> polled{{wakeUp.Get(), POLLIN, 0}, {listener.Get(), POLLIN, 0}};
        for (const Line &line : lines) {
            polled.push_back({line.client.Get(), POLLIN, 0});
            polled.push_back({isHolding ? -1 : line.array.Get(), POLLIN, 0});
        }
        poll(polled.data(), polled.size(), -1);

        std::vector<Line> kept;
        for (size_t i = 0; i < lines.size(); ++i) {
            Line &line = lines[i];
            bool lives = polled[2 + 2 * i].revents == 0 || FromClient(line);
            lives = lives && (polled[3 + 2 * i].revents == 0 || FromArray(line)) && Forward(line);
            if (lives) {
                kept.push_back(std::move(line));
            }
        }
        lines = std::move(kept);
        if (polled[1].revents != 0) {
            Accept();
        }
        if (polled[0].revents != 0) {
            eventfd_t ignored = 0;
            eventfd_read(wakeUp.Get(), &ignored);
        }
    }
}

void TcpRelay::Accept()
{
    Line line;
    line.client = FileDescriptor(accept4(listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    line.array = ConnectTo(arrayAddress, arrayPort);
    if (line.client && line.array) {
        lines.push_back(std::move(line));
    }
}

bool TcpRelay::FromClient(Line &line)
{
    uint8_t buffer[65536];
    const ssize_t size = recv(line.client.Get(), buffer, sizeof buffer, 0);
    if (size <= 0) {
        return false;
    }
    line.request.insert(line.request.end(), buffer, buffer + size);
    return true;
}

bool TcpRelay::FromArray(Line &line)
{
    uint8_t buffer[65536];
    const ssize_t size = recv(line.array.Get(), buffer, sizeof buffer, 0);
    return size > 0 && SendAll(line.client.Get(), buffer, static_cast<size_t>(size));
}

bool TcpRelay::Forward(Line &line)
{
    const size_t size = Examine(line);
    const bool sent = SendAll(line.array.Get(), line.request.data(), size);
    line.request.erase(line.request.begin(), line.request.begin() + static_cast<std::ptrdiff_t>(size));
    line.examined -= size;
    return sent;
}

// Returns how many bytes of whole requests may be forwarded.
size_t TcpRelay::Examine(Line &line)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (holding) {
        return 0;
    }
    size_t at = 0;
    while (at + kHeaderSize <= line.request.size()) {
        const uint8_t *header = line.request.data() + at;
        const size_t size = RequestSize(header);
        if (at + size > line.request.size()) {
            break;
        }
        const int opcode = header[0] & 0x3F;
        if (at >= line.examined) {
            opcodes.push_back(opcode);
            line.examined = at + size;
        }
        if (heldOpcode == opcode) {
            holding = true;
            holdingNow.notify_all();
            break;
        }
        at += size;
    }
    line.examined = std::max(line.examined, at);
    return at;
}

}  // namespace zef
