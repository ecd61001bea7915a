// Keeps other processes from changing the key files.
#ifndef ZEF_CLIENT_KEYS_KEY_STORE_LOCK_H
#define ZEF_CLIENT_KEYS_KEY_STORE_LOCK_H

#include "common/FileDescriptor.h"

#include <chrono>
#include <string>

namespace zef {

// Held from construction to destruction: the service renewing its keys and an operator's command take turns. The lock
// is on the directory, so it needs no file of its own, and it goes with the process that holds it.
class KeyStoreLock {
public:
    // Tries for as long as `patience`; throws KeysBusyError when the directory is still locked then, and what
    // OpenKeyDirectory does.
    KeyStoreLock(const std::string &directory, std::chrono::milliseconds patience);

private:
    FileDescriptor descriptor;
};

}  // namespace zef

#endif
