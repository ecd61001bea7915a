// The address of a socket in the file system.
#ifndef ZEF_CLIENT_CONTROL_UNIX_ADDRESS_H
#define ZEF_CLIENT_CONTROL_UNIX_ADDRESS_H

#include <string>

#include <sys/socket.h>
#include <sys/un.h>

namespace zef {

// Throws ControlError with ExitCode::Usage for a path that is empty or longer than the system takes, and for one with a
// zero byte, which would stand for another kind of address.
class UnixAddress {
public:
    explicit UnixAddress(const std::string &path);

    // As connect and bind want it.
    const sockaddr *Get() const { return reinterpret_cast<const sockaddr *>(&address); }
    static constexpr socklen_t Size() { return sizeof(sockaddr_un); }

private:
    sockaddr_un address{};
};

}  // namespace zef

#endif
