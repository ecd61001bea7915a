#include "keys/KeyStoreLock.h"

#include "keys/KeyDirectory.h"
#include "keys/KeyError.h"

#include <fmt/format.h>

#include <system_error>
#include <thread>

#include <cerrno>

#include <sys/file.h>

namespace zef {

namespace {

constexpr std::chrono::milliseconds kPause(20);

// Without blocking, so that nobody waits longer than intended for a process that hangs.
bool TryLock(int descriptor, std::chrono::milliseconds patience)
{
    for (auto remaining = patience; flock(descriptor, LOCK_EX | LOCK_NB) != 0; remaining -= kPause) {
        if ((errno != EWOULDBLOCK && errno != EINTR) || remaining <= remaining.zero()) {
            return false;
        }
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

}  // namespace

KeyStoreLock::KeyStoreLock(const std::string &directory, std::chrono::milliseconds patience)
    : descriptor(OpenKeyDirectory(directory))
{
    if (!TryLock(descriptor.Get(), patience)) {
        if (errno == EWOULDBLOCK) {
            throw KeysBusyError(fmt::format("another process is changing the key files in {}", directory));
        }
        throw KeyError(fmt::format("the directory {} of the key files cannot be locked: {}", directory,
                                   std::generic_category().message(errno)));
    }
}

}  // namespace zef
