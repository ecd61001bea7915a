#include "keys/PlatformKeys.h"

#include "common/NeverDestroyed.h"
#include "keys/KeyManager.h"
#include "keys/SystemKeyClock.h"

#include <zef_config/platform/KeyManagement.h>

#include <cstdlib>

#include <unistd.h>

namespace {

// A clock and the keys that go by it.
struct ProcessKeys {
    zef::SystemKeyClock clock;
    zef::KeyManager manager{clock};
};

// The gateway may ask for a password until the process is gone, after the program's own objects.
zef::KeyManager &Keys()
{
    static zef::NeverDestroyed<ProcessKeys> keys;
    return keys.Get().manager;
}

bool HoldsFile(const std::string &directory, const char *name)
{
    return access((directory + "/" + name).c_str(), F_OK) == 0;
}

}  // namespace

namespace zef {

void SetCredentialDirectory(const std::string &directory)
{
    Keys().SetCredentialDirectory(directory);
}

std::string FindCredentialDirectory()
{
    const char *const value = std::getenv("CREDENTIALS_DIRECTORY");
    const std::string directory = value == nullptr ? "" : value;
    const bool holdsKeys = !directory.empty() && (HoldsFile(directory, KeyManager::kPrimaryCredential) ||
                                                  HoldsFile(directory, KeyManager::kStandbyCredential));
    return holdsKeys ? directory : "";
}

}  // namespace zef

namespace WoxUtil {

int32_t Init(uint32_t domain, const std::string &primaryFile, const std::string &standbyFile)
{
    return Keys().Init(domain, primaryFile, standbyFile);
}

int32_t Finish()
{
    return Keys().Finish();
}

std::string WoxDecryptData(uint32_t domain, const std::string &cipherText)
{
    return Keys().Decrypt(domain, cipherText);
}

int32_t WoxPeriodUpdateRootKey(uint32_t rootKeySetting, uint32_t sharedSetting)
{
    return Keys().UpdateRootKey(rootKeySetting, sharedSetting);
}

int32_t WoxPeriodUpdateMasterKey(uint32_t domain, uint32_t masterKeySetting, uint32_t sharedSetting)
{
    return Keys().UpdateMasterKey(domain, masterKeySetting, sharedSetting);
}

}  // namespace WoxUtil
