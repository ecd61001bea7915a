#include "ZefStorageController.h"

#include "LinkTable.h"
#include "OrdinaryLog.h"
#include "ProcessObjects.h"
#include "ZefStorageManager.h"
#include "platform/IpUtil.h"

#include <algorithm>
#include <mutex>

namespace {

constexpr unsigned long kRetryDelayMs = 2000;
constexpr int kMaxPairs = 32;
constexpr int kMaxWwnTries = 15;

// What every link request carries; the meaning is the gateway's.
constexpr int32_t kLinkOption0 = 0;
constexpr int32_t kLinkOption1 = 4;

// Serialises the WWN steps' view of a storage object's WWN and pairs. Taken before the pool's queue mutex.
std::mutex wwnMutex;

// A record that the gateway leaves alone says "no WWN".
OrnLinkInfo EmptyLinkInfo()
{
    OrnLinkInfo info = {};
    InitOrnLinkStatus(&info, 1);
    return info;
}

// Ends a link and takes its pair off the record, which is looked up anew: the gateway may have taken its time.
void DropPair(const std::string &name, const IpPair &pair)
{
    (void)OrnDeleteTarnLink(pair.first.c_str(), pair.second.c_str());
    ZefStorageManager::GetByName(name).DeleteIpParis(pair);
}

}  // namespace

void ConnectTask(const std::string &name, const std::string &ip)
{
    const std::set<std::string> localIps = IpUtil::GetHostIpsCanConnect(ip);
    if (localIps.empty()) {
        RetryConnectTask(name, ip);
        ZEF_LOG(zef_config::kLogError, "%s: zef storage controller get source ip is empty.", zef_config::kLogTag);
        return;
    }
    for (const std::string &localIp : localIps) {
        const IpPair pair(localIp, ip);
        ZefStorageManager::GetByName(name).AddIpParis(pair);
        CreateLinkTask(name, pair);
    }
}

void CreateLinkTask(const std::string &name, const IpPair &pair)
{
    OrnLinkRequest request = {};
    request.localAddr = pair.first.c_str();
    request.storageAddr = pair.second.c_str();
    request.credentialCb = ZefStorageGetCredentialCb;
    request.option0 = kLinkOption0;
    request.option1 = kLinkOption1;
    if (OrnCreateTarnLinks(&request) == 0) {
        SetWwnTask(name, pair, 0);
    } else {
        RetryCreateLinkTask(name, pair);
    }
}

void SetWwnTask(const std::string &name, const IpPair &pair, const uint32_t &count)
{
    OrnLinkInfo info = EmptyLinkInfo();
    // The result is not looked at: the record tells.
    (void)OrnGetLinkInfoByIpPair(pair.first.c_str(), pair.second.c_str(), &info);
    if (info.wwn == ZefStorage::kNoWwn || info.status == zef_config::kLinkNotUsable) {
        RetrySetWwnTask(name, pair, count);  // takes the WWN lock itself
        return;
    }

    const std::lock_guard<std::mutex> lock(wwnMutex);
    ZefStorage &storage = ZefStorageManager::GetByName(name);
    if (storage.GetIpParis().size() > kMaxPairs) {
        ZEF_LOG(zef_config::kLogNotice, "%s: zef storage controller ip pair num over max value %d.",
                zef_config::kLogTag, kMaxPairs);
        DropPair(name, pair);
    } else if (storage.GetWwn() == ZefStorage::kNoWwn) {
        storage.SetWwn(info.wwn);
    } else if (storage.GetWwn() != info.wwn) {
        DropPair(name, pair);  // another array; deliberately without a word
    }
}

void RetryConnectTask(const std::string &name, const std::string &ip)
{
    ZEF_LOG(zef_config::kLogNotice, "%s: zef storage controller retry connect task.", zef_config::kLogTag);
    if (!CheckDoRetry(name, ip, IpPair())) {
        ZEF_LOG(zef_config::kLogInfo, "%s: zef storage controller do not need retry connect task.",
                zef_config::kLogTag);
        return;
    }
    (void)zef_config::TaskPool().commit(kRetryDelayMs, "RetryConnectTask:" + name + ip, ConnectTask, name, ip);
}

void RetryCreateLinkTask(const std::string &name, const IpPair &pair)
{
    ZEF_LOG(zef_config::kLogNotice, "%s: zef storage controller retry create link task.", zef_config::kLogTag);
    if (!CheckDoRetry(name, pair.second, pair)) {
        ZEF_LOG(zef_config::kLogInfo, "%s: zef storage controller do not need retry create link task.",
                zef_config::kLogTag);
        return;
    }
    (void)zef_config::TaskPool().commit(kRetryDelayMs, "RetryCreateLinkTask:" + name + pair.first + pair.second,
                                        CreateLinkTask, name, pair);
}

void RetrySetWwnTask(const std::string &name, const IpPair &pair, const uint32_t &count)
{
    // Held across the commit, which takes the pool's queue mutex second.
    const std::lock_guard<std::mutex> lock(wwnMutex);
    const std::vector<IpPair> pairs = ZefStorageManager::GetByName(name).GetIpParis();
    ZEF_LOG(zef_config::kLogNotice, "%s: zef storage controller retry set wwn task.", zef_config::kLogTag);
    if (!CheckDoRetry(name, pair.second, pair)) {
        ZEF_LOG(zef_config::kLogInfo, "%s: zef storage controller do not need retry set wwn task.",
                zef_config::kLogTag);
        return;
    }
    // A pair is given up only while the array address stays reachable through another one.
    if (GetConnectedCnt(pair, pairs) > 0 && count >= kMaxWwnTries) {
        ZEF_LOG(zef_config::kLogInfo, "%s: zef storage controller retry set wwn over max num %d.",
                zef_config::kLogTag, kMaxWwnTries);
        DropPair(name, pair);
        return;
    }
    (void)zef_config::TaskPool().commit(kRetryDelayMs, "RetrySetWwnTask:" + name + pair.first + pair.second,
                                        SetWwnTask, name, pair, count + 1);
}

bool CheckDoRetry(const std::string &name, const std::string &ip, const IpPair &pair)
{
    const ZefStorage storage = ZefStorageManager::GetByName(name);
    if (storage.GetName().empty()) {
        ZEF_LOG(zef_config::kLogInfo, "%s: zef storage controller name %s not exist.", zef_config::kLogTag,
                name.c_str());
        return false;
    }
    if (storage.GetIpList().count(ip) == 0) {
        ZEF_LOG(zef_config::kLogInfo, "%s: zef storage controller ip not exist.", zef_config::kLogTag);
        return false;
    }
    const std::vector<IpPair> &pairs = storage.GetIpParis();
    if (!pair.first.empty() && std::find(pairs.begin(), pairs.end(), pair) == pairs.end()) {
        ZEF_LOG(zef_config::kLogInfo, "%s: zef storage controller ip pair not exist.", zef_config::kLogTag);
        return false;
    }
    return true;
}

int GetConnectedCnt(const IpPair &pair, const std::vector<IpPair> &pairs)
{
    int connected = 0;
    for (const IpPair &other : pairs) {
        if (other.second != pair.second || other.first == pair.first) {
            continue;
        }
        OrnLinkInfo info = EmptyLinkInfo();
        if (OrnGetLinkInfoByIpPair(other.first.c_str(), other.second.c_str(), &info) == 0 &&
            info.status == zef_config::kLinkUp) {
            ++connected;
        }
    }
    return connected;
}
