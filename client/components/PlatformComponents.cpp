// The platform's other components, as the library calls them.
#include "components/ClientComponents.h"
#include "log/Log.h"

#include <zef_config/platform/ClientComponents.h>

#include <algorithm>

namespace {

using zef::ClientComponents;

constexpr const char *kInfo = "info";
constexpr const char *kHib = "hib";
constexpr const char *kFibreChannel = "fc";

constexpr int kRefused = -1;
constexpr int64_t kEmptyRecord = -1;

bool IsUuidGiven(const char *component, const char *uuid)
{
    const bool given = uuid != nullptr && *uuid != '\0';
    if (!given) {
        zef::LogError(component, "there is no client UUID");
    }
    return given;
}

}  // namespace

int ZefClientInfoSetUuid(const char *uuid)
{
    if (!IsUuidGiven(kInfo, uuid)) {
        return kRefused;
    }
    ClientComponents::Instance().SetInfoUuid(uuid);
    zef::LogInfo(kInfo, "client UUID is {}", uuid);
    return 0;
}

int HibSetClientUuid(const char *uuid)
{
    if (!IsUuidGiven(kHib, uuid)) {
        return kRefused;
    }
    ClientComponents::Instance().SetHibUuid(uuid);
    zef::LogInfo(kHib, "client UUID is {}", uuid);
    return 0;
}

// The kernel's drivers serve Fibre Channel; the client needs no threads of its own for it.
int ZefAddThreadForFc(void)
{
    ClientComponents::Instance().CountFibreChannelStart();
    zef::LogInfo(kFibreChannel, "ready for Fibre Channel storage");
    return 0;
}

// No link leads through a shard card here: the ports of the table are those of the host itself, so every record is
// right as it stands.
int ZEF_CLI::StorageObjectCommand::ProcessShardCardLinkInfo(OrnLinkInfo *records, uint32_t count)
{
    if (records == nullptr) {
        zef::LogError(kFibreChannel, "there is no link table");
        return kRefused;
    }
    const auto links = static_cast<uint32_t>(std::count_if(
        records, records + count, [](const OrnLinkInfo &record) { return record.status != kEmptyRecord; }));
    // Asked again and again, so only a change is worth a line.
    if (ClientComponents::Instance().SetSeenLinkRecords(links) != links) {
        zef::LogInfo(kFibreChannel, "link table has {} links, none behind a shard card", links);
    }
    return 0;
}
