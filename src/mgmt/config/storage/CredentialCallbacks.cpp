#include "ZefStorageController.h"

#include "KeyDomain.h"
#include "OrdinaryLog.h"
#include "ScopedWipe.h"
#include "ZefStorageManager.h"
#include "platform/BoundsChecked.h"
#include "platform/KeyManagement.h"

namespace {

// Supplies the first storage object's credential, whatever the link: a configuration has at most one. `callback` is the
// name to report under; it tells which path asked. Works on a copy of the registry, so that nothing of it is held while
// the gateway waits.
int FillCredential(const char *callback, OrnCredential *credential)
{
    const std::vector<ZefStorage> storages = ZefStorageManager::GetStorageAll();
    if (storages.empty()) {
        return -1;
    }
    const ZefStorage &storage = storages.front();

    std::string password = WoxUtil::WoxDecryptData(zef_config::kKeyDomain, storage.GetPassword());
    const zef_config::ScopedWipe wipe(password);
    if (password.empty()) {
        ZEF_LOG_AS(callback, zef_config::kLogError, "%s: zef storage controller get plaintext pwd fail.\n",
                   zef_config::kLogTag);
        return -1;
    }
    if (strcpy_s(credential->password, sizeof credential->password, password.c_str()) != 0 ||
        strcpy_s(credential->user, sizeof credential->user, storage.GetUser().c_str()) != 0) {
        ZEF_LOG_AS(callback, zef_config::kLogError, "%s: zef storage controller set user and password fail.\n",
                   zef_config::kLogTag);
        return -1;
    }
    return 0;
}

}  // namespace

int ZefStorageGetCredentialCb(const char *, const char *, OrnCredential *credential)
{
    return FillCredential(__func__, credential);
}

int ZefStorageGetBilCredentialCb(const char *, const char *, OrnCredential *credential)
{
    return FillCredential(__func__, credential);
}
