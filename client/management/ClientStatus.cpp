#include "management/ClientStatus.h"

#include "gateway/IpGateway.h"
#include "iputil/ProbeRecord.h"
#include "log/LogText.h"

#include <zef_config/DeduplicationConfig.h>
#include <zef_config/ZefConfig.h>
#include <zef_config/ZefStorageManager.h>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string>

#include <unistd.h>

#ifndef ZEF_VERSION
#error "ZEF_VERSION comes from the build"
#endif

namespace zef {

namespace {

using Json = nlohmann::json;
using WallTime = std::chrono::system_clock::time_point;

constexpr size_t kMaxAddressText = 512;
constexpr uint32_t kMaxFibreChannelLinks = 128;
constexpr const char *kWithoutPair = "every pair led to another array, or was one too many or deleted";

using Query = int32_t (*)(char *buffer, uint32_t size);

Json Ask(Query query)
{
    char text[kMaxAddressText];
    return query(text, sizeof text) == 0 ? Json(text) : Json();
}

Json WwnText(uint64_t wwn)
{
    return wwn == kNoWwn ? Json() : Json(fmt::format("{:#018x}", wwn));
}

Json TimeText(const std::optional<WallTime> &time)
{
    if (!time) {
        return nullptr;
    }
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(std::chrono::system_clock::to_time_t(*time)));
}

Json CauseText(const std::string &cause)
{
    return cause.empty() ? Json() : Json(PrintableLogText(cause));
}

const char *OnOrOff(int value)
{
    return value != 0 ? "on" : "off";
}

const char *LinkTypeName(StorageLinkType type)
{
    return type == StorageLinkType::kFibreChannel ? "fibre-channel" : "ip";
}

// Asked only once there is something to tell: the library reports a question that has no answer as an error.
Json LocalAddress(const std::vector<ZefStorage> &storages)
{
    const bool hasAnswer = !storages.empty() && (storages.front().GetLinkType() == StorageLinkType::kFibreChannel ||
                                                 !storages.front().GetIpParis().empty());
    return hasAnswer ? Ask(ZefConfigGetLocalAddr) : Json();
}

Json DescribeStorage(const ZefStorage &storage)
{
    return {{"name", storage.GetName()},
            {"user", storage.GetUser()},
            {"link_type", LinkTypeName(storage.GetLinkType())},
            {"wwn", WwnText(storage.GetWwn())},
            {"addresses", storage.GetIpList()}};
}

Json RowOf(const LinkState &link)
{
    return {{"local", link.local},
            {"array", link.array},
            {"state", LinkPhaseName(link.phase)},
            {"up", link.phase == LinkPhase::Up},
            {"wwn", WwnText(link.wwn)},
            {"tries", link.tries},
            {"failures", link.failures},
            {"next_try", TimeText(link.nextTry)},
            {"cause", CauseText(link.cause)}};
}

// An address whose last probe found a local address has lost its pairs for a reason of the library's.
Json RowWithoutPair(const std::string &array, const std::map<std::string, ProbeState> &probes)
{
    const auto found = probes.find(array);
    const ProbeState probe = found == probes.end() ? ProbeState() : found->second;
    const bool isFailing = found != probes.end() && !probe.reached;
    return {{"local", nullptr},
            {"array", array},
            {"state", "no link"},
            {"up", false},
            {"wwn", nullptr},
            {"tries", 0},
            {"failures", probe.failures},
            {"next_try", isFailing ? TimeText(probe.nextTry) : Json()},
            {"cause", isFailing ? CauseText(probe.cause) : found == probes.end() ? Json() : Json(kWithoutPair)}};
}

const char *FibreChannelState(int64_t status)
{
    return status == 0 ? "up" : status == 1 ? "not usable yet" : "failed";
}

void AddFibreChannelRows(Json &rows)
{
    std::array<OrnLinkInfo, kMaxFibreChannelLinks> records;
    uint32_t count = 0;
    if (IpGateway::Instance().FibreChannelLinks(records.data(), kMaxFibreChannelLinks, &count) != 0) {
        return;
    }
    for (uint32_t i = 0; i < count; ++i) {
        const OrnLinkInfo &link = records[i];
        rows.push_back({{"local", link.initiatorWwn},
                        {"array", WwnText(link.wwn)},
                        {"state", FibreChannelState(link.status)},
                        {"up", link.status == 0},
                        {"wwn", WwnText(link.wwn)},
                        {"tries", 0},
                        {"failures", 0},
                        {"next_try", nullptr},
                        {"cause", nullptr}});
    }
}

bool HasRow(const Json &rows, const std::string &array)
{
    return std::any_of(rows.begin(), rows.end(), [&array](const Json &row) { return row["array"] == array; });
}

// A link may be under way before the library has its pair.
void AddRowsWithoutPair(const ZefStorage &storage, Json &rows)
{
    std::map<std::string, ProbeState> probes;
    for (const ProbeState &probe : ProbeStates()) {
        probes[probe.array] = probe;
    }
    for (const std::string &array : storage.GetIpList()) {
        if (!storage.FindByIp(array) && !HasRow(rows, array)) {
            rows.push_back(RowWithoutPair(array, probes));
        }
    }
}

Json LinkRows(const std::vector<ZefStorage> &storages)
{
    Json rows = Json::array();
    for (const LinkState &link : IpGateway::Instance().Links()) {
        rows.push_back(RowOf(link));
    }
    for (const ZefStorage &storage : storages) {
        if (storage.GetLinkType() == StorageLinkType::kFibreChannel) {
            AddFibreChannelRows(rows);
        } else {
            AddRowsWithoutPair(storage, rows);
        }
    }
    return rows;
}

}  // namespace

Json TakeClientStatus()
{
    const std::vector<ZefStorage> &storages = ZefStorageManager::GetStorageAll();
    DeduplicationConfig &switches = DeduplicationConfig::GetInstance();
    Json described = Json::array();
    std::transform(storages.begin(), storages.end(), std::back_inserter(described), DescribeStorage);
    return {{"identity",
             {{"uuid", Ask(ZefConfigGetUuid)},
              {"local_address", LocalAddress(storages)},
              {"version", ZEF_VERSION},
              {"pid", getpid()}}},
            {"switches",
             {{"deduplication", OnOrOff(switches.GetDeduplication())},
              {"compression", OnOrOff(switches.GetCompression())}}},
            {"storage", described},
            {"links", LinkRows(storages)}};
}

}  // namespace zef
