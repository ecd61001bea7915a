// Keeps a second client away from a configuration.
#ifndef ZEF_CLIENT_APP_CONFIG_LOCK_H
#define ZEF_CLIENT_APP_CONFIG_LOCK_H

#include "common/FileDescriptor.h"

#include <string>

namespace zef {

// Held from construction to destruction. The lock is on the folder, so it needs no file of its own, and goes with the
// process that holds it.
class ConfigLock {
public:
    // Throws ControlError when another process holds it. A folder that cannot be opened is not locked: whoever reads the
    // configuration finds that, too.
    explicit ConfigLock(const std::string &configFile);

private:
    FileDescriptor folder;
};

}  // namespace zef

#endif
