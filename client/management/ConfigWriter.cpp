#include "management/ConfigWriter.h"

#include "check/ConfigBytes.h"
#include "check/ConfigCheck.h"
#include "check/ConfigDocument.h"
#include "check/ConfigLimits.h"
#include "check/Encoding.h"
#include "check/FindingList.h"
#include "check/KeysAtHand.h"
#include "check/SaveLoss.h"
#include "check/SavedText.h"
#include "check/SourceText.h"
#include "common/Counted.h"
#include "common/FolderSync.h"
#include "control/ControlError.h"

#include <zef_config/ConfigMgr.h>
#include <zef_config/DeduplicationConfig.h>
#include <zef_config/ZefStorageManager.h>

#include <fmt/format.h>

#include <set>
#include <utility>
#include <vector>

#include <cerrno>
#include <cstring>

#include <sys/stat.h>

namespace zef {

namespace {

constexpr const char *kFibreChannelText = "1";
constexpr const char *kIpText = "0";

void RequireNoLoss(const std::vector<Finding> &findings, const std::string &path)
{
    if (!findings.empty()) {
        const Finding &first = findings.front();
        throw ControlError(ExitCode::Failed,
                           fmt::format("{} is not written, since something of it would be lost: {}; zef_client check "
                                       "tells all",
                                       path, first.text));
    }
}

std::string ReadBytes(const std::string &path)
{
    FindingList findings;
    std::optional<std::string> bytes = ReadConfigBytes(path, findings);
    if (!bytes) {
        throw ControlError(ExitCode::Failed, fmt::format("{} {}", path, findings.Take().front().text));
    }
    return std::move(*bytes);
}

// Sets what differs and counts it: an element that says the same already stays as it was written.
class Editor {
public:
    int Changes() const { return changes; }

    void Set(ConfigNode &parent, const char *name, const std::string &value)
    {
        ConfigNode element = parent.Get(name);
        if (element.Size() == 0) {
            element = parent.Create(name);
        } else if (element.GetString() == value) {
            return;
        }
        element.SetString(value);
        ++changes;
    }

    void DeleteAll(ConfigNode elements)
    {
        for (; elements.Size() > 0; ++changes) {
            elements.Delete();
        }
    }

    // One element of that name for each value, those that are there already in their places.
    void SetList(ConfigNode &parent, const char *name, std::set<std::string> values)
    {
        const ConfigNode present = parent.Get(name);
        for (int i = 0; i < present.Size(); ++i) {
            if (values.erase(present[i].GetString()) == 0) {
                present[i].Delete();
                ++changes;
            }
        }
        for (const std::string &value : values) {
            parent.Create(name).SetString(value);
            ++changes;
        }
    }

private:
    int changes = 0;
};

void SetStorage(Editor &editor, ConfigNode config, const ZefStorage &storage)
{
    ConfigNode element = config.Get("StorageObject");
    const bool isNew = element.Size() == 0;
    if (isNew) {
        element = config.Create("StorageObject");
    }
    const bool isFibreChannel = storage.GetLinkType() == StorageLinkType::kFibreChannel;
    const bool wasFibreChannel = element.Get("LinkType").GetString() == kFibreChannelText;
    editor.Set(element, "Name", storage.GetName());
    editor.Set(element, "User", storage.GetUser());
    editor.Set(element, "Password", storage.GetPassword());
    if (isNew || isFibreChannel != wasFibreChannel) {  // everything but 1 means IP, also no element at all
        editor.Set(element, "LinkType", isFibreChannel ? kFibreChannelText : kIpText);
    }
    if (!(isFibreChannel && wasFibreChannel)) {  // addresses that were never read are left alone
        editor.SetList(element, "Ips", storage.GetIpList());
    }
}

const char *SwitchText(int value)
{
    return value != 0 ? "ON" : "OFF";
}

// Returns the number of changes.
int Edit(ConfigNode config)
{
    Editor editor;
    DeduplicationConfig &switches = DeduplicationConfig::GetInstance();
    editor.Set(config, "Deduplication", SwitchText(switches.GetDeduplication()));
    editor.Set(config, "Compression", SwitchText(switches.GetCompression()));
    const std::vector<ZefStorage> &storages = ZefStorageManager::GetStorageAll();
    if (storages.empty()) {
        editor.DeleteAll(config.Get("StorageObject"));
    } else {
        SetStorage(editor, config, storages.front());
    }
    return editor.Changes();
}

// What was edited must be what the file holds afterwards, in every part, and what the next start takes.
void RequireSafe(const ConfigDocument &document, const std::string &path)
{
    FindingList findings;
    AddSaveLoss(document, findings);
    RequireNoLoss(findings.Take(), path);
    const CheckResult result = CheckBytes(SavedText(document.Root()).value_or(""), path, KeysAtHand());
    for (const Finding &finding : result.findings) {
        if (finding.refusesStart && finding.path == path) {  // what is wrong with the keys is no matter of this file
            throw ControlError(ExitCode::ConfigInvalid,
                               fmt::format("{} is not written, since the next start would refuse it: {}", path,
                                           finding.text));
        }
    }
}

// A save puts a new file in the place of the old one.
struct stat RequirePlainFile(const std::string &path)
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
        throw ControlError(ExitCode::Failed,
                           fmt::format("{} is not written: it is a symbolic link, which a save would replace", path));
    }
    return status;
}

void RequireUnchanged(const std::string &path, const struct stat &before)
{
    struct stat now = {};
    const bool isSame = lstat(path.c_str(), &now) == 0 && now.st_ino == before.st_ino &&
                        now.st_mtim.tv_sec == before.st_mtim.tv_sec && now.st_mtim.tv_nsec == before.st_mtim.tv_nsec;
    if (!isSame) {
        throw ControlError(ExitCode::Failed,
                           fmt::format("{} is not written: somebody else is changing it; ask again", path));
    }
}

void RequireSameEncoding(const std::string &bytes, const std::string &path)
{
    FindingList findings;
    AddEncodingFindings(bytes, SourceText(bytes), findings);
    RequireNoLoss(findings.Take(), path);
}

void Save(const ConfigDocument &document, const std::string &path)
{
    const int result = ZefIntCfgSaveInner(document.Root(), path.c_str());
    if (result != 0) {
        throw ControlError(ExitCode::Failed,
                           fmt::format("{} cannot be written ({}); it is as it was", path,
                                       result == -1 ? "its new text cannot take its place" : std::strerror(-result)));
    }
}

// What there is to say of a file that stands as it shall. It outlasts a power cut once the folder is synced, too.
std::string Outlasting(const std::string &path, std::string sentence)
{
    if (!SyncFolderOf(path)) {
        sentence += fmt::format(", but a power cut may undo it: its folder cannot be synced ({})", std::strerror(errno));
    }
    return sentence;
}

}  // namespace

void RequireSavable(const std::string &path)
{
    (void)RequirePlainFile(path);
    RequireNoLoss(FindSaveLoss(path), path);
    RequireSameEncoding(ReadBytes(path), path);
}

std::string SaveRunningState(const std::string &path)
{
    const struct stat before = RequirePlainFile(path);
    const std::string bytes = ReadBytes(path);
    RequireSameEncoding(bytes, path);
    const ConfigDocument document(bytes);
    const ConfigNode config = document.Root() == nullptr ? ConfigNode() : ConfigNode(document.Root()).Get("Config");
    if (config.Size() != 1 || config.Get("StorageObject").Size() > static_cast<int>(kMaxStorageObjects)) {
        throw ControlError(ExitCode::ConfigInvalid,
                           fmt::format("{} is not written: it is no configuration file of this client any more; "
                                       "zef_client check tells why",
                                       path));
    }
    const int changes = Edit(config);
    if (changes == 0) {
        return Outlasting(path, fmt::format("{} holds what is running already", path));
    }
    RequireSafe(document, path);
    RequireUnchanged(path, before);
    Save(document, path);
    return Outlasting(path, fmt::format("{} is written: {}", path,
                                        Counted(static_cast<size_t>(changes), "change", "changes")));
}

}  // namespace zef
