#include "check/KeysAtHand.h"

#include "keys/PlatformKeys.h"

namespace zef {

KeyPaths KeysAtHand()
{
    const std::string directory = FindCredentialDirectory();
    return directory.empty() ? KeyPaths{} : KeyPaths{directory + "/wox_pri.dat", directory + "/wox_std.dat"};
}

}  // namespace zef
