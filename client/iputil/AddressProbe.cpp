#include "iputil/AddressProbe.h"

#include "common/NeverDestroyed.h"
#include "log/FailureLog.h"
#include "log/Log.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace zef {

namespace {

struct FreeInterfaces {
    void operator()(ifaddrs *first) const { freeifaddrs(first); }
};

// Every try would say so again.
void WarnNowAndThen(const std::string &text)
{
    static NeverDestroyed<FailureLog> said;
    if (said.Get().Failed(text, "")) {
        LogWarn("iputil", "{}", text);
    }
}

// False for a text that is no address. port 0 leaves it to the kernel.
bool FillAddress(const std::string &text, uint16_t port, sockaddr_in &address)
{
    address = sockaddr_in{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    return inet_pton(AF_INET, text.c_str(), &address.sin_addr) == 1;
}

// 0 when connected, EINPROGRESS while that is open, else why not.
int ConnectFrom(int socket, const std::string &localText, const std::string &arrayText, uint16_t port)
{
    sockaddr_in local{};
    sockaddr_in array{};
    if (!FillAddress(localText, 0, local) || !FillAddress(arrayText, port, array)) {
        return EINVAL;
    }
    // Leaves the port to connect(), which then may share one among different destinations. Older kernels do without.
    const int on = 1;
    static_cast<void>(setsockopt(socket, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &on, sizeof on));
    if (bind(socket, reinterpret_cast<const sockaddr *>(&local), sizeof local) != 0) {
        return errno;
    }
    return connect(socket, reinterpret_cast<const sockaddr *>(&array), sizeof array) == 0 ? 0 : errno;
}

int OutcomeOf(int socket)
{
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

constexpr size_t kMostReasons = 4;

// The library asks again 2 s after a try that reached nothing: a probe shall not hold it to the past for much longer.
constexpr std::chrono::seconds kFresh{1};

// Rounded up, so that the end has come when poll() returns.
int PollTimeout(std::chrono::steady_clock::time_point end)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left, 0));
}

// "" for anything but an IPv4 address of an interface that is up.
std::string AddressText(const ifaddrs &entry)
{
    char text[INET_ADDRSTRLEN] = "";
    if (entry.ifa_addr == nullptr || entry.ifa_addr->sa_family != AF_INET || (entry.ifa_flags & IFF_UP) == 0) {
        return "";
    }
    sockaddr_in address{};
    std::memcpy(&address, entry.ifa_addr, sizeof address);
    return inet_ntop(AF_INET, &address.sin_addr, text, sizeof text) == nullptr ? "" : text;
}

}  // namespace

AddressProbe::AddressProbe(const std::string &arrayAddress, uint16_t arrayPort, std::chrono::milliseconds timeLimit,
                           int stopDescriptor)
    : array(arrayAddress), port(arrayPort), deadline(timeLimit), stop(stopDescriptor)
{
}

void AddressProbe::Begin(const std::vector<std::string> &candidates)
{
    const size_t count = std::min(candidates.size(), kMostSockets);
    if (count < candidates.size()) {
        WarnNowAndThen(
            fmt::format("{} local addresses, of which only the first {} are tried", candidates.size(), count));
    }
    end = std::chrono::steady_clock::now() + deadline;
    for (size_t i = 0; i < count; ++i) {
        Open(i, candidates[i]);
    }
}

const std::set<std::string> &AddressProbe::Look()
{
    std::vector<pollfd> polled = Descriptors();
    if (poll(polled.data(), polled.size(), 0) > 0) {
        TakeAnswers(polled);
    }
    return reached;
}

std::set<std::string> AddressProbe::Finish()
{
    wasStopped = !WaitForAnswers();
    for (const Attempt &attempt : attempts) {
        Note(attempt, wasStopped ? ECANCELED : ETIMEDOUT);
    }
    attempts.clear();
    if (wasStopped) {
        reached.clear();
    }
    return reached;
}

std::set<std::string> AddressProbe::Reachable(const std::vector<std::string> &candidates)
{
    Begin(candidates);
    return Finish();
}

bool AddressProbe::IsStale() const
{
    return std::chrono::steady_clock::now() > end + kFresh;
}

std::string AddressProbe::WhyNot() const
{
    std::string text = failures.empty() ? "there are none on interfaces that are up" : "";
    size_t told = 0;
    for (const auto &[place, failure] : failures) {
        if (told++ == kMostReasons) {
            return text + ", and so on";
        }
        text += (text.empty() ? "" : ", ") + failure;
    }
    return text;
}

void AddressProbe::Open(size_t place, const std::string &local)
{
    Attempt attempt{place, local, FileDescriptor(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))};
    const int error = attempt.socket ? ConnectFrom(attempt.socket.Get(), local, array, port) : errno;
    if (error == EINPROGRESS) {
        attempts.push_back(std::move(attempt));
    } else {
        Note(attempt, error);
    }
}

// False when told to stop. Once the end has come it looks a last time: nobody may have looked since the probe began.
bool AddressProbe::WaitForAnswers()
{
    for (bool isLast = false; !attempts.empty() && !isLast;) {
        isLast = std::chrono::steady_clock::now() >= end;
        std::vector<pollfd> polled = Descriptors();
        if (poll(polled.data(), polled.size(), PollTimeout(end)) <= 0) {
            continue;
        }
        if (polled.front().revents != 0) {
            return false;
        }
        TakeAnswers(polled);
    }
    return true;
}

// The stop descriptor, then the attempts in their order.
std::vector<pollfd> AddressProbe::Descriptors() const
{
    std::vector<pollfd> polled{{stop, POLLIN, 0}};
    for (const Attempt &attempt : attempts) {
        polled.push_back({attempt.socket.Get(), POLLOUT, 0});
    }
    return polled;
}

void AddressProbe::TakeAnswers(const std::vector<pollfd> &polled)
{
    std::vector<Attempt> open;
    for (size_t i = 0; i < attempts.size(); ++i) {
        if (polled[i + 1].revents == 0) {
            open.push_back(std::move(attempts[i]));
        } else {
            Note(attempts[i], OutcomeOf(attempts[i].socket.Get()));
        }
    }
    attempts = std::move(open);
}

void AddressProbe::Note(const Attempt &attempt, int error)
{
    if (error == 0) {
        reached.insert(attempt.local);
        return;
    }
    LogDebug("iputil", "{} does not reach {}:{}: {}", attempt.local, array, port, std::strerror(error));
    failures[attempt.place] = attempt.local + ": " + std::strerror(error);
}

std::vector<std::string> LocalAddresses()
{
    ifaddrs *list = nullptr;
    if (getifaddrs(&list) != 0) {
        WarnNowAndThen(fmt::format("cannot list the local addresses: {}", std::strerror(errno)));
        return {};
    }
    const std::unique_ptr<ifaddrs, FreeInterfaces> owner(list);

    std::vector<std::string> addresses;
    for (const ifaddrs *entry = list; entry != nullptr; entry = entry->ifa_next) {
        const std::string text = AddressText(*entry);
        if (!text.empty() && std::find(addresses.begin(), addresses.end(), text) == addresses.end()) {
            addresses.push_back(text);
        }
    }
    return addresses;
}

}  // namespace zef
