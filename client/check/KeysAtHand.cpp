#include "check/KeysAtHand.h"

#include "keys/PlatformKeys.h"

namespace zef {

KeyPaths KeysAtHand()
{
    const std::string directory = FindCredentialDirectory();
    if (directory.empty()) {
        return {};
    }
    KeyPaths paths = KeysIn(directory);
    paths.oneSuffices = true;
    return paths;
}

KeyPaths KeysIn(const std::string &folder)
{
    return {folder + "/wox_pri.dat", folder + "/wox_std.dat", false};
}

}  // namespace zef
