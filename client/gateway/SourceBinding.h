// Makes a library that offers no choice of the source address connect from a given one.
#ifndef ZEF_CLIENT_GATEWAY_SOURCE_BINDING_H
#define ZEF_CLIENT_GATEWAY_SOURCE_BINDING_H

#include <string>

namespace zef {

// While an object of this class lives, the next IPv4 socket that its thread connects is first bound to the given local
// address. For this the program defines connect() itself, in front of the C library's, which works only where the
// program exports the symbol (CMake: ENABLE_EXPORTS); so ask Used() before the connection is relied on, and
// LocalAddress() once it stands. One object per thread at a time.
class SourceBinding {
public:
    // source: an IPv4 address in dotted form.
    explicit SourceBinding(const std::string &source);
    ~SourceBinding();

    SourceBinding(const SourceBinding &) = delete;
    SourceBinding &operator=(const SourceBinding &) = delete;

    // True once a socket was bound to the address.
    bool Used() const { return used; }

    // The address a socket is bound to, without its port; "" when it cannot be told.
    static std::string LocalAddress(int socket);

    // For connect(): binds the socket unless this was done already. False with errno set when the address cannot be
    // had.
    bool Apply(int socket);

private:
    std::string localAddr;
    bool used = false;
};

}  // namespace zef

#endif
