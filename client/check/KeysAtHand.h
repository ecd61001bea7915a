// Which key files this process uses.
#ifndef ZEF_CLIENT_CHECK_KEYS_AT_HAND_H
#define ZEF_CLIENT_CHECK_KEYS_AT_HAND_H

#include "check/ConfigPaths.h"

#include <string>

namespace zef {

// Those that the service manager has put into this process's credential directory, else those of the service.
KeyPaths KeysAtHand();

// Those in this folder.
KeyPaths KeysIn(const std::string &folder);

}  // namespace zef

#endif
