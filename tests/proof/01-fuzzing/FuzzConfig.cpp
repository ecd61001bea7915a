// What a file's bytes can do to the library: it is loaded, looked at, taken into the registry, saved and loaded again.
// The folder for the files is that of the environment variable ZEF_FUZZ_FOLDER, which is best kept in memory.
#include "IndependentView.h"
#include "LiveBlocks.h"
#include "PlantedDefect.h"
#include "SavedLayout.h"

#include <zef_config/ConfigMgr.h>
#include <zef_config/DeduplicationConfig.h>
#include <zef_config/UuidConfig.h>
#include <zef_config/ZefStorageController.h>
#include <zef_config/ZefStorageManager.h>

#include <algorithm>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <arpa/inet.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr size_t kMaxFileBytes = 1 << 20;

// What became of the files, told at the end.
long documents = 0;
long storageObjects = 0;
long keptBySaves = 0;

void PrintCounts()
{
    std::fprintf(stderr, "documents %ld storage objects %ld kept by saves %ld\n", documents, storageObjects, keptBySaves);
}

const std::string &Path()
{
    static const std::string path = [] {
        const char *const folder = std::getenv("ZEF_FUZZ_FOLDER");
        return std::string(folder == nullptr ? "." : folder) + "/config.xml";
    }();
    return path;
}

void Write(const std::string &bytes)
{
    const int descriptor = open(Path().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0640);
    const auto size = static_cast<ssize_t>(bytes.size());
    Require(descriptor >= 0 && write(descriptor, bytes.data(), bytes.size()) == size, "the file cannot be written");
    close(descriptor);
}

std::string Read()
{
    static std::string buffer(kMaxFileBytes, '\0');
    const int descriptor = open(Path().c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t size = read(descriptor, buffer.data(), buffer.size());
    Require(descriptor >= 0 && size >= 0, "the file cannot be read");
    close(descriptor);
    return buffer.substr(0, static_cast<size_t>(size));
}

bool ConsistsOf(const std::string &text, const char *characters)
{
    return text.find_first_not_of(characters) == std::string::npos;
}

bool IsUuid(const std::string &text)
{
    constexpr const char *kForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    if (text.size() != 36) {
        return false;
    }
    for (size_t i = 0; i < text.size(); ++i) {
        const bool isHyphen = kForm[i] == '-';
        if (isHyphen ? text[i] != '-' : !ConsistsOf(text.substr(i, 1), "0123456789abcdefABCDEF")) {
            return false;
        }
    }
    return true;
}

constexpr const char *kLettersAndDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";

void RequireRecord(const ZefStorage &storage)
{
    const std::string &name = storage.GetName();
    Require(!name.empty() && name.size() <= 127 && ConsistsOf(name, (std::string(kLettersAndDigits) + "/.-").c_str()),
            "a storage object has a name that is not allowed");
    const std::string &user = storage.GetUser();
    Require(user.size() >= 5 && user.size() <= 32 && ConsistsOf(user, kLettersAndDigits) && user[0] != '_' &&
                !ConsistsOf(user.substr(0, 1), "0123456789"),
            "a storage object has a user that is not allowed");
    Require(!storage.GetPassword().empty(), "a storage object has no password");
    for (const std::string &ip : storage.GetIpList()) {
        in_addr address = {};
        Require(inet_pton(AF_INET, ip.c_str(), &address) == 1, "a storage object has an address that is none");
    }
    Require(storage.GetLinkType() == StorageLinkType::kIp || storage.GetIpList().empty(),
            "a storage object of Fibre Channel has addresses");
}

// What start-up makes of the document.
void TakeIntoRegistry(ConfigMgr &manager)
{
    ConfigNode config = manager.GetConfig().Get("Config");
    if (UuidConfig::GetInstance().SetFromConfig(config) == 0) {
        Require(IsUuid(UuidConfig::GetInstance().GetUuid()), "a UUID is taken that is none");
    }
    DeduplicationConfig &switches = DeduplicationConfig::GetInstance();
    if (switches.SetFromConfig(config) == 0) {
        Require(switches.GetDeduplication() == 1 || switches.GetCompression() == 0, "compression is on alone");
    }
    const int storages = config.Get("StorageObject").Size();
    const int result = ZefStorageController::CreateFromConfig(config);
    const std::vector<ZefStorage> &registry = ZefStorageManager::GetStorageAll();
    const size_t expected = result == 0 ? static_cast<size_t>(storages) : 0;
    Require(storages <= 1 || result != 0, "too many storage objects are taken");
    Require(registry.size() == expected, "the registry holds another number of storage objects");
    storageObjects += static_cast<long>(registry.size());
    for (const ZefStorage &storage : registry) {
        RequireRecord(storage);
        Require(ZefStorageManager::StorageExist(storage.GetName()), "a storage object is not found by its name");
    }
    ZefStorageManager::Clear();
}

// Loaded once more, and saved and loaded once more: nothing changes any further.
void RequireKept(const IndependentView &view, const std::string &saved)
{
    ConfigMgr manager;
    Require(manager.ReadConfig(Path()) == 0, "the saved file cannot be read");
    const bool isKept = view.IsKeptBySave();
    if (manager.GetConfig().Size() == 0) {
        Require(!isKept, "the saved file is no document any more");
        return;
    }
    keptBySaves += isKept ? 1 : 0;
    if (isKept) {
        view.RequireSame(manager.GetConfig(), true);
        Require(manager.SaveConfig(Path()) == 0 && Read() == saved, "a second save changes the file");
    }
}

void RequireSaved(const IndependentView &view)
{
    std::string saved = Read();
    if (IsPlanted("saved-text")) {
        saved.pop_back();
    }
    Require(saved == SavedLayout(view.Rendered()), "the saved text is another one");
    if (IsPlanted("lost-value")) {
        const size_t address = saved.find("10.0.0.");
        saved.erase(std::min(address, saved.size()), 1);
        Write(saved);
    }
    RequireKept(view, saved);
}

void PlantDefects(const ConfigNode &config)
{
    if (IsPlanted("hidden")) {
        LookForHiddenDefect(config.Get("Config"));
    } else if (IsPlanted("beyond")) {
        ReadBeyond(config.Get("Config").Get("Uuid").GetString());
    } else if (IsPlanted("overflow")) {
        Overflow();
    } else if (IsPlanted("leaked-path")) {
        LeakPath();
    }
}

// Loads, looks, takes and saves; leaves no more behind than Mini-XML itself does.
void Use(const IndependentView &view)
{
    const long before = LiveBlocks();
    long keptByRegistry = 0;
    ConfigMgr manager;
    Require(manager.ReadConfig(Path()) == 0, "the file cannot be read");
    Require((manager.GetConfig().Size() == 0) == (view.Root() == nullptr), "a document is taken or refused wrongly");
    if (view.Root() != nullptr) {
        ++documents;
        PlantDefects(manager.GetConfig());
        view.RequireSame(manager.GetConfig(), false);
        keptByRegistry = -LiveBlocks();
        TakeIntoRegistry(manager);
        keptByRegistry += LiveBlocks();
    }
    Require(manager.SaveConfig(Path()) == (view.Root() == nullptr ? -1 : 0), "a document is saved or not");
    if (!IsPlanted("kept-document")) {
        manager.Release();
    }
    Require(LiveBlocks() - before - keptByRegistry == view.LostBlocks(), "memory stays behind");
    manager.Release();
    Require(manager.GetConfig().Size() == 0, "a document stays");
}

}  // namespace

// What is made once and stays is made before anything is counted.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    (void)Path();
    mxmlSetErrorCallback(nullptr);
    (void)LiveBlocks();
    std::atexit(PrintCounts);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (IsPlanted("leaked-path-at-exit")) {
        LeakPath();
    }
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    Write(bytes);
    IndependentView view(bytes);
    Use(view);
    if (view.Root() == nullptr) {
        Require(Read() == bytes, "a file is changed although there is no document");
    } else {
        RequireSaved(view);
        view.RequireOrderAndLists();
    }
    return 0;
}
