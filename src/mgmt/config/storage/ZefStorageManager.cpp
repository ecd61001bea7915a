#include "ZefStorageManager.h"

#include "ProcessObjects.h"
#include "ProtocolLog.h"
#include "TextList.h"
#include "WholeMatch.h"
#include "platform/IpUtil.h"

#include <algorithm>
#include <set>
#include <utility>

namespace {

constexpr char kAddressSeparator = ';';
constexpr char kPairSeparator = ':';

std::vector<ZefStorage>::iterator FindByName(const std::string &name)
{
    std::vector<ZefStorage> &storages = zef_config::StorageList();
    return std::find_if(storages.begin(), storages.end(),
                        [&name](const ZefStorage &storage) { return storage.GetName() == name; });
}

}  // namespace

std::vector<ZefStorage> &ZefStorageManager::GetStorageAll()
{
    return zef_config::StorageList();
}

bool ZefStorageManager::StorageExist(const std::string &name)
{
    return FindByName(name) != zef_config::StorageList().end();
}

ZefStorage &ZefStorageManager::GetByName(const std::string &name)
{
    const auto found = FindByName(name);
    return found == zef_config::StorageList().end() ? zef_config::EmptyStorage() : *found;
}

ZefStorage &ZefStorageManager::GetStorage(const std::string &name)
{
    return GetByName(name);
}

bool ZefStorageManager::IsValid(const std::string &text, const std::string &pattern)
{
    return zef_config::MatchesWhole(text, pattern.c_str());
}

bool ZefStorageManager::IsValidUserName(const std::string &user)
{
    return IsValid(user, "[a-zA-Z][a-zA-Z0-9_]{4,31}");
}

bool ZefStorageManager::IsValidStorageName(const std::string &name)
{
    return IsValid(name, "[a-zA-Z0-9_/.-]{1,127}");
}

int ZefStorageManager::CreateStorage(const std::string &name, const std::string &user, const std::string &password,
                                     const std::string &ips)
{
    if (!IsValidUserName(user) || !IsValidStorageName(name)) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef storage manager params is invalid.\n");
        return -1;
    }
    if (StorageExist(name)) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef storage manager name exist.\n");
        return -1;
    }
    ZefStorage storage;
    if (AddStorageIps(storage, ips) != 0) {
        return -1;
    }
    storage.SetName(name);
    storage.SetUser(user);
    storage.SetPassword(password);
    storage.SetLinkType(StorageLinkType::kIp);
    zef_config::StorageList().push_back(storage);
    return 0;
}

int ZefStorageManager::CreateStorage(const std::string &name, const std::string &user, const std::string &password,
                                     const StorageLinkType &linkType)
{
    if (!IsValidUserName(user) || !IsValidStorageName(name)) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef storage manager params is invalid.\n");
        return -1;
    }
    if (StorageExist(name)) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef storage manager name exist.\n");
        return -1;
    }
    ZefStorage storage;
    storage.SetName(name);
    storage.SetUser(user);
    storage.SetPassword(password);
    storage.SetLinkType(linkType);
    zef_config::StorageList().push_back(storage);
    return 0;
}

int ZefStorageManager::AddStorageIps(ZefStorage &storage, const std::string &ips)
{
    std::set<std::string> newIps;
    for (const std::string &ip : zef_config::SplitList(ips, kAddressSeparator)) {
        if (storage.GetIpList().count(ip) != 0) {
            ZEF_PROTOCOL_LOG("PROTOCOL: zef storage manager ip %s exist.\n", ip.c_str());
            return -1;
        }
        newIps.insert(ip);
    }
    if (newIps.empty()) {
        // Said, not refused: a storage object may be created without addresses and get them later.
        ZEF_PROTOCOL_LOG("PROTOCOL: zef storage manager ip list is empty.\n");
    }
    for (const std::string &ip : newIps) {
        if (!IpUtil::IsIpV4Valid(ip)) {
            ZEF_PROTOCOL_LOG("PROTOCOL: zef storage manager ip (%s) is invalid.\n", ip.c_str());
            return -1;
        }
    }
    storage.AddIpList(newIps);
    return 0;
}

int ZefStorageManager::AddStorageIps(const std::string &name, const std::string &ips)
{
    if (!IsValidStorageName(name) || !StorageExist(name)) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef storage manager params is invalid.\n");
        return -1;
    }
    return AddStorageIps(GetByName(name), ips);
}

int ZefStorageManager::DeleteStorage(const std::string &name)
{
    if (!IsValidStorageName(name)) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef storage manager name is invalid.\n");
        return -1;
    }
    // By copy: the name may be that of the very record which goes.
    const auto isNamed = [name](const ZefStorage &storage) { return storage.GetName() == name; };
    std::vector<ZefStorage> &storages = zef_config::StorageList();
    storages.erase(std::remove_if(storages.begin(), storages.end(), isNamed), storages.end());
    return 0;
}

void ZefStorageManager::DeleteStorageIps(const std::string &name, const std::string &ips)
{
    ZefStorage &storage = GetByName(name);
    for (const std::string &ip : zef_config::SplitList(ips, kAddressSeparator)) {
        storage.DeleteIpFromList(ip);
    }
}

void ZefStorageManager::DeleteStorageIpPairs(const std::string &name, const std::string &ips)
{
    ZefStorage &storage = GetByName(name);
    for (const std::string &ip : zef_config::SplitList(ips, kAddressSeparator)) {
        storage.DeleteIpParis(ip);
        storage.DeleteUnConnIpParis(ip);
    }
}

void ZefStorageManager::DeleteStorageIpPair(const std::string &name, const std::string &pair)
{
    const std::vector<std::string> addresses = zef_config::SplitList(pair, kPairSeparator);
    if (addresses.size() < 2) {
        return;  // no array address, nothing to delete
    }
    const IpPair ipPair(addresses[0], addresses[1]);
    ZefStorage &storage = GetByName(name);
    storage.DeleteIpParis(ipPair);
    // Only connected pairs keep an address alive; unconnected ones are left as they are.
    if (!storage.FindByIp(ipPair.second)) {
        storage.DeleteIpFromList(ipPair.second);
    }
}

void ZefStorageManager::Clear()
{
    zef_config::StorageList().clear();
}

int ZefStorageManager::UpdateStorageUser(const std::string &name, const std::string &user, const std::string &password)
{
    if (!IsValidStorageName(name) || !IsValidUserName(user)) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef storage manager params is invalid.\n");
        return -1;
    }
    ZefStorage &storage = GetByName(name);
    if (storage.GetName().empty()) {
        ZEF_PROTOCOL_LOG("PROTOCOL: zef storage manager name %s not exist.\n", name.c_str());
        return -1;
    }
    // Both or none: there may be no memory for the second.
    ZefStorage updated = storage;
    updated.SetUser(user);
    updated.SetPassword(password);
    storage = std::move(updated);
    return 0;
}
