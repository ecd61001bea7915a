#include "ZefStorageController.h"

#include "LinkTable.h"
#include "OrdinaryLog.h"
#include "ProcessObjects.h"
#include "ZefStorageManager.h"
#include "platform/BoundsChecked.h"
#include "platform/Memory.h"

#include <memory>

#include <ctime>

#include <unistd.h>

namespace {

constexpr unsigned int kPollIntervalSeconds = 1;
constexpr uint32_t kPollDeadlineSeconds = 20;
constexpr const char *kTableOwner = "GetFcLinkState";

struct TableFreer {
    void operator()(OrnLinkInfo *table) const { yrmm_free(table, zef_config::kLogModule, kTableOwner); }
};
using Table = std::unique_ptr<OrnLinkInfo[], TableFreer>;

// The first link that is up. A link that is not usable yet, or an empty record, ends the search: what the gateway lists
// behind it is deliberately not looked at.
const OrnLinkInfo *FindLinkUp(const OrnLinkInfo *table)
{
    for (const OrnLinkInfo *record = table; record != table + zef_config::kLinkTableRecords; ++record) {
        if (record->status == zef_config::kLinkUp) {
            return record;
        }
        if (record->status == zef_config::kLinkNotUsable || record->status == zef_config::kLinkEmpty) {
            return nullptr;
        }
    }
    return nullptr;
}

uint32_t SecondsSince(time_t start)
{
    return static_cast<uint32_t>(time(nullptr) - start);
}

}  // namespace

int ZefStorageController::ConnectStorageFc(const ZefStorage &storage)
{
    (void)zef_config::TaskPool().commit(0, "", ConnectFCTask, storage.GetName());
    return 0;
}

void ConnectFCTask(const std::string &name)
{
    if (OrnClientRegCredential(ZefStorageGetBilCredentialCb, 1, "ZefStorageGetBilCredentialCb") != 0) {
        ZEF_LOG(zef_config::kLogError,
                "%s: The function of zef registering with orn to obtain authentication information failed.\n",
                zef_config::kLogTag);
        return;
    }
    if (GetFcLinkState(name) != 0) {
        ZEF_LOG(zef_config::kLogError, "%s: zef storage get link status failed.\n", zef_config::kLogTag);
    }
}

int GetFcLinkState(const std::string &name)
{
    const Table table(static_cast<OrnLinkInfo *>(
        yrmm_malloc(zef_config::kLinkTableBytes, zef_config::kLogModule, kTableOwner)));
    if (table == nullptr) {
        ZEF_LOG(zef_config::kLogError, "%s: Failed to alloc memory for ornLinkInfo.", zef_config::kLogTag);
        return -1;
    }
    (void)memset_s(table.get(), zef_config::kLinkTableBytes, 0, zef_config::kLinkTableBytes);

    uint32_t count = 0;
    const time_t start = time(nullptr);
    do {
        InitOrnLinkStatus(table.get(), zef_config::kLinkTableRecords);
        // Neither the result nor the count is looked at: the records say themselves whether they are filled.
        (void)OrnGetAllLinkInfoByEngine(table.get(), zef_config::kLinkTableRecords, &count, zef_config::kLinkEngine);
        if (const OrnLinkInfo *const link = FindLinkUp(table.get())) {
            // A WWN that differs has been reported; the link is up all the same.
            (void)StorageObjectFcSetWwnTask(ZefStorageManager::GetByName(name), *link);
            return 0;
        }
        (void)sleep(kPollIntervalSeconds);
    } while (SecondsSince(start) < kPollDeadlineSeconds);

    ZEF_LOG(zef_config::kLogError, "%s: FC link is not normal.\n", zef_config::kLogTag);
    return -1;
}

int StorageObjectFcSetWwnTask(ZefStorage &storage, const OrnLinkInfo &record)
{
    if (record.wwn == ZefStorage::kNoWwn) {
        return 0;
    }
    if (storage.GetWwn() == ZefStorage::kNoWwn) {
        storage.SetWwn(record.wwn);
        return 0;
    }
    if (storage.GetWwn() == record.wwn) {
        return 0;
    }
    ZEF_LOG(zef_config::kLogError, "%s: FC link is not normal.\n", zef_config::kLogTag);
    return -1;
}

void InitOrnLinkStatus(OrnLinkInfo *records, int count)
{
    for (int i = 0; i < count; ++i) {
        records[i].status = zef_config::kLinkEmpty;
        records[i].wwn = ZefStorage::kNoWwn;
    }
}
