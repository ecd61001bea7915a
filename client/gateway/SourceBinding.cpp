#include "gateway/SourceBinding.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>

namespace zef {

namespace {

thread_local SourceBinding *armed = nullptr;

using ConnectFunction = int (*)(int, const sockaddr *, socklen_t);

ConnectFunction NextConnect()
{
    static const ConnectFunction next = reinterpret_cast<ConnectFunction>(dlsym(RTLD_NEXT, "connect"));
    return next;
}

int BindThenConnect(int socket, const sockaddr *address, socklen_t size)
{
    const ConnectFunction next = NextConnect();
    if (next == nullptr) {
        errno = ENOSYS;
        return -1;
    }
    if (armed != nullptr && address != nullptr && address->sa_family == AF_INET && !armed->Apply(socket)) {
        return -1;
    }
    return next(socket, address, size);
}

}  // namespace

SourceBinding::SourceBinding(const std::string &source) : localAddr(source)
{
    armed = this;
}

SourceBinding::~SourceBinding()
{
    armed = nullptr;
}

bool SourceBinding::Apply(int socket)
{
    if (used) {
        return true;
    }
    sockaddr_in source{};
    source.sin_family = AF_INET;
    if (inet_pton(AF_INET, localAddr.c_str(), &source.sin_addr) != 1) {
        errno = EINVAL;
        return false;
    }
    // Leaves the port to connect(), which then may share one among different destinations. Older kernels do without.
    const int on = 1;
    static_cast<void>(setsockopt(socket, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &on, sizeof on));
    used = bind(socket, reinterpret_cast<const sockaddr *>(&source), sizeof source) == 0;
    return used;
}

std::string SourceBinding::LocalAddress(int socket)
{
    sockaddr_in source{};
    socklen_t size = sizeof source;
    char text[INET_ADDRSTRLEN] = "";
    if (getsockname(socket, reinterpret_cast<sockaddr *>(&source), &size) != 0 || source.sin_family != AF_INET ||
        inet_ntop(AF_INET, &source.sin_addr, text, sizeof text) == nullptr) {
        return "";
    }
    return text;
}

}  // namespace zef

// Stands in front of the C library's connect() for the whole process; differs from it only while a SourceBinding is
// armed.
extern "C" __attribute__((visibility("default"))) int connect(int socket, const sockaddr *address, socklen_t size)
{
    return zef::BindThenConnect(socket, address, size);
}
