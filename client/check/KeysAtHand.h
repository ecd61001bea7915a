// Which key files this process uses.
#ifndef ZEF_CLIENT_CHECK_KEYS_AT_HAND_H
#define ZEF_CLIENT_CHECK_KEYS_AT_HAND_H

#include "check/ConfigPaths.h"

namespace zef {

// Those that the service manager has put into this process's credential directory, else those of the service.
KeyPaths KeysAtHand();

}  // namespace zef

#endif
