#include "ZefStorageController.h"

#include "KeyDomain.h"
#include "OrdinaryLog.h"
#include "ProcessObjects.h"
#include "ScopedWipe.h"
#include "ZefStorageManager.h"
#include "platform/ClientComponents.h"
#include "platform/KeyManagement.h"

namespace {

constexpr int kMaxStorages = 1;
constexpr int kMaxIps = 16;

// Compared as a text: "01" in the document is not Fibre Channel.
bool IsFibreChannel(const std::string &linkType)
{
    return linkType == std::to_string(static_cast<uint32_t>(StorageLinkType::kFibreChannel));
}

// Decrypts a password only to see whether it can be; the registry keeps the encrypted text.
bool CanBeDecrypted(const std::string &password)
{
    std::string plainText = WoxUtil::WoxDecryptData(zef_config::kKeyDomain, password);
    const zef_config::ScopedWipe wipe(plainText);
    return !plainText.empty();
}

// The addresses in the order of the node, joined with ";". Without any, index -1 yields the empty node and so "".
std::string JoinIps(const ConfigNode &ips)
{
    const int last = ips.Size() - 1;
    std::string joined;
    for (int i = 0; i < last; ++i) {
        joined += ips[i].GetString() + ";";
    }
    return joined + ips[last].GetString();
}

}  // namespace

int CreateStorageFromConfig(ConfigNode &list, const int &index)
{
    const ConfigNode storage = list[index];
    const std::string name = storage.Get("Name").GetString();
    const std::string user = storage.Get("User").GetString();
    const std::string linkType = storage.Get("LinkType").GetString();
    const std::string password = storage.Get("Password").GetString();
    if (password.empty()) {
        return -1;
    }
    if (!CanBeDecrypted(password)) {
        ZEF_LOG(zef_config::kLogError, "%s: zef storage controller password decrypt failed.", zef_config::kLogTag);
        return -1;
    }

    int result = 0;
    if (IsFibreChannel(linkType)) {
        result = ZefStorageManager::CreateStorage(name, user, password, StorageLinkType::kFibreChannel);
    } else {
        const ConfigNode ips = storage.Get("Ips");
        if (ips.Size() > kMaxIps) {
            ZEF_LOG(zef_config::kLogError, "%s: zef storage controller ip over max num %d.", zef_config::kLogTag,
                    kMaxIps);
            return -1;
        }
        result = ZefStorageManager::CreateStorage(name, user, password, JoinIps(ips));
    }
    return result == 0 ? 0 : -1;
}

int ZefStorageController::CreateFromConfig(ConfigNode &config)
{
    ConfigNode list = config.Get("StorageObject");
    if (list.Size() > kMaxStorages) {
        ZEF_LOG(zef_config::kLogError, "%s: zef storage controller storage num over max value %d.",
                zef_config::kLogTag, kMaxStorages);
        return -1;
    }
    for (int i = 0; i < list.Size(); ++i) {
        if (CreateStorageFromConfig(list, i) != 0) {
            return -1;
        }
    }
    return 0;
}

int ZefStorageController::CreateFromConfigAndConnect(ConfigNode &config)
{
    if (CreateFromConfig(config) != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: zef storage controller create from config failed.", zef_config::kLogTag);
        return -1;
    }
    // A copy: tasks that run already may change the registry meanwhile.
    const std::vector<ZefStorage> storages = ZefStorageManager::GetStorageAll();
    bool fibreChannelReady = false;
    for (const ZefStorage &storage : storages) {
        if (storage.GetLinkType() != StorageLinkType::kFibreChannel) {
            (void)ConnectStorageIps(storage);
            continue;
        }
        if (!fibreChannelReady) {
            (void)ZefAddThreadForFc();
            fibreChannelReady = true;
        }
        (void)ConnectStorageFc(storage);
    }
    return 0;
}

int ZefStorageController::ConnectStorageIps(const ZefStorage &storage)
{
    if (storage.GetIpList().empty()) {
        return -1;
    }
    for (const std::string &ip : storage.GetIpList()) {
        (void)zef_config::TaskPool().commit(0, "", ConnectTask, storage.GetName(), ip);
    }
    return 0;
}

void ZefStorageController::Finish()
{
    ZefStorageManager::Clear();
    zef_config::TaskPool().Clear();
}
