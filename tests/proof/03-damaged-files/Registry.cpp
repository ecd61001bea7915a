#include "Registry.h"

#include <zef_config/ConfigMgr.h>
#include <zef_config/DeduplicationConfig.h>
#include <zef_config/UuidConfig.h>
#include <zef_config/ZefStorageController.h>
#include <zef_config/ZefStorageManager.h>

#include <algorithm>

namespace {

const char *SwitchText(int value)
{
    return value == 1 ? "ON" : "OFF";
}

bool Take(const ConfigNode &root, Registry &registry)
{
    ZefStorageManager::Clear();
    ConfigNode config = root.Get("Config");
    UuidConfig &uuid = UuidConfig::GetInstance();
    DeduplicationConfig &switches = DeduplicationConfig::GetInstance();
    if (uuid.SetFromConfig(config) != 0 || ZefStorageController::CreateFromConfig(config) != 0 ||
        switches.SetFromConfig(config) != 0) {
        return false;
    }
    registry = Registry();
    registry.uuid = uuid.GetUuid();
    registry.deduplication = SwitchText(switches.GetDeduplication());
    registry.compression = SwitchText(switches.GetCompression());
    for (const ZefStorage &storage : ZefStorageManager::GetStorageAll()) {
        ++registry.storageObjects;
        registry.name = storage.GetName();
        registry.user = storage.GetUser();
        registry.password = storage.GetPassword();
        registry.isFibreChannel = storage.GetLinkType() == StorageLinkType::kFibreChannel;
        registry.addresses = storage.GetIpList();
    }
    return true;
}

}  // namespace

std::vector<std::string> Registry::DifferencesFrom(const Registry &other) const
{
    std::vector<std::string> differences;
    const auto compare = [&differences](const auto &one, const auto &another, const char *what) {
        if (one != another) {
            differences.push_back(what);
        }
    };
    compare(uuid, other.uuid, "another UUID");
    compare(deduplication, other.deduplication, "another deduplication switch");
    compare(compression, other.compression, "another compression switch");
    compare(storageObjects, other.storageObjects, "another number of storage objects");
    compare(name, other.name, "another name");
    compare(user, other.user, "another user");
    compare(password, other.password, "another password");
    compare(isFibreChannel, other.isFibreChannel, "another link type");
    const bool isPart = addresses.size() < other.addresses.size() &&
                        std::includes(other.addresses.begin(), other.addresses.end(), addresses.begin(),
                                      addresses.end());
    compare(addresses, other.addresses, isPart ? "fewer addresses" : "other addresses");
    return differences;
}

bool LoadRegistry(const std::string &path, Registry &registry)
{
    ConfigMgr manager;
    return manager.ReadConfig(path) == 0 && Take(manager.GetConfig(), registry);
}

bool TakeRegistry(mxml_node_t *root, Registry &registry)
{
    return root != nullptr && Take(ConfigNode(root), registry);
}
