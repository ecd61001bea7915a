#include "management/ConfigReload.h"

#include "check/AddressRules.h"
#include "check/ConfigBytes.h"
#include "check/ConfigCheck.h"
#include "check/ConfigDocument.h"
#include "check/KeysAtHand.h"
#include "control/ControlError.h"
#include "management/StorageChanges.h"

#include <zef_config/DeduplicationConfig.h>
#include <zef_config/UuidConfig.h>
#include <zef_config/ZefStorageManager.h>

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <set>

namespace zef {

namespace {

using Sentences = std::vector<std::string>;

void RequireStartable(const std::string &bytes, const std::string &path)
{
    const CheckResult result = CheckBytes(bytes, path, KeysAtHand());
    if (!result.RefusesStart()) {
        return;
    }
    const auto refusing = std::find_if(result.findings.begin(), result.findings.end(),
                                       [](const Finding &finding) { return finding.refusesStart; });
    throw ControlError(result.CodeOfErrors(),
                       fmt::format("{} is refused, nothing was changed: {}; zef_client check tells all", path,
                                   refusing->text));
}

// SystemUuid counts only when Uuid is there and malformed.
void RequireSameUuid(const ConfigNode &config)
{
    UuidConfig &held = UuidConfig::GetInstance();
    std::string uuid = config.Get("Uuid").GetString();
    if (!held.IsValidUuid(uuid)) {
        uuid = config.Get("SystemUuid").GetString();
    }
    if (uuid != held.GetUuid()) {
        throw ControlError(ExitCode::Failed,
                           fmt::format("the file holds another UUID, {}; restart the client to run under it; nothing "
                                       "was changed",
                                       uuid));
    }
}

std::optional<StorageDescription> ReadStorage(mxml_node_t *config)
{
    const std::vector<mxml_node_t *> elements = ChildElements(config, "StorageObject");
    if (elements.empty()) {
        return std::nullopt;
    }
    const ConfigNode element(elements.front());
    StorageDescription storage;
    storage.name = element.Get("Name").GetString();
    storage.user = element.Get("User").GetString();
    storage.sealed = element.Get("Password").GetString();
    if (element.Get("LinkType").GetString() == "1") {
        storage.linkType = StorageLinkType::kFibreChannel;
        return storage;
    }
    storage.addresses = EffectiveAddresses(elements.front());
    return storage;
}

Sentences ChangeAddresses(const ZefStorage &present, const StorageDescription &wanted)
{
    const std::set<std::string> &had = present.GetIpList();
    std::vector<std::string> gone;
    std::vector<std::string> added;
    std::set_difference(had.begin(), had.end(), wanted.addresses.begin(), wanted.addresses.end(),
                        std::back_inserter(gone));
    std::set_difference(wanted.addresses.begin(), wanted.addresses.end(), had.begin(), had.end(),
                        std::back_inserter(added));
    Sentences sentences;
    if (!gone.empty()) {  // first, so that the limit holds at every moment
        sentences.push_back(DeleteAddresses(wanted.name, gone));
    }
    if (!added.empty()) {
        sentences.push_back(AddAddresses(wanted.name, added));
    }
    return sentences;
}

Sentences ChangeStorage(const ZefStorage &present, const StorageDescription &wanted)
{
    Sentences sentences;
    if (present.GetUser() != wanted.user || present.GetPassword() != wanted.sealed) {
        sentences.push_back(SetUser(wanted.name, wanted.user, wanted.sealed));
    }
    for (std::string &sentence : ChangeAddresses(present, wanted)) {
        sentences.push_back(std::move(sentence));
    }
    return sentences;
}

// Its links would all end, and steps towards it that are queued belong to the old one.
void RequireSameStorage(const StorageDescription &wanted)
{
    const std::vector<ZefStorage> &present = ZefStorageManager::GetStorageAll();
    const bool isAnother = !present.empty() && (present.front().GetName() != wanted.name ||
                                                present.front().GetLinkType() != wanted.linkType);
    if (isAnother) {
        throw ControlError(ExitCode::Failed,
                           "the file holds a storage object of another name or link type; restart the client to connect "
                           "to that; nothing was changed");
    }
}

bool SaysTheSame(const ZefStorage &present, const StorageDescription &wanted)
{
    const std::set<std::string> addresses(wanted.addresses.begin(), wanted.addresses.end());
    return present.GetUser() == wanted.user && present.GetPassword() == wanted.sealed &&
           present.GetIpList() == addresses;
}

Sentences ApplyStorage(const std::optional<StorageDescription> &wanted)
{
    const std::vector<ZefStorage> present = ZefStorageManager::GetStorageAll();
    if (!wanted) {
        return present.empty() ? Sentences() : Sentences{DeleteStorage(present.front().GetName())};
    }
    if (present.empty()) {
        return {AddStorage(*wanted)};
    }
    if (SaysTheSame(present.front(), *wanted)) {
        return {};
    }
    RequireUsable(*wanted);
    return ChangeStorage(present.front(), *wanted);
}

Sentences ApplySwitches(ConfigNode &config)
{
    DeduplicationConfig &switches = DeduplicationConfig::GetInstance();
    const bool deduplication = config.Get("Deduplication").GetString() == "ON";
    const bool compression = config.Get("Compression").GetString() == "ON";
    if ((switches.GetDeduplication() != 0) == deduplication && (switches.GetCompression() != 0) == compression) {
        return {};
    }
    const int result = switches.SetFromConfig(config);
    if (result != 0) {
        throw ControlError(ExitCode::Failed,
                           fmt::format("the switches cannot be published (code {}); the rest of the file is in force",
                                       result));
    }
    return {fmt::format("deduplication is {}, compression is {}", deduplication ? "on" : "off",
                        compression ? "on" : "off")};
}

}  // namespace

Sentences ApplyConfigFile(const std::string &path)
{
    FindingList findings;
    const std::string bytes = ReadConfigBytes(path, findings).value_or("");
    RequireStartable(bytes, path);
    const ConfigDocument document(bytes);
    mxml_node_t *const element = ChildElements(document.Root(), "Config").front();
    ConfigNode config(element);
    RequireSameUuid(config);
    const std::optional<StorageDescription> wanted = ReadStorage(element);
    if (wanted) {
        RequireSameStorage(*wanted);
    }
    Sentences sentences = ApplyStorage(wanted);
    for (std::string &sentence : ApplySwitches(config)) {
        sentences.push_back(std::move(sentence));
    }
    if (sentences.empty()) {
        sentences.push_back("the running client and its file say the same");
    }
    return sentences;
}

}  // namespace zef
