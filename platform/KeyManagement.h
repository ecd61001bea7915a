/// \file
/// Key management, implemented by the hosting process. Init, Finish and the periodic updates come from the thread that
/// starts and stops the library; decryption also from whatever thread the gateway calls a credential callback on.
#ifndef ZEF_CONFIG_PLATFORM_KEY_MANAGEMENT_H
#define ZEF_CONFIG_PLATFORM_KEY_MANAGEMENT_H

#include "PlatformApi.h"

#include <cstdint>
#include <string>

/// Key management.
namespace WoxUtil {

/// Loads the keys of a domain (the library's is 2) from a primary and a standby file. 0 on success.
ZEF_PLATFORM_API int32_t Init(uint32_t domain, const std::string &primaryFile, const std::string &standbyFile);

/// Ends the periodic updates and forgets all keys. Harmless without Init.
ZEF_PLATFORM_API int32_t Finish();

/// Returns the plain text of a sealed one, or "" on failure. The caller wipes what it gets.
ZEF_PLATFORM_API std::string WoxDecryptData(uint32_t domain, const std::string &cipherText);

/// Starts the periodic renewal of the root key, with the values of the shared items 65 and 67. 0 on success.
ZEF_PLATFORM_API int32_t WoxPeriodUpdateRootKey(uint32_t rootKeySetting, uint32_t sharedSetting);

/// Starts the periodic renewal of a domain's master key, with the values of the shared items 66 and 67. 0 on success.
ZEF_PLATFORM_API int32_t WoxPeriodUpdateMasterKey(uint32_t domain, uint32_t masterKeySetting, uint32_t sharedSetting);

}  // namespace WoxUtil

#endif
