#include "ZefConfig.h"

#include "ConfigMgr.h"
#include "DeduplicationConfig.h"
#include "KeyDomain.h"
#include "LinkTable.h"
#include "OrdinaryLog.h"
#include "UuidConfig.h"
#include "ZefStorageController.h"
#include "ZefStorageManager.h"
#include "platform/BoundsChecked.h"
#include "platform/ClientComponents.h"
#include "platform/KeyManagement.h"
#include "platform/SharedBaseConfig.h"

#include <memory>

#include <cstdlib>

namespace {

constexpr const char *kConfigFile = "/opt/quenlar/vextramo/conf/zef_config.xml";
constexpr const char *kPrimaryKeyFile = "/opt/quenlar/vextramo/conf/WOX/wox_pri.dat";
constexpr const char *kStandbyKeyFile = "/opt/quenlar/vextramo/conf/WOX/wox_std.dat";
constexpr const char *kTopElement = "Config";

// Items of the shared base configuration that the periodic key updates are set with.
constexpr int kRootKeyItem = 65;
constexpr int kMasterKeyItem = 66;
constexpr int kKeyUpdateItem = 67;

constexpr uint32_t kUuidBufferBytes = 40;

struct MemoryFreer {
    void operator()(OrnLinkInfo *records) const { std::free(records); }
};
using LinkTable = std::unique_ptr<OrnLinkInfo[], MemoryFreer>;

// Reads the configuration file for an entry point, which a failure is reported for.
bool ReadConfigFile(ConfigMgr &manager, const char *entryPoint)
{
    const int result = manager.ReadConfig(kConfigFile);
    if (result != 0) {
        ZEF_LOG_AS(entryPoint, zef_config::kLogError, "%s: zef config read config error. %d", zef_config::kLogTag,
                   result);
    }
    return result == 0;
}

uint32_t SharedItem(int item)
{
    return static_cast<uint32_t>(ShmBaseCfgGetCfgVal(item));
}

// Key management that was initialised, and is finished again unless it is to stay.
class StartedKeys {
public:
    StartedKeys() = default;
    ~StartedKeys()
    {
        if (!stays) {
            (void)WoxUtil::Finish();
            ZefConfigExitTracePoint();
        }
    }
    StartedKeys(const StartedKeys &) = delete;
    StartedKeys &operator=(const StartedKeys &) = delete;

    void Keep() { stays = true; }

private:
    bool stays = false;
};

// Copies the local address of the first record's first pair; the next record's where that does not fit.
int32_t CopyLocalIp(const std::vector<ZefStorage> &storages, char *buffer, uint32_t size)
{
    for (const ZefStorage &storage : storages) {
        const std::vector<IpPair> &pairs = storage.GetIpParis();
        if (pairs.empty()) {
            ZEF_LOG_AS("ZefConfigGetIP", zef_config::kLogError, "%s: storage object not ip pair.",
                       zef_config::kLogTag);
            return -1;
        }
        if (strcpy_s(buffer, size, pairs.front().first.c_str()) == 0) {
            return 0;
        }
    }
    return -1;
}

// Copies the initiator WWN of the first filled record whose text fits.
int32_t CopyInitiatorWwn(const OrnLinkInfo *records, char *buffer, uint32_t size)
{
    for (uint32_t i = 0; i < zef_config::kLinkTableRecords && records[i].status != zef_config::kLinkEmpty; ++i) {
        if (strcpy_s(buffer, size, records[i].initiatorWwn) == 0) {
            return 0;
        }
    }
    return -1;
}

}  // namespace

int32_t ZefConfigInit()
{
    ZEF_LOG(zef_config::kLogInfo, "%s: zef config init begin.", zef_config::kLogTag);
    ConfigMgr manager;
    if (!ReadConfigFile(manager, __func__)) {
        return -1;
    }
    ConfigNode config = manager.GetConfig().Get(kTopElement);
    if (UuidConfig::GetInstance().SetFromConfig(config) != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: zef config uuid init error.", zef_config::kLogTag);
        return -1;
    }
    if (ZefConfigInitTracePoint() != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: zef config init trace point error!", zef_config::kLogTag);
        return -1;
    }
    if (WoxUtil::Init(zef_config::kKeyDomain, kPrimaryKeyFile, kStandbyKeyFile) != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: zef config init wox error!", zef_config::kLogTag);
        ZefConfigExitTracePoint();
        return -1;
    }
    StartedKeys keys;
    if (ZefConfigSetUuid() != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: zef config set uuid error!", zef_config::kLogTag);
        return -1;
    }
    keys.Keep();
    ZEF_LOG(zef_config::kLogInfo, "%s: zef config init success.", zef_config::kLogTag);
    return 0;
}

int32_t ZefConfigStart()
{
    ZEF_LOG(zef_config::kLogInfo, "%s: zef config start begin.", zef_config::kLogTag);
    ConfigMgr manager;
    if (!ReadConfigFile(manager, __func__)) {
        return -1;
    }
    ConfigNode config = manager.GetConfig().Get(kTopElement);
    if (ZefStorageController::CreateFromConfigAndConnect(config) != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: zef config storage start error.", zef_config::kLogTag);
        ZefStorageController::Finish();
        return -1;
    }
    // From here on nothing is undone: the storage objects stay connected whatever becomes of switches and keys.
    DeduplicationConfig &switches = DeduplicationConfig::GetInstance();
    if (switches.SetFromConfig(config) != 0) {
        const int compression = switches.GetCompression();
        const int deduplication = switches.GetDeduplication();
        ZEF_LOG(zef_config::kLogError, "%s: zef config Deduplication[%d] Compression[%d] init error.",
                zef_config::kLogTag, deduplication, compression);
        return -1;
    }
    const int32_t updateResult = ZefWoxUpdateTask();
    if (updateResult != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: zef config wox update task start err, ret:%d", zef_config::kLogTag,
                updateResult);
        return -1;
    }
    ZEF_LOG(zef_config::kLogInfo, "%s: zef config start success.", zef_config::kLogTag);
    return 0;
}

void ZefConfigFinish()
{
    ZefStorageController::Finish();
    (void)WoxUtil::Finish();
    ZefConfigExitTracePoint();
}

// Weak, so that calls reach a program that has hooks of its own, see replaceable.txt.
[[gnu::weak]] int32_t ZefConfigInitTracePoint()
{
    return 0;
}

[[gnu::weak]] void ZefConfigExitTracePoint() {}

void ZefCtrlTpSetInt32Value(const char *text, int32_t *value)
{
    if (value != nullptr) {
        *value = static_cast<int32_t>(std::strtoul(text, nullptr, 10));
    }
}

int32_t ZefWoxUpdateTask()
{
    const uint32_t keyUpdate = SharedItem(kKeyUpdateItem);
    const uint32_t rootKey = SharedItem(kRootKeyItem);
    const uint32_t masterKey = SharedItem(kMasterKeyItem);
    int32_t result = WoxUtil::WoxPeriodUpdateRootKey(rootKey, keyUpdate);
    if (result != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: zef config start wox root key update task error! ret:%d",
                zef_config::kLogTag, result);
        return -1;
    }
    result = WoxUtil::WoxPeriodUpdateMasterKey(zef_config::kKeyDomain, masterKey, keyUpdate);
    if (result != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: zef config start wox master key update task error! ret:%d",
                zef_config::kLogTag, result);
        return -1;
    }
    return 0;
}

int32_t ZefConfigGetUuid(char *buffer, uint32_t size)
{
    const std::string uuid = UuidConfig::GetInstance().GetUuid();
    if (uuid.empty()) {
        return -1;
    }
    return strcpy_s(buffer, size, uuid.c_str()) == 0 ? 0 : -1;
}

int32_t ZefConfigSetUuid()
{
    char uuid[kUuidBufferBytes];
    (void)memset_s(uuid, sizeof uuid, 0, sizeof uuid);
    if (ZefConfigGetUuid(uuid, sizeof uuid) != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: zef config get uuid error.", zef_config::kLogTag);
        return -1;
    }
    if (ZefClientInfoSetUuid(uuid) != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: zef config set uuid error.", zef_config::kLogTag);
        return -1;
    }
    if (HibSetClientUuid(uuid) != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: zef config set uuid in Hib error.", zef_config::kLogTag);
        return -1;
    }
    return 0;
}

int32_t ZefConfigGetIP(char *buffer, uint32_t size)
{
    const std::vector<ZefStorage> storages = ZefStorageManager::GetStorageAll();
    return CopyLocalIp(storages, buffer, size);
}

int32_t ZefConfigGetFcIniWwn(char *buffer, uint32_t size)
{
    const LinkTable records(static_cast<OrnLinkInfo *>(std::malloc(zef_config::kLinkTableBytes)));
    if (records == nullptr) {
        ZEF_LOG(zef_config::kLogError, "%s: malloc linkInfo failed.", zef_config::kLogTag);
        return -1;
    }
    (void)memset_s(records.get(), zef_config::kLinkTableBytes, 0, zef_config::kLinkTableBytes);
    for (uint32_t i = 0; i < zef_config::kLinkTableRecords; ++i) {
        records[i].status = zef_config::kLinkEmpty;
    }
    uint32_t count = 0;
    if (OrnGetAllLinkInfoByEngine(records.get(), zef_config::kLinkTableRecords, &count, zef_config::kLinkEngine) != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: storage object not fc info.", zef_config::kLogTag);
        return -1;
    }
    (void)ZEF_CLI::StorageObjectCommand::ProcessShardCardLinkInfo(records.get(), zef_config::kLinkTableRecords);
    return CopyInitiatorWwn(records.get(), buffer, size);
}

int32_t ZefConfigGetLocalAddr(char *buffer, uint32_t size)
{
    const std::vector<ZefStorage> storages = ZefStorageManager::GetStorageAll();
    if (storages.empty()) {
        ZEF_LOG(zef_config::kLogError, "%s: can not find storage object.", zef_config::kLogTag);
        return -1;
    }
    if (storages.front().GetLinkType() == StorageLinkType::kFibreChannel) {
        return ZefConfigGetFcIniWwn(buffer, size);
    }
    return CopyLocalIp(storages, buffer, size);  // as ZefConfigGetIP, which would copy the registry once more
}
