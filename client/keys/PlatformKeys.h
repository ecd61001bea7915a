// The keys that this process decrypts passwords with, as its platform interface has them.
#ifndef ZEF_CLIENT_KEYS_PLATFORM_KEYS_H
#define ZEF_CLIENT_KEYS_PLATFORM_KEYS_H

#include <string>

namespace zef {

// See KeyManager::SetCredentialDirectory. To be called before the library initialises key management.
void SetCredentialDirectory(const std::string &directory);

// The directory that the service manager has put key files in ($CREDENTIALS_DIRECTORY, with wox_pri.dat or wox_std.dat
// in it), or "".
std::string FindCredentialDirectory();

}  // namespace zef

#endif
