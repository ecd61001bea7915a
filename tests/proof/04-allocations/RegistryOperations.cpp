// Changes of the registry and of the switches: done, or nothing has changed.
#include "Operation.h"
#include "Platform.h"

#include <zef_config/DeduplicationConfig.h>
#include <zef_config/ZefStorageManager.h>

#include <stdexcept>

namespace {

// Longer than what a string holds without memory of its own.
const std::string kName = "an_array_with_a_long_name";
const std::string kOtherName = "another_array_with_a_long_name";
const std::string kUser = "a_user_with_a_long_name";
const std::string kNewUser = "another_user_with_a_long_name";
const std::string kPassword = "sealed:a password of some length";
const std::string kNewPassword = "sealed:another password of some length";
const std::string kIps = "192.168.100.101;192.168.100.102";
const std::string kMoreIps = "192.168.100.103;192.168.100.104;192.168.100.105";

void Fill()
{
    if (ZefStorageManager::CreateStorage(kName, kUser, kPassword, kIps) != 0) {
        throw std::logic_error("no storage object");
    }
    ZefStorage &storage = ZefStorageManager::GetByName(kName);
    storage.SetIpParis(
        {{"10.9.0.1", "192.168.100.101"}, {"10.9.0.2", "192.168.100.101"}, {"10.9.0.1", "192.168.100.102"}});
    storage.AddUnConnIpParis({"10.9.0.3", "192.168.100.101"});
}

void Nothing() {}

int Done()
{
    return 0;
}

ZefStorage &Record()
{
    return ZefStorageManager::GetByName(kName);
}

using Manager = ZefStorageManager;

// The record's own operations, for users on the management side.
std::vector<Operation> RecordOperations()
{
    return {
        {"ZefStorage::AddIpList", Fill, [] {
            return Record().AddIpList({"192.168.100.103", "192.168.100.104", "192.168.100.105"}), Done();
        }},
        {"ZefStorage::DeleteIpFromList", Fill, [] { return Record().DeleteIpFromList("192.168.100.101"), Done(); }},
        {"ZefStorage::SetIpParis", Fill, [] {
            Record().SetIpParis({{"10.9.0.7", "192.168.100.101"}, {"10.9.0.8", "a text that is no address"}});
            return Done();
        }},
        {"ZefStorage::AddIpParis", Fill, [] {
            static bool isAdded = false;
            if (!isAdded) {
                Record().AddIpParis({"a text that is no address", "nor is this, at such a length"});
            }
            return isAdded = true, Done();
        }},
        {"ZefStorage::DeleteIpParis", Fill, [] {
            return Record().DeleteIpParis(std::string("192.168.100.101")), Done();
        }},
        {"ZefStorage::GetIps", Fill, [] { return static_cast<int>(Record().GetIps().size()); }},
        {"ZefStorage::SetName", Fill, [] { return Manager::GetStorageAll().front().SetName(kOtherName), Done(); }},
        {"ZefStorage, copied", Fill, [] { return ZefStorage(Record()).GetName() == kName ? 0 : -1; }},
    };
}

std::vector<Operation> SwitchOperations()
{
    const auto off = [] {
        DeduplicationConfig::GetInstance().SetDeduplicationStatus(0);
        DeduplicationConfig::GetInstance().SetCompression(0);
    };
    Operation first = {"DeduplicationConfig, its first use", Nothing, [] {
        return DeduplicationConfig::GetInstance().SetDeduplicationStatus(1);
    }};
    first.stays = {"Compression", "Deduplication"};
    return {
        first,
        {"SetDeduplicationStatus", off, [] { return DeduplicationConfig::GetInstance().SetDeduplicationStatus(1); }},
        {"SetCompression", off, [] { return DeduplicationConfig::GetInstance().SetCompression(1); }},
        {"SetToPShim", off, [] { return DeduplicationConfig::GetInstance().SetToPShim(); }},
    };
}

}  // namespace

std::vector<Operation> RegistryOperations()
{
    std::vector<Operation> operations = {
        {"CreateStorage, IP", Fill, [] {
            return Manager::StorageExist(kOtherName) ? 0
                : Manager::CreateStorage(kOtherName, kUser, kPassword, kMoreIps);
        }},
        {"CreateStorage, FC", Fill, [] {
            return Manager::StorageExist(kOtherName) ? 0
                : Manager::CreateStorage(kOtherName, kUser, kPassword, StorageLinkType::kFibreChannel);
        }},
        {"CreateStorage, refused", Fill, [] { return Manager::CreateStorage(kName, kUser, kPassword, kMoreIps); }},
        {"AddStorageIps", Fill, [] { return Manager::AddStorageIps(kName, kMoreIps); }},
        {"AddStorageIps, refused", Fill, [] { return Manager::AddStorageIps(kName, "192.168.100.109;" + kIps); }},
        {"DeleteStorage", Fill, [] { return Manager::DeleteStorage(kName); }},
        {"DeleteStorageIps", Fill, [] { return Manager::DeleteStorageIps(kName, kIps), Done(); }},
        {"DeleteStorageIpPairs", Fill, [] { return Manager::DeleteStorageIpPairs(kName, kIps), Done(); }},
        {"DeleteStorageIpPair", Fill, [] {
            return Manager::DeleteStorageIpPair(kName, "10.9.0.1:192.168.100.102"), Done();
        }},
        {"UpdateStorageUser", Fill, [] { return Manager::UpdateStorageUser(kName, kNewUser, kNewPassword); }},
        {"Clear", Fill, [] { return Manager::Clear(), Done(); }},
        {"StorageExist, GetByName", Fill, [] {
            return Manager::StorageExist(kName) && Manager::GetStorage(kName).GetName() == kName ? 0 : -1;
        }},
        {"IsValidUserName", Nothing, [] { return Manager::IsValidUserName(kUser) ? 0 : -1; }},
        {"IsValidStorageName", Nothing, [] { return Manager::IsValidStorageName(kName) ? 0 : -1; }},
    };
    for (std::vector<Operation> (*more)() : {RecordOperations, SwitchOperations}) {
        const std::vector<Operation> some = more();
        operations.insert(operations.end(), some.begin(), some.end());
    }
    return operations;
}
